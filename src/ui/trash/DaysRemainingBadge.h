#pragma once

#include "models/TrashTexts.h"

#include <QWidget>

// Days left before a trashed record goes for good ("12d", "Today") on a capsule tinted red,
// orange or grey. The list rows paint it through the static functions; the detail views hold
// it as a widget.
class DaysRemainingBadge : public QWidget {
    Q_OBJECT

public:
    explicit DaysRemainingBadge(QWidget* parent = nullptr);

    void setDaysRemaining(int days);
    const TrashTexts::Badge& badge() const { return m_badge; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

    static QSize sizeFor(const TrashTexts::Badge& badge, const QFont& base);
    // The largest any badge gets ("30d" or "Today").
    static QSize widestSize(const QFont& base);
    // `onHighlight`: the row under it is selected, so the capsule gets an opaque ground.
    static void paint(QPainter* painter, const QRect& rect, const TrashTexts::Badge& badge,
                      const QFont& base, const QPalette& palette, bool onHighlight = false);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TrashTexts::Badge m_badge;
};
