// The rich-text operations of MacroProcessor, apart so that the plain ones build without
// QTextDocument.

#include "macros/MacroMatching.h"
#include "macros/MacroProcessor.h"
#include "richtext/PlainCharacters.h"

#include <QTextCursor>
#include <QTextDocument>
#include <vector>

using namespace Qt::StringLiterals;

RichResolutionResult MacroProcessor::resolveRich(const QTextDocument& text,
                                                 const std::optional<QString>& clipboard,
                                                 const QHash<QString, QString>& fillInValues,
                                                 const SnippetLookup& snippetLookup)
{
    std::unique_ptr<QTextDocument> copy(text.clone());
    copy->setUndoRedoEnabled(false);
    // One unit per document position: offsets into it are cursor positions.
    const QString plain = RichText::plainCharacters(*copy);
    if (!pendingFillIns(plain, fillInValues).isEmpty())
        return {std::move(copy), 0};

    std::vector<MacroMatching::Macro> macros;
    MacroMatching::forEachMacro(plain, [&](const MacroMatching::Macro& m) { macros.push_back(m); });

    // Last to first, so that every replacement leaves the earlier macros' positions valid; the
    // first cursor macro is thus the last one met and decides the count.
    const MacroMatching::FillInValues values(fillInValues);
    qsizetype cursorCount = 0;
    QTextCursor cursor(copy.get());
    cursor.beginEditBlock(); // no layout per change
    for (auto macro = macros.rbegin(); macro != macros.rend(); ++macro) {
        cursor.setPosition(int(macro->start + 1));
        const QTextCharFormat format = cursor.charFormat(); // of the macro's first character
        cursor.setPosition(int(macro->start));
        cursor.setPosition(int(macro->end), QTextCursor::KeepAnchor);
        if (macro->name == u"cursor"_s) {
            cursorCount = (copy->characterCount() - 1) - macro->end;
            cursor.removeSelectedText();
            continue;
        }
        const QString value = MacroMatching::replacement(*macro, clipboard, values, snippetLookup);
        if (value.isEmpty())
            cursor.removeSelectedText();
        else
            cursor.insertText(value, format);
    }
    cursor.endEditBlock();
    return {std::move(copy), cursorCount};
}

QString MacroProcessor::richPreviewText(const QTextDocument& text)
{
    const RichResolutionResult resolved = resolveRich(text);
    return previewText(RichText::plainCharacters(*resolved.document));
}
