#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QFile>
#include <QPainter>
#include <QPalette>
#include <QPixmap>

// The icons live in this static library's resources; registering them from here makes the
// linker keep them in every executable that draws an icon.
static void registerIconResources()
{
    Q_INIT_RESOURCE(icons);
}

namespace Icons {

namespace {
void ensureResources()
{
    static const bool registered = (registerIconResources(), true);
    Q_UNUSED(registered);
}
} // namespace

QIcon named(const QString& freedesktopName)
{
    ensureResources();
    const QString ours = QStringLiteral(":/icons/") + freedesktopName + QStringLiteral(".svg");
    // Our own names have no theme counterpart.
    if (freedesktopName.startsWith(QStringLiteral("scrivlane-")))
        return QIcon(ours);
    return QIcon::fromTheme(freedesktopName, QIcon(ours));
}

QIcon tray(bool paused)
{
    ensureResources();
    return QIcon(paused ? QStringLiteral(":/icons/scrivlane-tray-paused.svg")
                        : QStringLiteral(":/icons/scrivlane-tray.svg"));
}

QIcon dot(const QColor& color, int size)
{
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    QPixmap pixmap(QSize(size, size) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color.isValid() ? color : QApplication::palette().color(QPalette::Highlight));
    const qreal inset = size * 0.15;
    painter.drawEllipse(QRectF(inset, inset, size - 2 * inset, size - 2 * inset));
    return QIcon(pixmap);
}

} // namespace Icons
