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

    std::uint32_t child(std::uint32_t node, char16_t unit) const;

    // Nodes are numbered breadth first, so a node's children are consecutive, sorted by the
    // unit that leads to them, and follow the previous node's children: node n's children are
    // [m_firstChild[n], m_firstChild[n + 1]). Ten bytes a node, in three plain arrays.
    std::vector<char16_t> m_units;             // the unit on the edge into each node
    std::vector<std::uint32_t> m_firstChild;   // one more entry than there are nodes
    std::vector<std::uint32_t> m_listPosition; // smallest position ending here, or noEntry
};
