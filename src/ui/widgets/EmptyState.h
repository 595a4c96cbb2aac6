#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

// A centred placeholder: an icon, a title, an optional line and an optional prominent button.
class EmptyState : public QWidget {
    Q_OBJECT

public:
    EmptyState(const QString& iconName, const QString& title, const QString& detail = {},
               const QString& buttonText = {}, QWidget* parent = nullptr);

    QPushButton* button() const { return m_button; }
    void setTitle(const QString& title);
    void setDetail(const QString& detail);

Q_SIGNALS:
    void buttonClicked();

private:
    QLabel* m_title;
    QLabel* m_detail = nullptr;
    QPushButton* m_button = nullptr;
};
