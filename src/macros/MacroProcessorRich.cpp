// The rich-text operations of MacroProcessor, apart so that the plain ones build without
// QTextDocument.

#include "macros/MacroMatching.h"
#include "macros/MacroProcessor.h"
#include "richtext/PlainCharacters.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// The length of the break that starts at value[i] (CR LF, CR, LF or U+2029), 0 for none.
qsizetype breakLength(const QString& value, qsizetype i)
{
    const QChar c = value[i];
    if (c == u'\r')
        return i + 1 < value.size() && value[i + 1] == u'\n' ? 2 : 1;
    return c == u'\n' || c == QChar::ParagraphSeparator ? 1 : 0;
}

// Inserts the value at the cursor with the format. Each break makes a paragraph, as
// insertText() would, but the block keeps the break's own characters when they are not "\n".
void insertValue(QTextCursor& cursor, const QString& value, const QTextCharFormat& format)
{
    cursor.removeSelectedText();
    qsizetype start = 0;
    for (qsizetype i = 0; i < value.size();) {
        const qsizetype length = breakLength(value, i);
        if (length == 0) {
            ++i;
            continue;
        }
        if (i > start)
            cursor.insertText(value.mid(start, i - start), format);
        // The new block ends where the old one did, so it takes over its format, kept break
        // included; the old one now ends with this break.
        cursor.insertBlock(cursor.blockFormat(), format);
        QTextBlockFormat ended = cursor.block().previous().blockFormat();
        const QString characters = value.mid(i, length);
        if (characters == u"\n"_s)
            ended.clearProperty(RichText::paragraphBreakProperty);
        else
            ended.setProperty(RichText::paragraphBreakProperty, characters);
        QTextCursor(cursor.block().previous()).setBlockFormat(ended);
        i += length;
        start = i;
    }
    if (start < value.size())
        cursor.insertText(value.mid(start), format);
}

// UTF-16 units of the plain characters from the position to the end.
qsizetype plainLengthFrom(const QTextDocument& document, int position)
{
    qsizetype length = (document.characterCount() - 1) - position;
    for (QTextBlock block = document.findBlock(position); block.next().isValid();
         block = block.next())
        length += RichText::paragraphBreak(block).size() - 1;
    return length;
}

} // namespace

RichResolutionResult MacroProcessor::resolveRich(const QTextDocument& text,
                                                 const std::optional<QString>& clipboard,
                                                 const QHash<QString, QString>& fillInValues,
                                                 const SnippetLookup& snippetLookup)
{
    std::unique_ptr<QTextDocument> copy(text.clone());
    copy->setUndoRedoEnabled(false);
    // One unit per document position: offsets into it are cursor positions.
    const QString plain = RichText::positionalCharacters(*copy);
    if (!pendingFillIns(plain, fillInValues).isEmpty())
        return {std::move(copy), 0};

    std::vector<MacroMatching::Macro> macros;
    MacroMatching::forEachMacro(plain, [&](const MacroMatching::Macro& m) { macros.push_back(m); });

    // Last to first, so that every replacement leaves the earlier macros' positions valid; the
    // first cursor macro is thus the last one met and decides the count.
    const MacroMatching::FillInValues values(fillInValues);
    QTextCursor cursorMark; // where the deciding cursor macro was; moves with later edits
    QTextCursor cursor(copy.get());
    cursor.beginEditBlock(); // no layout per change
    for (auto macro = macros.rbegin(); macro != macros.rend(); ++macro) {
        cursor.setPosition(int(macro->start + 1));
        const QTextCharFormat format = cursor.charFormat(); // of the macro's first character
        cursor.setPosition(int(macro->start));
        cursor.setPosition(int(macro->end), QTextCursor::KeepAnchor);
        if (macro->name == u"cursor"_s) {
            cursor.removeSelectedText();
            cursorMark = cursor;
            continue;
        }
        const QString value = MacroMatching::replacement(*macro, clipboard, values, snippetLookup);
        if (value.isEmpty())
            cursor.removeSelectedText();
        else
            insertValue(cursor, value, format);
    }
    cursor.endEditBlock();
    // Counted at the end: only the replacements after the mark, already made when it was
    // met, lie between it and the end.
    const qsizetype cursorCount =
        cursorMark.isNull() ? 0 : plainLengthFrom(*copy, cursorMark.position());
    return {std::move(copy), cursorCount};
}

QString MacroProcessor::richPreviewText(const QTextDocument& text)
{
    const RichResolutionResult resolved = resolveRich(text);
    return previewText(RichText::plainCharacters(*resolved.document));
}
