#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUuid>
#include <cstdint>
#include <memory>
#include <optional>

class CategoryEntity;
class PersistenceController;
class QTextDocument;
struct SnippetRow;

// A snippet record. Every attribute is optional or has a default so that records synced from
// elsewhere, or written by older versions, always load. Categories point back at their snippets,
// so a record has a fixed address: it is neither copied nor moved.
class SnippetEntity {
public:
    SnippetEntity() = default;
    ~SnippetEntity();
    SnippetEntity(const SnippetEntity&) = delete;
    SnippetEntity& operator=(const SnippetEntity&) = delete;

    // A snippet as the new-snippet sheet creates it. The abbreviation loses surrounding spaces
    // and tabs; line breaks stay because they can be typed as part of a trigger.
    static std::unique_ptr<SnippetEntity> create(const QString& title, const QString& abbreviation,
                                                 CategoryEntity* category, const QDateTime& now);

    std::optional<QUuid> id() const { return present(m_hasId, m_id); }
    void setId(const std::optional<QUuid>& id) { keep(id, m_id, m_hasId, changedId); }
    const std::optional<QString>& title() const { return m_title; }
    void setTitle(const std::optional<QString>& title) { change(m_title, title, changedTitle); }
    const std::optional<QString>& abbreviation() const { return m_abbreviation; }
    void setAbbreviation(const std::optional<QString>& abbreviation)
    {
        change(m_abbreviation, abbreviation, changedAbbreviation);
    }
    const std::optional<QString>& expandedText() const { return m_expandedText; }
    void setExpandedText(const std::optional<QString>& text)
    {
        change(m_expandedText, text, changedExpandedText);
    }
    // A complete RTF document; absent for plain snippets.
    std::optional<QByteArray> expandedTextRTF() const
    {
        return present(m_hasExpandedTextRTF, m_expandedTextRTF);
    }
    void setExpandedTextRTF(const std::optional<QByteArray>& rtf)
    {
        keep(rtf, m_expandedTextRTF, m_hasExpandedTextRTF, changedExpandedTextRTF);
    }
    bool isRichText() const { return m_isRichText; }
    void setRichText(bool richText) { change(m_isRichText, richText, changedRichText); }
    bool isCodeSnippet() const { return m_isCodeSnippet; }
    void setCodeSnippet(bool codeSnippet)
    {
        change(m_isCodeSnippet, codeSnippet, changedCodeSnippet);
    }
    std::optional<QString> codeLanguage() const
    {
        return present(m_hasCodeLanguage, m_codeLanguage);
    }
    void setCodeLanguage(const std::optional<QString>& language)
    {
        keep(language, m_codeLanguage, m_hasCodeLanguage, changedCodeLanguage);
    }
    std::optional<QDateTime> createdAt() const { return present(m_hasCreatedAt, m_createdAt); }
    void setCreatedAt(const std::optional<QDateTime>& at)
    {
        keep(at, m_createdAt, m_hasCreatedAt, changedCreatedAt);
    }
    std::optional<QDateTime> updatedAt() const { return present(m_hasUpdatedAt, m_updatedAt); }
    void setUpdatedAt(const std::optional<QDateTime>& at)
    {
        keep(at, m_updatedAt, m_hasUpdatedAt, changedUpdatedAt);
    }
    std::optional<QDateTime> trashedAt() const { return present(m_hasTrashedAt, m_trashedAt); }
    void setTrashedAt(const std::optional<QDateTime>& at)
    {
        keep(at, m_trashedAt, m_hasTrashedAt, changedTrashedAt);
    }

    // Not owned. Setting it also updates the old and new categories' snippet sets.
    CategoryEntity* category() const { return m_category; }
    void setCategory(CategoryEntity* category);

    // Trashed is not a flag of its own: a record is live exactly while trashedAt is absent.
    bool isTrashed() const { return m_hasTrashedAt; }
    bool isLive() const { return !isTrashed(); }

    // The title, else the start of the expansion, else a placeholder; never trimmed.
    QString displayTitle() const;

    // The rich expansion read from expandedTextRTF, near-grey colours removed; nothing when there
    // is no RTF or it cannot be read.
    std::unique_ptr<QTextDocument> attributedText() const;
    // Stores rich text: its plain characters and its RTF (absent when the RTF cannot be
    // produced), with near-grey colours removed. isRichText is the caller's to set.
    void setAttributedText(const QTextDocument& text, const QDateTime& now);

private:
    friend class CategoryEntity;
    friend class PersistenceController;
    friend struct SnippetRow;

    // The columns changed since the store last wrote or read the record, one bit each: the
    // store writes only records with a bit set, and a change read from the file replaces only
    // the columns not changed here.
    enum Changed : std::uint16_t {
        changedId = 1 << 0,
        changedTitle = 1 << 1,
        changedAbbreviation = 1 << 2,
        changedExpandedText = 1 << 3,
        changedExpandedTextRTF = 1 << 4,
        changedRichText = 1 << 5,
        changedCodeSnippet = 1 << 6,
        changedCodeLanguage = 1 << 7,
        changedCreatedAt = 1 << 8,
        changedUpdatedAt = 1 << 9,
        changedTrashedAt = 1 << 10,
        changedCategory = 1 << 11,
    };

    template <typename T> static std::optional<T> present(bool has, const T& value)
    {
        if (has)
            return value;
        return std::nullopt;
    }
    template <typename T> void change(T& field, const T& value, Changed bit)
    {
        if (field == value)
            return;
        field = value;
        m_changed |= bit;
    }
    template <typename T> void keep(const std::optional<T>& value, T& to, bool& has, Changed bit)
    {
        if (value ? has && to == *value : !has)
            return;
        to = value.value_or(T());
        has = value.has_value();
        m_changed |= bit;
    }

    std::optional<QString> m_title;
    std::optional<QString> m_abbreviation;
    std::optional<QString> m_expandedText;
    CategoryEntity* m_category = nullptr;
    // The less used columns keep their presence in a flag below: an optional of their own
    // would pad each to the next eight bytes, a date to twice its size, for every record of
    // a library that stays in memory whole.
    QByteArray m_expandedTextRTF;
    QString m_codeLanguage;
    QUuid m_id;
    QDateTime m_createdAt;
    QDateTime m_updatedAt;
    QDateTime m_trashedAt;
    bool m_hasExpandedTextRTF = false;
    bool m_hasCodeLanguage = false;
    bool m_hasId = false;
    bool m_hasCreatedAt = false;
    bool m_hasUpdatedAt = false;
    bool m_hasTrashedAt = false;
    bool m_isRichText = false;
    bool m_isCodeSnippet = false;
    std::uint16_t m_changed = 0;
    // The row's key in the store's file; 0 until it is first written.
    std::int64_t m_storeKey = 0;
};
