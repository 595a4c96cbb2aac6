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
    m_detail = new QLabel(detail, this);
    m_detail->setAlignment(Qt::AlignCenter);
    m_detail->setWordWrap(true);
    m_detail->setTextFormat(Qt::PlainText);
    m_detail->setForegroundRole(QPalette::PlaceholderText);
    m_detail->setVisible(!detail.isEmpty());
    layout->addWidget(m_detail);
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

void EmptyState::setDetail(const QString& detail)
{
    m_detail->setText(detail);
    m_detail->setVisible(!detail.isEmpty());
}

void EmptyState::setTitle(const QString& title)
{
    m_title->setText(title);
    setAccessibleName(title);
}
