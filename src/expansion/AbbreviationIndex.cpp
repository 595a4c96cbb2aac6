#include "expansion/AbbreviationIndex.h"

#include "text/TextRules.h"

#include <algorithm>
#include <string_view>

AbbreviationIndex::AbbreviationIndex() : m_units(1), m_firstChild{1, 1}, m_listPosition{noEntry} {}

AbbreviationIndex::AbbreviationIndex(std::span<const QString> abbreviations)
{
    // Every canonical form, reversed, in one buffer; then the list positions sorted by them.
    // Built from the sorted keys level by level, the trie needs no per-node allocations.
    std::u16string keys;
    std::size_t totalLength = 0;
    for (const QString& abbreviation : abbreviations)
        totalLength += std::size_t(abbreviation.size());
    keys.reserve(totalLength); // canonical forms are rarely longer
    std::vector<std::size_t> keyStart(abbreviations.size() + 1, 0);
    std::vector<std::uint32_t> order;
    order.reserve(abbreviations.size());
    for (std::size_t position = 0; position < abbreviations.size(); ++position) {
        const QString key = TextRules::canonicalForm(abbreviations[position]);
        for (qsizetype i = key.size() - 1; i >= 0; --i)
            keys.push_back(key.at(i).unicode());
        keyStart[position + 1] = keys.size();
        if (!key.isEmpty())
            order.push_back(static_cast<std::uint32_t>(position));
    }
    const auto keyOf = [&](std::uint32_t position) {
        return std::u16string_view(keys).substr(keyStart[position],
                                                keyStart[position + 1] - keyStart[position]);
    };
    // Equal keys keep list order, so the first of them is the smallest position.
    std::stable_sort(order.begin(), order.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return keyOf(a) < keyOf(b); });

    // Each key adds a node for every unit past what it shares with the key before it.
    std::size_t nodes = 1;
    for (std::size_t i = 0; i < order.size(); ++i) {
        const std::u16string_view key = keyOf(order[i]);
        std::size_t shared = 0;
        if (i > 0) {
            const std::u16string_view previous = keyOf(order[i - 1]);
            while (shared < key.size() && shared < previous.size() &&
                   key[shared] == previous[shared])
                ++shared;
        }
        nodes += key.size() - shared;
    }
    m_units.reserve(nodes);
    m_listPosition.reserve(nodes);
    m_firstChild.reserve(nodes + 1);
    m_units.push_back(0);
    m_listPosition.push_back(noEntry);

    // The keys below each node of the current level: a range of `order`.
    struct Range {
        std::uint32_t begin;
        std::uint32_t end;
    };
    std::vector<Range> level{{0, static_cast<std::uint32_t>(order.size())}};
    std::vector<Range> next;
    std::uint32_t node = 0;
    for (std::size_t depth = 0; !level.empty(); ++depth) {
        next.clear();
        for (const Range& range : level) {
            std::uint32_t begin = range.begin;
            // Keys ending at this node sort before the longer ones below it.
            while (begin < range.end && keyOf(order[begin]).size() == depth) {
                m_listPosition[node] = std::min(m_listPosition[node], order[begin]);
                ++begin;
            }
            m_firstChild.push_back(static_cast<std::uint32_t>(m_units.size()));
            while (begin < range.end) {
                const char16_t unit = keyOf(order[begin])[depth];
                std::uint32_t end = begin + 1;
                while (end < range.end && keyOf(order[end])[depth] == unit)
                    ++end;
                m_units.push_back(unit);
                m_listPosition.push_back(noEntry);
                next.push_back({begin, end});
                begin = end;
            }
            ++node;
        }
        level.swap(next);
    }
    m_firstChild.push_back(static_cast<std::uint32_t>(m_units.size()));
    Q_ASSERT(m_units.size() == nodes);
}

std::uint32_t AbbreviationIndex::child(std::uint32_t node, char16_t unit) const
{
    const auto begin = m_units.begin() + m_firstChild[node];
    const auto end = m_units.begin() + m_firstChild[node + 1];
    const auto found = std::lower_bound(begin, end, unit);
    return (found != end && *found == unit) ? static_cast<std::uint32_t>(found - m_units.begin())
                                            : noEntry;
}

std::optional<std::uint32_t>
AbbreviationIndex::firstMatch(QStringView text, std::span<const qsizetype> characterStarts) const
{
    std::uint32_t best = noEntry;
    std::uint32_t node = 0;
    // Walk the text backwards alongside the character starts, so that an abbreviation only
    // counts when it begins where a character begins.
    auto start = characterStarts.rbegin();
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        node = child(node, text[i].unicode());
        if (node == noEntry)
            break;
        while (start != characterStarts.rend() && *start > i)
            ++start;
        const std::uint32_t position = m_listPosition[node];
        if (position < best && start != characterStarts.rend() && *start == i)
            best = position;
    }
    if (best == noEntry)
        return std::nullopt;
    return best;
}
