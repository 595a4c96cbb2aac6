#pragma once

#include "library/AbbreviationConflict.h"
#include "library/SnippetEntity.h"

#include <QFrame>

class QLabel;
class QPushButton;

// The warning under an abbreviation field: red for a duplicate, orange for a prefix clash,
// with "Go to snippet →". Hidden while there is no conflict.
class ConflictWarningRow : public QFrame {
    Q_OBJECT

public:
    explicit ConflictWarningRow(QWidget* parent = nullptr);

    void setConflict(const AbbreviationConflict& conflict);
    SnippetEntity* other() const { return m_other; }
    QString text() const;

Q_SIGNALS:
    void goToSnippet(SnippetEntity* other);

private:
    QLabel* m_icon;
    QLabel* m_text;
    QPushButton* m_link;
    SnippetEntity* m_other = nullptr;
};
