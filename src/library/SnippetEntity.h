#pragma once

#include "text/SnippetTexts.h"

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
    // The texts are kept as UTF-8 (see SnippetTexts): each getter makes a string.
    std::optional<QString> title() const { return m_texts.optionalText(SnippetTexts::title); }
    void setTitle(const std::optional<QString>& title)
    {
        changeText(SnippetTexts::title, title, changedTitle);
    }
    std::optional<QString> abbreviation() const
    {
        return m_texts.optionalText(SnippetTexts::abbreviation);
    }
    void setAbbreviation(const std::optional<QString>& abbreviation)
    {
        changeText(SnippetTexts::abbreviation, abbreviation, changedAbbreviation);
    }
    std::optional<QString> expandedText() const
    {
        return m_texts.optionalText(SnippetTexts::expandedText);
    }
    void setExpandedText(const std::optional<QString>& text)
    {
        changeText(SnippetTexts::expandedText, text, changedExpandedText);
    }
    // A complete RTF document; absent for plain snippets.
    std::optional<QByteArray> expandedTextRTF() const
    {
        return m_texts.optionalBytes(SnippetTexts::expandedTextRTF);
    }
    void setExpandedTextRTF(const std::optional<QByteArray>& rtf)
    {
        if (m_texts.sameBytes(SnippetTexts::expandedTextRTF, rtf))
            return;
        m_texts.setBytes(SnippetTexts::expandedTextRTF, rtf);
        m_changed |= changedExpandedTextRTF;
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
        return m_texts.optionalText(SnippetTexts::codeLanguage);
    }
    void setCodeLanguage(const std::optional<QString>& language)
    {
        changeText(SnippetTexts::codeLanguage, language, changedCodeLanguage);
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

    // All texts at once, sharing this record's storage (the expansion engine keeps them so).
    const SnippetTexts& texts() const { return m_texts; }

    // Whether it has what an expansion needs: an abbreviation and an expansion.
    bool canExpand() const
    {
        return !m_texts.bytes(SnippetTexts::abbreviation).isEmpty() &&
               m_texts.has(SnippetTexts::expandedText);
    }

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
    void changeText(SnippetTexts::Slot slot, const std::optional<QString>& value, Changed bit)
    {
        if (m_texts.sameText(slot, value))
            return;
        m_texts.setText(slot, value);
        m_changed |= bit;
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

    SnippetTexts m_texts;
    CategoryEntity* m_category = nullptr;
    // Presence is a flag below: an optional would pad each column to the next eight bytes, a
    // date to twice its size, for every record of a library that stays in memory whole.
    QUuid m_id;
    QDateTime m_createdAt;
    QDateTime m_updatedAt;
    QDateTime m_trashedAt;
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
