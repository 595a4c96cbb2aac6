#pragma once

#include <QFrame>

class QLineEdit;

// The small panel for a link: an address, "Apply" (also Return) and "Remove".
class LinkPanel : public QFrame {
    Q_OBJECT

public:
    explicit LinkPanel(QWidget* parent = nullptr);

    void open(const QString& address, const QPoint& at);
    QLineEdit* field() const { return m_field; }

Q_SIGNALS:
    void applied(const QString& address);
    void removed();

private:
    QLineEdit* m_field;
};
