#include "app/ClipboardKeeper.h"

#include "common/AppPaths.h"
#include "common/SafeFile.h"

#include <QClipboard>
#include <QDataStream>
#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMimeData>
#include <QProcess>
#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcKeeper, "scrivlane.app.clipboard")

namespace {

using Formats = QList<std::pair<QString, QByteArray>>;

bool clipboardManagerRunning()
{
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return false;
    static constexpr char name[] = "CLIPBOARD_MANAGER";
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, sizeof name - 1, name),
                              nullptr),
        &std::free);
    if (!atom || atom->atom == XCB_ATOM_NONE)
        return false;
    const std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom),
                                      nullptr),
        &std::free);
    return owner && owner->owner != XCB_WINDOW_NONE;
}

} // namespace

namespace ClipboardKeeper {

void handOverIfOwned()
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* data = clipboard->mimeData(QClipboard::Clipboard);
    if (!clipboard->ownsClipboard() || !data || data->formats().isEmpty() ||
        clipboardManagerRunning())
        return;
    Formats formats;
    for (const QString& format : data->formats()) {
        if (format == u"TARGETS" || format == u"MULTIPLE" || format == u"TIMESTAMP" ||
            format == u"SAVE_TARGETS")
            continue;
        formats.append({format, data->data(format)});
    }
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << formats;
    const QString folder = AppPaths::runtimeDir();
    if (folder.isEmpty())
        return;
    const QString path = QDir(folder).absoluteFilePath(
        QStringLiteral("clipboard-%1").arg(QCoreApplication::applicationPid()));
    if (const auto error = SafeFile::writeFile(path, bytes)) {
        qCWarning(lcKeeper).noquote() << "cannot keep the clipboard:" << *error;
        return;
    }
    if (!QProcess::startDetached(QCoreApplication::applicationFilePath(),
                                 {QString::fromLatin1(option), path})) {
        QFile::remove(path);
        qCWarning(lcKeeper) << "cannot start the process that keeps the clipboard";
    }
}

int run(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "xcb");
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QGuiApplication app(argc, argv);
    const QString path = QCoreApplication::arguments().value(2);
    const auto read = SafeFile::readFile(path);
    QFile::remove(path);
    const auto* bytes = std::get_if<QByteArray>(&read);
    if (!bytes)
        return 1;
    Formats formats;
    QDataStream in(*bytes);
    in >> formats;
    if (formats.isEmpty())
        return 1;
    auto* data = new QMimeData;
    for (const auto& [format, content] : std::as_const(formats)) {
        if (format == u"text/plain")
            data->setText(QString::fromUtf8(content));
        else
            data->setData(format, content);
    }
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->setMimeData(data, QClipboard::Clipboard);
    // Another owner took the clipboard: nothing of ours is left to serve.
    QObject::connect(clipboard, &QClipboard::changed, &app, [clipboard](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard && !clipboard->ownsClipboard())
            QCoreApplication::quit();
    });
    return QGuiApplication::exec();
}

} // namespace ClipboardKeeper
