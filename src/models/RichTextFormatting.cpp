#include "models/RichTextFormatting.h"

#include <QTextBlock>
#include <QTextDocument>

namespace RichTextFormatting {

namespace {

bool has(const QTextCharFormat& format, Trait trait)
{
    switch (trait) {
    case Trait::bold:
        return format.fontWeight() >= QFont::Bold;
    case Trait::italic:
        return format.fontItalic();
    case Trait::underline:
        return format.fontUnderline();
    case Trait::strikethrough:
        return format.fontStrikeOut();
    }
    return false;
}

void set(QTextCharFormat& format, Trait trait, bool on)
{
    switch (trait) {
    case Trait::bold:
        format.setFontWeight(on ? QFont::Bold : QFont::Normal);
        break;
    case Trait::italic:
        format.setFontItalic(on);
        break;
    case Trait::underline:
        format.setFontUnderline(on);
        break;
    case Trait::strikethrough:
        format.setFontStrikeOut(on);
        break;
    }
}

// Calls `visit` with the range and format of every run inside the selection, split at its
// ends; returns whether there was a selection.
template <typename Visit> bool eachRun(const QTextCursor& cursor, Visit visit)
{
    if (!cursor.hasSelection())
        return false;
    const int start = cursor.selectionStart(), end = cursor.selectionEnd();
    QTextDocument* document = cursor.document();
    for (QTextBlock block = document->findBlock(start); block.isValid() && block.position() < end;
         block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const int from = std::max(start, fragment.position());
            const int to = std::min(end, fragment.position() + fragment.length());
            if (from < to)
                visit(from, to, fragment.charFormat());
        }
    }
    return true;
}

} // namespace

void toggle(QTextCursor& cursor, Trait trait)
{
    bool everywhere = true;
    if (!eachRun(cursor, [&](int, int, const QTextCharFormat& f) {
            everywhere = everywhere && has(f, trait);
        }))
        everywhere = has(cursor.charFormat(), trait);
    QTextCharFormat change;
    set(change, trait, !everywhere);
    cursor.mergeCharFormat(change);
}

void changeSize(QTextCursor& cursor, qreal delta, qreal defaultPointSize)
{
    const auto resized = [&](const QTextCharFormat& f) {
        const qreal size = f.fontPointSize() > 0 ? f.fontPointSize() : defaultPointSize;
        return std::max(smallestPointSize, size + delta);
    };
    struct Run {
        int from, to;
        qreal size;
    };
    std::vector<Run> runs;
    const bool selected = eachRun(cursor, [&](int from, int to, const QTextCharFormat& f) {
        runs.push_back({from, to, resized(f)});
    });
    if (!selected) {
        QTextCharFormat change;
        change.setFontPointSize(resized(cursor.charFormat()));
        cursor.mergeCharFormat(change);
        return;
    }
    // Each run from its own size, so mixed sizes keep their differences.
    QTextCursor run(cursor.document());
    run.beginEditBlock();
    for (const Run& r : runs) {
        run.setPosition(r.from);
        run.setPosition(r.to, QTextCursor::KeepAnchor);
        QTextCharFormat change;
        change.setFontPointSize(r.size);
        run.mergeCharFormat(change);
    }
    run.endEditBlock();
}

void align(QTextCursor& cursor, Qt::Alignment alignment)
{
    QTextBlockFormat format;
    format.setAlignment(alignment);
    cursor.mergeBlockFormat(format);
}

QString linkAt(const QTextCursor& cursor)
{
    QString found;
    if (!eachRun(cursor, [&](int, int, const QTextCharFormat& f) {
            if (found.isEmpty() && f.isAnchor())
                found = f.anchorHref();
        }))
        found = cursor.charFormat().isAnchor() ? cursor.charFormat().anchorHref() : QString();
    return found;
}

void setLink(QTextCursor& cursor, const QString& address)
{
    QTextCharFormat change;
    change.setAnchor(true);
    change.setAnchorHref(address);
    change.setFontUnderline(true);
    change.setForeground(QColor(0x1a, 0x6b, 0xd6));
    cursor.mergeCharFormat(change);
}

void removeLink(QTextCursor& cursor)
{
    QTextCharFormat change;
    change.setAnchor(false);
    change.setAnchorHref(QString());
    change.setFontUnderline(false);
    change.clearForeground();
    cursor.mergeCharFormat(change);
}

} // namespace RichTextFormatting
