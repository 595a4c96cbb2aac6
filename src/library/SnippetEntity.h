#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUuid>
#include <memory>
#include <optional>

class CategoryEntity;
class QTextDocument;

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

    const std::optional<QUuid>& id() const { return m_id; }
    void setId(const std::optional<QUuid>& id) { m_id = id; }
    const std::optional<QString>& title() const { return m_title; }
    void setTitle(const std::optional<QString>& title) { m_title = title; }
    const std::optional<QString>& abbreviation() const { return m_abbreviation; }
    void setAbbreviation(const std::optional<QString>& abbreviation)
    {
        m_abbreviation = abbreviation;
    }
    const std::optional<QString>& expandedText() const { return m_expandedText; }
    void setExpandedText(const std::optional<QString>& text) { m_expandedText = text; }
    // A complete RTF document; absent for plain snippets.
    const std::optional<QByteArray>& expandedTextRTF() const { return m_expandedTextRTF; }
    void setExpandedTextRTF(const std::optional<QByteArray>& rtf) { m_expandedTextRTF = rtf; }
    bool isRichText() const { return m_isRichText; }
    void setRichText(bool richText) { m_isRichText = richText; }
    bool isCodeSnippet() const { return m_isCodeSnippet; }
    void setCodeSnippet(bool codeSnippet) { m_isCodeSnippet = codeSnippet; }
    const std::optional<QString>& codeLanguage() const { return m_codeLanguage; }
    void setCodeLanguage(const std::optional<QString>& language) { m_codeLanguage = language; }
    const std::optional<QDateTime>& createdAt() const { return m_createdAt; }
    void setCreatedAt(const std::optional<QDateTime>& at) { m_createdAt = at; }
    const std::optional<QDateTime>& updatedAt() const { return m_updatedAt; }
    void setUpdatedAt(const std::optional<QDateTime>& at) { m_updatedAt = at; }
    const std::optional<QDateTime>& trashedAt() const { return m_trashedAt; }
    void setTrashedAt(const std::optional<QDateTime>& at) { m_trashedAt = at; }

    // Not owned. Setting it also updates the old and new categories' snippet sets.
    CategoryEntity* category() const { return m_category; }
    void setCategory(CategoryEntity* category);

    // Trashed is not a flag of its own: a record is live exactly while trashedAt is absent.
    bool isTrashed() const { return m_trashedAt.has_value(); }
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

    std::optional<QUuid> m_id;
    std::optional<QString> m_title;
    std::optional<QString> m_abbreviation;
    std::optional<QString> m_expandedText;
    std::optional<QByteArray> m_expandedTextRTF;
    bool m_isRichText = false;
    bool m_isCodeSnippet = false;
    std::optional<QString> m_codeLanguage;
    CategoryEntity* m_category = nullptr;
    std::optional<QDateTime> m_createdAt;
    std::optional<QDateTime> m_updatedAt;
    std::optional<QDateTime> m_trashedAt;
};
