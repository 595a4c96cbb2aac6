#include "ui/panels/GeneratingPanel.h"

#include "ui/widgets/Icons.h"

#include <QCoreApplication>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>
#include <QTimer>
#include <algorithm>

namespace {

QString generatingText(int dots)
{
    return QCoreApplication::translate("GeneratingPanel", "ScrivLane is generating") +
           QString(dots, u'.');
}

// The rounded box with the sparkles and the text, its dots cycling every 0.4 s while shown.
QWidget* createPanel()
{
    auto* panel = new QWidget;
    panel->setObjectName(QStringLiteral("generatingPanel"));
    // For tools; never shown.
    panel->setWindowTitle(
        QCoreApplication::translate("GeneratingPanel", "ScrivLane is generating"));
    panel->setWindowFlags(Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput);
    panel->setAttribute(Qt::WA_ShowWithoutActivating);
    panel->setAttribute(Qt::WA_TranslucentBackground);
    panel->setFixedSize(GeneratingPanel::width, GeneratingPanel::height);

    auto* box = new QFrame(panel);
    box->setObjectName(QStringLiteral("generatingBox"));
    box->setStyleSheet(QStringLiteral("#generatingBox { background: palette(window); "
                                      "border: 1px solid rgba(128, 128, 128, 26); "
                                      "border-radius: 10px; }"));
    auto* outer = new QHBoxLayout(panel);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(box);

    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(14, 9, 14, 9);
    row->setSpacing(8);
    auto* icon = new QLabel(box);
    icon->setObjectName(QStringLiteral("generatingIcon"));
    icon->setPixmap(Icons::named(QStringLiteral("scrivlane-sparkles")).pixmap(14, 14));
    auto* text = new QLabel(generatingText(1), box);
    text->setObjectName(QStringLiteral("generatingText"));
    QFont font = text->font();
    font.setPointSizeF(10);
    text->setFont(font);
    QPalette palette = text->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    text->setPalette(palette);
    row->addWidget(icon);
    row->addWidget(text, 1);

    auto* timer = new QTimer(panel);
    timer->setObjectName(QStringLiteral("generatingDots"));
    timer->setInterval(400);
    QObject::connect(timer, &QTimer::timeout, text, [text, dots = 1]() mutable {
        dots = dots % 3 + 1;
        text->setText(generatingText(dots));
    });
    timer->start();
    return panel;
}

} // namespace

GeneratingPanel::GeneratingPanel(std::function<QRect()> focusedWindowFrame)
    : m_focusedWindowFrame(std::move(focusedWindowFrame))
{}

GeneratingPanel::~GeneratingPanel()
{
    delete m_panel.data();
}

QPoint GeneratingPanel::placement(const QRect& frame, const QRect& screen)
{
    if (!frame.isValid())
        return {screen.right() + 1 - (width + 8), screen.bottom() + 1 - (height + 20)};
    // Just below the window, left-aligned with it, and always on the screen.
    const int x = std::max(screen.left() + 8, std::min(frame.left(), screen.right() + 1 - width));
    const int y = std::max(screen.top() + 8,
                           std::min(frame.bottom() + 1 + 8, screen.bottom() + 1 - height - 8));
    return {x, y};
}

void GeneratingPanel::show()
{
    // A fresh panel each time: the dots start again at one.
    delete m_panel.data();
    m_panel = createPanel();
    const QRect frame = m_focusedWindowFrame ? m_focusedWindowFrame() : QRect();
    const QScreen* screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 800, 600);
    m_panel->move(placement(frame, area));
    m_panel->show();
}

void GeneratingPanel::dismiss()
{
    delete m_panel.data();
}
