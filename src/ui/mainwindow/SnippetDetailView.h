#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class QTextBrowser;
class SnippetEntity;

// One snippet's fields, read-only: its title, abbreviation, category and expansion (rich
// snippets as they will paste). The editor takes this place once it exists.
class SnippetDetailView : public QWidget {
    Q_OBJECT

public:
    explicit SnippetDetailView(QWidget* parent = nullptr);

    void showSnippet(const SnippetEntity* snippet);

Q_SIGNALS:
    void deleteRequested();

private:
    QLabel* m_title;
    QLabel* m_abbreviation;
    QLabel* m_category;
    QLabel* m_kind;
    QTextBrowser* m_text;
};
