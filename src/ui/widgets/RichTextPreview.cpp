#include "ui/widgets/RichTextPreview.h"

#include "richtext/RtfReader.h"

#include <QEvent>
#include <QTextDocument>

RichTextPreview::RichTextPreview(QWidget* parent) : QTextEdit(parent)
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::NoTextInteraction);
    setFocusPolicy(Qt::NoFocus);
    setFrameShape(QFrame::NoFrame);
    setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    setAccessibleName(tr("Preview"));
    setAccessibleDescription(tr("The text as it will be pasted"));
}

void RichTextPreview::setAttributedText(const QTextDocument& text)
{
    adoptDocument(text.clone(this));
}

bool RichTextPreview::setRtf(const QByteArray& rtf)
{
    std::unique_ptr<QTextDocument> read = RtfReader::read(rtf);
    if (!read) {
        adoptDocument(new QTextDocument(this));
        return false;
    }
    read->setParent(this);
    adoptDocument(read.release());
    return true;
}

void RichTextPreview::adoptDocument(QTextDocument* document)
{
    // The view deletes only the document it made itself, and that one at once; each one shown
    // here is this view's own to delete.
    QTextDocument* previous = this->document();
    const bool ours = previous && previous->parent() == this;
    // Text without a font of its own takes the view's, as it takes the destination's on paste.
    document->setDefaultFont(font());
    setDocument(document);
    if (ours)
        delete previous;
}

void RichTextPreview::changeEvent(QEvent* event)
{
    QTextEdit::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        document()->setDefaultFont(font());
}
