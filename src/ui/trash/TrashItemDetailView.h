#pragma once

#include "models/TrashSelection.h"

#include <QColor>
#include <QDateTime>
#include <QWidget>
#include <optional>

class DaysRemainingBadge;
class QLabel;
class QPushButton;
class QVBoxLayout;
class TrashViewModel;

// What the detail views of one trashed record share: the name (with the category's dot where
// there is one), when it was deleted and how long it stays, the record's own part, and
// "Restore" and "Delete Permanently" acting on that record alone.
class TrashItemDetailView : public QWidget {
    Q_OBJECT

public:
    // The deletion phrase and the badge move on with the clock.
    void refreshTimes();

protected:
    TrashItemDetailView(TrashViewModel* model, QWidget* parent);

    // Between the header and the buttons.
    QVBoxLayout* body() const { return m_body; }
    TrashViewModel* model() const { return m_model; }
    // `dot`: a category's colour (invalid: the accent colour); none: no dot.
    void showRecord(const TrashSelection& record, const QString& title,
                    const std::optional<QColor>& dot, const std::optional<QDateTime>& trashedAt);

private:
    TrashViewModel* m_model;
    TrashSelection m_record;
    std::optional<QDateTime> m_trashedAt;
    QLabel* m_dot;
    QLabel* m_title;
    QLabel* m_deleted;
    DaysRemainingBadge* m_badge;
    QVBoxLayout* m_body;
};
