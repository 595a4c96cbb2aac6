#pragma once

#include <QString>
#include <span>
#include <vector>

// The characters typed since the last reset, at most `capacity` characters. Kept in canonical
// form with the offsets where its characters start, so appending a key costs the key, not a
// new segmentation of the whole buffer.
class TypingBuffer {
public:
    static constexpr qsizetype capacity = 100;

    void append(QStringView keyText);
    void removeLastCharacter();
    void clear();

    bool isEmpty() const { return m_text.isEmpty(); }
    qsizetype characterCount() const { return qsizetype(m_starts.size()); }
    const QString& text() const { return m_text; }
    std::span<const qsizetype> characterStarts() const { return m_starts; }

private:
    QString m_text;
    std::vector<qsizetype> m_starts;
};
