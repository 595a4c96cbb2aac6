#include "ui/panels/GeneratingPanel.h"

#include <QGuiApplication>
#include <QLabel>
#include <QScreen>

GeneratingPanel::GeneratingPanel(std::function<QRect()> focusedWindowFrame)
    : m_focusedWindowFrame(std::move(focusedWindowFrame))
{}

GeneratingPanel::~GeneratingPanel()
{
    delete m_label.data();
}

void GeneratingPanel::show()
{
    if (!m_label) {
        m_label = new QLabel(QStringLiteral("  Generating\u2026  "));
        m_label->setObjectName(QStringLiteral("generatingPanel"));
        m_label->setWindowFlags(Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                Qt::WindowDoesNotAcceptFocus);
        m_label->setAttribute(Qt::WA_ShowWithoutActivating);
        m_label->setStyleSheet(
            QStringLiteral("QLabel { background: palette(window); border: 1px solid palette(mid); "
                           "border-radius: 6px; padding: 6px; }"));
    }
    m_label->adjustSize();
    const QRect frame = m_focusedWindowFrame ? m_focusedWindowFrame() : QRect();
    QPoint at;
    if (frame.isValid()) {
        at = QPoint(frame.center().x() - m_label->width() / 2,
                    frame.bottom() - m_label->height() - 24);
    } else if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        at = area.bottomRight() - QPoint(m_label->width() + 24, m_label->height() + 24);
    }
    m_label->move(at);
    m_label->show();
}

void GeneratingPanel::dismiss()
{
    if (m_label)
        m_label->hide();
}
