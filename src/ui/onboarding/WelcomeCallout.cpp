#include "ui/onboarding/WelcomeCallout.h"

#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int arrowHeight = 9;
constexpr int edge = 16; // from the screen's edge
constexpr int gap = 4;   // from the tray
} // namespace

WelcomeCallout::WelcomeCallout(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus)
{
    setObjectName(QStringLiteral("welcomeCallout"));
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAccessibleName(tr("ScrivLane is in your system tray"));
    setFixedWidth(calloutWidth);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12 + arrowHeight, 14, 10);
    layout->setSpacing(6);
    auto* header = new QHBoxLayout;
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::named(QStringLiteral("insert-text")).pixmap(16, 16));
    auto* title = new QLabel(tr("ScrivLane is in your system tray"), this);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    header->addWidget(icon);
    header->addWidget(title, 1);
    layout->addLayout(header);
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.88);
    auto* text = new QLabel(tr("Click its icon in the tray to open your snippets and "
                               "create your first text expansion."),
                            this);
    auto* hint = new QLabel(tr("Can't see the icon? On GNOME, the <b>AppIndicator</b> "
                               "extension shows tray icons."),
                            this);
    text->setTextFormat(Qt::PlainText);
    hint->setTextFormat(Qt::RichText);
    for (QLabel* label : {text, hint}) {
        label->setWordWrap(true);
        label->setFont(small);
        layout->addWidget(label);
    }
    auto* gotIt = new QPushButton(tr("Got it"), this);
    gotIt->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(gotIt, 0, Qt::AlignRight);
    connect(gotIt, &QPushButton::clicked, this, &WelcomeCallout::dismissed);
    setFixedHeight(layout->totalHeightForWidth(calloutWidth));
}

QRect WelcomeCallout::place(const QRect& trayIcon, const QRect& screen)
{
    const int calloutHeight = height();
    QRect frame(0, 0, calloutWidth, calloutHeight);
    if (trayIcon.isValid() && screen.contains(trayIcon.center())) {
        m_arrowDown = trayIcon.center().y() > screen.center().y();
        const int x = std::clamp(trayIcon.center().x() - (calloutWidth - arrowRightInset),
                                 screen.left() + gap, screen.right() - calloutWidth - gap);
        const int y = m_arrowDown ? trayIcon.top() - calloutHeight - gap : trayIcon.bottom() + gap;
        frame.moveTo(x, y);
        m_arrowX = std::clamp(trayIcon.center().x() - x, 14, calloutWidth - 14);
    } else {
        m_arrowDown = false;
        frame.moveTo(screen.right() - calloutWidth - edge + 1, screen.top() + gap);
        m_arrowX = calloutWidth - arrowRightInset;
    }
    // The layout keeps the arrow's side free.
    layout()->setContentsMargins(14, 12 + (m_arrowDown ? 0 : arrowHeight), 14,
                                 10 + (m_arrowDown ? arrowHeight : 0));
    setGeometry(frame);
    setMask(QRegion(shape().toFillPolygon().toPolygon()));
    return frame;
}

QPainterPath WelcomeCallout::shape() const
{
    const QRectF card = QRectF(rect()).adjusted(1, m_arrowDown ? 1 : arrowHeight, -1,
                                                m_arrowDown ? -arrowHeight : -1);
    QPainterPath path;
    path.addRoundedRect(card, 10, 10);
    QPainterPath arrow;
    const qreal tipY = m_arrowDown ? height() - 1 : 1;
    const qreal baseY = m_arrowDown ? card.bottom() : card.top();
    arrow.moveTo(m_arrowX - arrowHeight, baseY + (m_arrowDown ? -1 : 1));
    arrow.lineTo(m_arrowX, tipY);
    arrow.lineTo(m_arrowX + arrowHeight, baseY + (m_arrowDown ? -1 : 1));
    arrow.closeSubpath();
    return path.united(arrow);
}

void WelcomeCallout::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    // Without a compositor a translucent window shows black corners: cut it to its shape.
    setMask(QRegion(shape().toFillPolygon().toPolygon()));
}

void WelcomeCallout::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().color(QPalette::Mid), 1));
    painter.setBrush(palette().color(QPalette::Window));
    painter.drawPath(shape());
}
