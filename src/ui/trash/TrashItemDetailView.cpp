#include "ui/trash/TrashItemDetailView.h"

#include "library/PersistenceController.h"
#include "models/TrashViewModel.h"
#include "ui/trash/DaysRemainingBadge.h"
#include "ui/trash/TrashStyle.h"
#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int dotSize = 14;
} // namespace

TrashItemDetailView::TrashItemDetailView(TrashViewModel* model, QWidget* parent)
    : QWidget(parent), m_model(model)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(10);

    auto* titleRow = new QHBoxLayout;
    titleRow->setSpacing(8);
    m_dot = new QLabel(this);
    m_dot->setFixedSize(dotSize, dotSize);
    m_title = new QLabel(this);
    m_title->setObjectName(QStringLiteral("trashDetailTitle"));
    m_title->setTextFormat(Qt::PlainText);
    m_title->setWordWrap(true);
    m_title->setFont(TrashStyle::titleFont(m_title->font()));
    titleRow->addWidget(m_dot, 0, Qt::AlignVCenter);
    titleRow->addWidget(m_title, 1);
    layout->addLayout(titleRow);

    auto* deletedRow = new QHBoxLayout;
    deletedRow->setSpacing(8);
    m_deleted = new QLabel(this);
    m_deleted->setObjectName(QStringLiteral("trashDeletedWhen"));
    m_deleted->setTextFormat(Qt::PlainText);
    m_deleted->setForegroundRole(QPalette::PlaceholderText);
    m_badge = new DaysRemainingBadge(this);
    deletedRow->addWidget(m_deleted);
    deletedRow->addWidget(m_badge, 0, Qt::AlignVCenter);
    deletedRow->addStretch(1);
    layout->addLayout(deletedRow);
    layout->addSpacing(4);

    m_body = new QVBoxLayout;
    m_body->setSpacing(8);
    layout->addLayout(m_body, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* restore = new QPushButton(Icons::named(QStringLiteral("edit-undo")), tr("Restore"), this);
    restore->setAccessibleDescription(tr("Puts it back in the library"));
    auto* remove =
        new QPushButton(Icons::named(QStringLiteral("user-trash")), tr("Delete Permanently"), this);
    remove->setAccessibleDescription(tr("Removes it for good; this cannot be undone"));
    TrashStyle::markDestructive(remove);
    buttons->addWidget(restore);
    buttons->addWidget(remove);
    layout->addLayout(buttons);

    connect(restore, &QPushButton::clicked, this, [this] { m_model->restore(m_record); });
    connect(remove, &QPushButton::clicked, this, [this] { m_model->deletePermanently(m_record); });
}

void TrashItemDetailView::showRecord(const TrashSelection& record, const QString& title,
                                     const std::optional<QColor>& dot,
                                     const std::optional<QDateTime>& trashedAt)
{
    m_record = record;
    m_trashedAt = trashedAt;
    m_title->setText(title);
    m_dot->setVisible(dot.has_value());
    if (dot)
        m_dot->setPixmap(Icons::dot(*dot, dotSize).pixmap(dotSize, dotSize));
    refreshTimes();
}

void TrashItemDetailView::refreshTimes()
{
    m_deleted->setText(m_model->deletedPhrase(m_trashedAt));
    m_badge->setVisible(m_trashedAt.has_value());
    if (m_trashedAt)
        m_badge->setDaysRemaining(
            PersistenceController::daysRemaining(*m_trashedAt, m_model->now()));
}
