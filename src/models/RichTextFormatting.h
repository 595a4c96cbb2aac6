#pragma once

#include <QString>
#include <QTextCursor>

// What the editor's formatting bar does to the selection of a rich text, or, with nothing
// selected, to what will be typed next.
namespace RichTextFormatting {

constexpr qreal smallestPointSize = 6;
constexpr qreal sizeStep = 2;

enum class Trait { bold, italic, underline, strikethrough };

// On when the selection (or the typing position) does not have it everywhere; off otherwise.
void toggle(QTextCursor& cursor, Trait trait);
// Every run in the selection moves by `delta` points, each from its own size, never below 6.
void changeSize(QTextCursor& cursor, qreal delta, qreal defaultPointSize);
void align(QTextCursor& cursor, Qt::Alignment alignment);

// The address of a link at the selection (or the caret), empty when there is none.
QString linkAt(const QTextCursor& cursor);
void setLink(QTextCursor& cursor, const QString& address);
void removeLink(QTextCursor& cursor);

} // namespace RichTextFormatting
