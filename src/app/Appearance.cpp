#include "app/Appearance.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

namespace Appearance {

namespace {

QPalette darkPalette()
{
    QPalette p;
    const QColor window(0x2b, 0x2b, 0x2e), base(0x1f, 0x1f, 0x22), text(0xe6, 0xe6, 0xe6);
    const QColor disabled(0x80, 0x80, 0x85), accent(0x3d, 0x8b, 0xe0);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3e));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::ToolTipBase, window);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, disabled);
    p.setColor(QPalette::Highlight, accent);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(0x6c, 0xb0, 0xff));
    p.setColor(QPalette::Light, QColor(0x4a, 0x4a, 0x4f));
    p.setColor(QPalette::Midlight, QColor(0x40, 0x40, 0x44));
    p.setColor(QPalette::Mid, QColor(0x55, 0x55, 0x5a));
    p.setColor(QPalette::Dark, QColor(0x18, 0x18, 0x1a));
    p.setColor(QPalette::Shadow, Qt::black);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, disabled);
    return p;
}

} // namespace

void applyFromEnvironment()
{
    const QString wanted = qEnvironmentVariable("SCRIVLANE_PALETTE");
    if (wanted != u"dark" && wanted != u"light")
        return;
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(wanted == u"dark" ? darkPalette()
                                               : QApplication::style()->standardPalette());
}

} // namespace Appearance
