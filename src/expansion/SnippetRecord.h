#pragma once

#include "text/SnippetTexts.h"

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <optional>

// The expansion engine's copy of one snippet. Made from a store record, it shares that
// record's texts instead of copying them: a library stays in memory whole.
class SnippetRecord {
public:
    SnippetRecord() = default;
    SnippetRecord(const QString& abbreviation, const QString& expandedText, bool isRichText = false,
                  const std::optional<QByteArray>& rtfData = std::nullopt)
        : m_isRichText(isRichText)
    {
        m_texts.setText(SnippetTexts::abbreviation, abbreviation);
        m_texts.setText(SnippetTexts::expandedText, expandedText);
        m_texts.setBytes(SnippetTexts::expandedTextRTF, rtfData);
    }
    SnippetRecord(const SnippetTexts& texts, bool isRichText)
        : m_texts(texts), m_isRichText(isRichText)
    {}

    QString abbreviation() const { return m_texts.text(SnippetTexts::abbreviation); }
    bool hasAbbreviation() const { return !m_texts.bytes(SnippetTexts::abbreviation).isEmpty(); }
    QString expandedText() const { return m_texts.text(SnippetTexts::expandedText); }
    bool isRichText() const { return m_isRichText; }
    // Only for rich snippets with RTF.
    std::optional<QByteArray> rtfData() const
    {
        if (!m_isRichText)
            return std::nullopt;
        return m_texts.optionalBytes(SnippetTexts::expandedTextRTF);
    }

    friend bool operator==(const SnippetRecord&, const SnippetRecord&) = default;

private:
    SnippetTexts m_texts;
    bool m_isRichText = false;
};

// What the monitor hands to the expansion pipeline on a match.
struct ExpansionRequest {
    int abbreviationLength = 0; // in characters: the number of backspaces to send
    QString expandedText;
    bool isRichText = false;
    std::optional<QByteArray> rtfData;
    std::optional<QString> clipboardText; // the clipboard's text at the moment of the match

    friend bool operator==(const ExpansionRequest&, const ExpansionRequest&) = default;
};

Q_DECLARE_METATYPE(ExpansionRequest)
