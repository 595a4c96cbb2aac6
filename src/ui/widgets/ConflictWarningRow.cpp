#include "ui/widgets/ConflictWarningRow.h"

#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

ConflictWarningRow::ConflictWarningRow(QWidget* parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("conflictWarning"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 8, 4);
    m_icon = new QLabel(this);
    m_text = new QLabel(this);
    m_text->setTextFormat(Qt::PlainText);
    m_text->setWordWrap(true);
    QFont caption = m_text->font();
    caption.setPointSizeF(caption.pointSizeF() * 0.9);
    m_text->setFont(caption);
    m_link = new QPushButton(tr("Go to snippet →"), this);
    m_link->setFlat(true);
    m_link->setCursor(Qt::PointingHandCursor);
    QFont bold = caption;
    bold.setBold(true);
    m_link->setFont(bold);
    m_link->setAccessibleDescription(tr("Opens the snippet this one conflicts with"));
    layout->addWidget(m_icon);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_link);
    connect(m_link, &QPushButton::clicked, this, [this] {
        if (m_other)
            Q_EMIT goToSnippet(m_other);
    });
    hide();
}

void ConflictWarningRow::setConflict(const AbbreviationConflict& conflict)
{
    const std::optional<ConflictWarning> warning = conflictWarning(conflict);
    m_other = conflict.other();
    if (!warning) {
        hide();
        return;
    }
    const bool red = warning->tint == ConflictWarning::Tint::red;
    m_icon->setPixmap(
        Icons::named(red ? QStringLiteral("dialog-error") : QStringLiteral("dialog-warning"))
            .pixmap(14, 14));
    m_text->setText(warning->text);
    const QColor color = warning->color();
    // The row's colour at 8 % behind it, the text in the colour itself.
    setStyleSheet(QStringLiteral("QFrame#conflictWarning { background: rgba(%1,%2,%3,20); "
                                 "border-radius: 5px; } QLabel { color: %4; }")
                      .arg(color.red())
                      .arg(color.green())
                      .arg(color.blue())
                      .arg(color.name()));
    setAccessibleName(warning->text);
    show();
}

QString ConflictWarningRow::text() const
{
    return isHidden() ? QString() : m_text->text();
}
