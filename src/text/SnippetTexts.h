#pragma once

#include <QAnyStringView>
#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QUtf8StringView>
#include <QtEndian>
#include <array>
#include <cstdint>
#include <optional>

// A snippet's texts, each present or absent, one after another as UTF-8 in one implicitly
// shared buffer that also holds where each ends. A library stays in memory whole: this takes
// about half the room of one UTF-16 string per text, and the store's record and the engine's
// copy share the one buffer: each holds just the buffer's pointer.
class SnippetTexts {
public:
    enum Slot : std::uint8_t {
        title,
        abbreviation,
        expandedText,
        expandedTextRTF, // bytes, not text
        codeLanguage,
        slotCount
    };
    using Parts = std::array<std::optional<QByteArrayView>, slotCount>;

    // Every slot at once; text slots that are not valid UTF-8 are repaired the way a decoder
    // would.
    static SnippetTexts fromParts(const Parts& parts)
    {
        Parts checked = parts;
        std::array<QByteArray, slotCount> repaired;
        for (int i = 0; i < slotCount; ++i) {
            auto& part = checked[std::size_t(i)];
            if (part && i != expandedTextRTF && !QUtf8StringView(*part).isValidUtf8()) {
                repaired[std::size_t(i)] = QString::fromUtf8(*part).toUtf8();
                part = repaired[std::size_t(i)];
            }
        }
        SnippetTexts texts;
        texts.m_data = pack(checked);
        return texts;
    }

    bool has(Slot slot) const { return !m_data.isEmpty() && (flags() & (1u << slot)); }
    QByteArrayView bytes(Slot slot) const
    {
        if (m_data.isEmpty())
            return {};
        const std::uint32_t start = slot == 0 ? 0 : end(slot - 1);
        return QByteArrayView(m_data.constData() + headerSize() + start,
                              qsizetype(end(slot) - start));
    }
    QString text(Slot slot) const { return QString::fromUtf8(bytes(slot)); }
    std::optional<QString> optionalText(Slot slot) const
    {
        if (!has(slot))
            return std::nullopt;
        return text(slot);
    }
    std::optional<QByteArray> optionalBytes(Slot slot) const
    {
        if (!has(slot))
            return std::nullopt;
        return bytes(slot).toByteArray();
    }

    bool sameText(Slot slot, const std::optional<QString>& value) const
    {
        if (!value)
            return !has(slot);
        return has(slot) &&
               QAnyStringView::equal(QUtf8StringView(bytes(slot)), QStringView(*value));
    }
    bool sameBytes(Slot slot, const std::optional<QByteArray>& value) const
    {
        if (!value)
            return !has(slot);
        return has(slot) && bytes(slot) == QByteArrayView(*value);
    }

    // Both rebuild the buffer: texts change rarely and are read often.
    void setText(Slot slot, const std::optional<QString>& value)
    {
        setBytes(slot, value ? std::optional<QByteArray>(value->toUtf8()) : std::nullopt);
    }
    void setBytes(Slot slot, const std::optional<QByteArray>& value)
    {
        Parts parts;
        for (int i = 0; i < slotCount; ++i)
            if (has(Slot(i)))
                parts[std::size_t(i)] = bytes(Slot(i));
        parts[slot] = value ? std::optional<QByteArrayView>(*value) : std::nullopt;
        m_data = pack(parts); // the views read the old buffer, alive until here
    }

    friend bool operator==(const SnippetTexts& a, const SnippetTexts& b)
    {
        return a.m_data == b.m_data;
    }

private:
    // The buffer: a flags byte (a bit a present slot, and whether the ends take four bytes),
    // each slot's end offset (two bytes each while everything fits, else four), the texts.
    // Empty when every slot is absent.
    static constexpr std::uint8_t wideEnds = 0x80;

    std::uint8_t flags() const { return std::uint8_t(m_data.at(0)); }
    qsizetype endSize() const { return flags() & wideEnds ? 4 : 2; }
    qsizetype headerSize() const { return 1 + slotCount * endSize(); }
    std::uint32_t end(int slot) const
    {
        const char* at = m_data.constData() + 1 + slot * endSize();
        return flags() & wideEnds ? qFromUnaligned<std::uint32_t>(at)
                                  : qFromUnaligned<std::uint16_t>(at);
    }

    static QByteArray pack(const Parts& parts)
    {
        std::uint8_t flags = 0;
        qsizetype size = 0;
        for (int i = 0; i < slotCount; ++i) {
            if (const auto& part = parts[std::size_t(i)]) {
                flags |= std::uint8_t(1u << i);
                size += part->size();
            }
        }
        if (!flags)
            return {};
        const bool wide = size > UINT16_MAX;
        if (wide)
            flags |= wideEnds;
        const qsizetype header = 1 + slotCount * (wide ? 4 : 2);
        QByteArray data(header + size, Qt::Uninitialized);
        char* out = data.data();
        out[0] = char(flags);
        qsizetype offset = 0;
        for (int i = 0; i < slotCount; ++i) {
            if (const auto& part = parts[std::size_t(i)]) {
                std::copy(part->begin(), part->end(), out + header + offset);
                offset += part->size();
            }
            char* endAt = out + 1 + i * (wide ? 4 : 2);
            if (wide)
                qToUnaligned(std::uint32_t(offset), endAt);
            else
                qToUnaligned(std::uint16_t(offset), endAt);
        }
        return data;
    }

    QByteArray m_data;
};
