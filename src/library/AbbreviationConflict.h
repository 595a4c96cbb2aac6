#pragma once

#include <QColor>
#include <QList>
#include <QString>
#include <optional>

class SnippetEntity;

// What checking an abbreviation against the library found. Only a warning: the library
// accepts duplicates.
class AbbreviationConflict {
public:
    enum class Kind { none, duplicate, prefixClash };

    AbbreviationConflict() = default;
    static AbbreviationConflict duplicate(SnippetEntity* other) { return {Kind::duplicate, other}; }
    static AbbreviationConflict prefixClash(SnippetEntity* other)
    {
        return {Kind::prefixClash, other};
    }

    Kind kind() const { return m_kind; }
    bool isNone() const { return m_kind == Kind::none; }
    // The snippet conflicted with; null exactly when there is no conflict.
    SnippetEntity* other() const { return m_other; }

    bool operator==(const AbbreviationConflict&) const = default;

private:
    AbbreviationConflict(Kind kind, SnippetEntity* other) : m_kind(kind), m_other(other) {}

    Kind m_kind = Kind::none;
    SnippetEntity* m_other = nullptr;
};

// Checks a typed abbreviation against the snippets in the given order (most recently updated
// first, trashed ones included) and reports the first one that clashes. excluding is the
// snippet being edited, recognised by identity.
AbbreviationConflict abbreviationConflict(const QString& typed, const QList<SnippetEntity*>& among,
                                          const SnippetEntity* excluding = nullptr);

struct ConflictWarning {
    enum class Tint { orange, red };

    QString symbolName;
    Tint tint = Tint::orange;
    QString text;

    QColor color() const;
};

// The warning shown beside the abbreviation field; nothing when there is no conflict.
std::optional<ConflictWarning> conflictWarning(const AbbreviationConflict& conflict);
