#pragma once

#include <QColor>
#include <QScrollArea>

class QBoxLayout;
class QGroupBox;
class QLabel;
class QVBoxLayout;

// A settings pane's grouped form: the pane's title, then titled groups of rows with an
// optional footer under each, scrolling when the window is short.
class SettingsForm : public QScrollArea {
    Q_OBJECT

public:
    SettingsForm(const QString& title, QWidget* parent = nullptr);

    // A titled group; its rows go into the returned layout.
    QVBoxLayout* addSection(const QString& header, const QString& footer = {});
    // Ends the form: what follows is empty space.
    void finish();
    QVBoxLayout* body() const { return m_body; }

    // A label that reads as a caption: smaller, in the secondary colour, wrapped.
    static QLabel* caption(const QString& text, QWidget* parent);
    // A row: `left` takes the width, `right` keeps its own.
    static QBoxLayout* row(QWidget* left, QWidget* right = nullptr);
    // A label with a leading 16 px icon (tinted when `tint` is valid).
    static QWidget* iconLine(const QString& iconName, const QString& text, QWidget* parent,
                             const QColor& tint = {});
    // The accessible name and description, the description also as the tooltip.
    static void describe(QWidget* widget, const QString& name, const QString& description = {});
    static QPixmap tinted(const QString& iconName, const QColor& color, int size = 16);

    static QColor green();
    static QColor orange();

private:
    QVBoxLayout* m_body;
};

// A pane of the settings: told each time it is shown again, to re-read what the system or
// another window may have changed.
class SettingsPane : public SettingsForm {
    Q_OBJECT

public:
    using SettingsForm::SettingsForm;
    virtual void appear() {}
};
