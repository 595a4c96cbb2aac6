#pragma once

#include <QString>
#include <QStringView>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// A trie over the abbreviations' canonical forms, read backwards, so that finding which
// abbreviations end the typed text costs the length of that text, not the size of the
// library. Every node that ends an abbreviation remembers the smallest list position that
// ends there, so the first abbreviation in list order still wins.
class AbbreviationIndex {
public:
    AbbreviationIndex();

    // Builds the index of abbreviations in list order; empty abbreviations are left out.
    explicit AbbreviationIndex(std::span<const QString> abbreviations);

    // The smallest list position whose abbreviation ends `text` as whole characters.
    // `text` must be in canonical form; `characterStarts` are the UTF-16 offsets where its
    // characters start, ascending.
    std::optional<std::uint32_t> firstMatch(QStringView text,
                                            std::span<const qsizetype> characterStarts) const;

private:
    static constexpr std::uint32_t noEntry = UINT32_MAX;

    struct Node {
        std::uint32_t firstEdge = 0;
        std::uint32_t edgeCount = 0;
        std::uint32_t listPosition = noEntry; // smallest position ending here
    };
    struct Edge {
        char16_t unit;
        std::uint32_t target;
    };

    std::uint32_t child(const Node& node, char16_t unit) const;

    std::vector<Node> m_nodes;
    std::vector<Edge> m_edges; // each node's edges are contiguous and sorted by unit
};
