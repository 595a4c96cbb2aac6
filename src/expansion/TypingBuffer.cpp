#include "expansion/TypingBuffer.h"

#include "text/TextRules.h"

void TypingBuffer::append(QStringView keyText)
{
    if (keyText.isEmpty())
        return;
    // The new text may join the last character (a combining mark, a skin tone, the second half
    // of a flag), so the last character is segmented again together with it.
    const qsizetype tailStart = m_starts.empty() ? 0 : m_starts.back();
    if (!m_starts.empty())
        m_starts.pop_back();
    QString joined = m_text.mid(tailStart);
    joined += keyText;
    const QString tail = TextRules::canonicalForm(joined);
    m_text.truncate(tailStart);
    m_text += tail;
    const std::vector<qsizetype> boundaries = TextRules::characterBoundaries(tail);
    for (std::size_t i = 0; i + 1 < boundaries.size(); ++i)
        m_starts.push_back(tailStart + boundaries[i]);

    if (characterCount() > capacity) {
        const std::size_t dropped = m_starts.size() - std::size_t(capacity);
        const qsizetype cut = m_starts[dropped];
        m_text.remove(0, cut);
        m_starts.erase(m_starts.begin(), m_starts.begin() + std::ptrdiff_t(dropped));
        for (qsizetype& start : m_starts)
            start -= cut;
    }
}

void TypingBuffer::removeLastCharacter()
{
    if (m_starts.empty())
        return;
    m_text.truncate(m_starts.back());
    m_starts.pop_back();
}

void TypingBuffer::clear()
{
    m_text.clear();
    m_starts.clear();
}
