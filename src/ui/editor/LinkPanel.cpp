#include "ui/editor/LinkPanel.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>

LinkPanel::LinkPanel(QWidget* parent) : QFrame(parent, Qt::Popup)
{
    setObjectName(QStringLiteral("linkPanel"));
    setFrameShape(QFrame::StyledPanel);
    setAccessibleName(tr("Hyperlink"));
    auto* layout = new QHBoxLayout(this);
    m_field = new QLineEdit(this);
    m_field->setPlaceholderText(QStringLiteral("https://"));
    m_field->setAccessibleName(tr("Link address"));
    m_field->setMinimumWidth(320);
    m_field->setClearButtonEnabled(true);
    auto* apply = new QPushButton(tr("Apply"), this);
    apply->setDefault(true);
    apply->setAccessibleDescription(tr("Links the selected text to the address"));
    auto* remove = new QPushButton(tr("Remove"), this);
    remove->setAccessibleDescription(tr("Removes the link from the selected text"));
    layout->addWidget(m_field, 1);
    layout->addWidget(apply);
    layout->addWidget(remove);
    const auto doApply = [this] {
        const QString address = m_field->text().trimmed();
        close();
        if (!address.isEmpty())
            Q_EMIT applied(address);
    };
    connect(apply, &QPushButton::clicked, this, doApply);
    connect(m_field, &QLineEdit::returnPressed, this, doApply);
    connect(remove, &QPushButton::clicked, this, [this] {
        close();
        Q_EMIT removed();
    });
}

void LinkPanel::open(const QString& address, const QPoint& at)
{
    m_field->setText(address);
    m_field->selectAll();
    adjustSize();
    move(at);
    show();
    m_field->setFocus();
}
