#include "ui/widgets/EmptyState.h"

#include "ui/widgets/Icons.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

EmptyState::EmptyState(const QString& iconName, const QString& title, const QString& detail,
                       const QString& buttonText, QWidget* parent)
    : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->addStretch(1);
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::named(iconName).pixmap(40, 40));
    icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon);
    m_title = new QLabel(title, this);
    m_title->setAlignment(Qt::AlignCenter);
    m_title->setTextFormat(Qt::PlainText);
    QFont font = m_title->font();
    font.setPointSizeF(font.pointSizeF() * 1.2);
    font.setBold(true);
    m_title->setFont(font);
    layout->addWidget(m_title);
    if (!detail.isEmpty()) {
        auto* text = new QLabel(detail, this);
        text->setAlignment(Qt::AlignCenter);
        text->setWordWrap(true);
        text->setTextFormat(Qt::PlainText);
        text->setForegroundRole(QPalette::PlaceholderText);
        layout->addWidget(text);
    }
    if (!buttonText.isEmpty()) {
        m_button = new QPushButton(buttonText, this);
        m_button->setDefault(true);
        m_button->setAutoDefault(true);
        connect(m_button, &QPushButton::clicked, this, &EmptyState::buttonClicked);
        auto* row = new QHBoxLayout;
        row->addStretch(1);
        row->addWidget(m_button);
        row->addStretch(1);
        layout->addSpacing(6);
        layout->addLayout(row);
    }
    layout->addStretch(1);
    setAccessibleName(title);
}

void EmptyState::setTitle(const QString& title)
{
    m_title->setText(title);
    setAccessibleName(title);
}
