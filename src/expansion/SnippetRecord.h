#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <optional>

// The expansion engine's own copy of one snippet, independent of the store's records.
struct SnippetRecord {
    QString abbreviation;
    QString expandedText;
    bool isRichText = false;
    std::optional<QByteArray> rtfData; // only for rich snippets with RTF

    friend bool operator==(const SnippetRecord&, const SnippetRecord&) = default;
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
