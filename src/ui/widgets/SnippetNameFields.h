#pragma once

class QFormLayout;
class QLineEdit;
class QWidget;

// The title and abbreviation rows the editor and the new-snippet sheet share, so both read
// the same to the user and to screen readers.
struct SnippetNameFields {
    QLineEdit* title = nullptr;
    QLineEdit* abbreviation = nullptr;

    static SnippetNameFields addTo(QFormLayout* form, QWidget* parent);
};
