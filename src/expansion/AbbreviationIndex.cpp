#include "expansion/AbbreviationIndex.h"

#include "text/TextRules.h"

#include <algorithm>

namespace {

// Construction-time trie with per-node child lists; flattened once built.
struct BuildNode {
    std::vector<std::pair<char16_t, std::uint32_t>> children;
    std::uint32_t listPosition = UINT32_MAX;
};

} // namespace

AbbreviationIndex::AbbreviationIndex() : m_nodes(1) {}

AbbreviationIndex::AbbreviationIndex(std::span<const QString> abbreviations)
{
    std::vector<BuildNode> build(1);
    for (std::size_t position = 0; position < abbreviations.size(); ++position) {
        const QString key = TextRules::canonicalForm(abbreviations[position]);
        if (key.isEmpty())
            continue;
        std::uint32_t node = 0;
        for (qsizetype i = key.size() - 1; i >= 0; --i) {
            const char16_t unit = key.at(i).unicode();
            auto& children = build[node].children;
            auto found = std::find_if(children.begin(), children.end(),
                                      [unit](const auto& edge) { return edge.first == unit; });
            if (found != children.end()) {
                node = found->second;
                continue;
            }
            const auto next = static_cast<std::uint32_t>(build.size());
            children.emplace_back(unit, next);
            build.emplace_back();
            node = next;
        }
        build[node].listPosition =
            std::min(build[node].listPosition, static_cast<std::uint32_t>(position));
    }

    m_nodes.resize(build.size());
    m_edges.reserve(build.size() - 1);
    for (std::size_t i = 0; i < build.size(); ++i) {
        auto& children = build[i].children;
        std::sort(children.begin(), children.end());
        m_nodes[i].firstEdge = static_cast<std::uint32_t>(m_edges.size());
        m_nodes[i].edgeCount = static_cast<std::uint32_t>(children.size());
        m_nodes[i].listPosition = build[i].listPosition;
        for (const auto& [unit, target] : children)
            m_edges.push_back({unit, target});
    }
}

std::uint32_t AbbreviationIndex::child(const Node& node, char16_t unit) const
{
    const auto begin = m_edges.begin() + node.firstEdge;
    const auto end = begin + node.edgeCount;
    const auto found =
        std::lower_bound(begin, end, unit, [](const Edge& e, char16_t u) { return e.unit < u; });
    return (found != end && found->unit == unit) ? found->target : noEntry;
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
        node = child(m_nodes[node], text[i].unicode());
        if (node == noEntry)
            break;
        while (start != characterStarts.rend() && *start > i)
            ++start;
        const std::uint32_t position = m_nodes[node].listPosition;
        if (position < best && start != characterStarts.rend() && *start == i)
            best = position;
    }
    if (best == noEntry)
        return std::nullopt;
    return best;
}
