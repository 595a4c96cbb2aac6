#pragma once

#include <QTextEdit>

// Rich text to look at, not to work on: not editable, not selectable, no frame and no
// background of its own, so it sits on whatever panel holds it.
class RichTextPreview : public QTextEdit {
    Q_OBJECT

public:
    explicit RichTextPreview(QWidget* parent = nullptr);

    // Shows a copy of the text; later changes to `text` do not show.
    void setAttributedText(const QTextDocument& text);
    // Reads the RTF; what cannot be read shows as nothing. False then.
    bool setRtf(const QByteArray& rtf);

protected:
    void changeEvent(QEvent* event) override;

private:
    void adoptDocument(QTextDocument* document);
};
