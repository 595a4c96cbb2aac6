#include "platform/desktop/Autostart.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {

const QString entryName = QStringLiteral(SCRIVLANE_APP_ID ".desktop");
// What releases before the application id wrote; read as ours and replaced by the new name.
const QString legacyEntryName = u"scrivlane.desktop"_s;

// The Desktop Entry "string" escapes, undone before the Exec quoting rules apply.
QString unescapeString(const QString& value)
{
    QString out;
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != u'\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        const QChar next = value[++i];
        out += next == u's'   ? u' '
               : next == u'n' ? u'\n'
               : next == u't' ? u'\t'
               : next == u'r' ? u'\r'
                              : next;
    }
    return out;
}

// Key=value lines of the [Desktop Entry] group.
QHash<QString, QString> entryKeys(const QString& path)
{
    QFile file(path);
    QHash<QString, QString> keys;
    if (!file.open(QIODevice::ReadOnly))
        return keys;
    bool inGroup = false;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.startsWith(u'[')) {
            inGroup = line == u"[Desktop Entry]"_s;
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (inGroup && eq > 0)
            keys.insert(line.left(eq).trimmed(), line.mid(eq + 1).trimmed());
    }
    return keys;
}

} // namespace

Autostart::Autostart(QString autostartDir, QString program)
    : m_dir(std::move(autostartDir)), m_program(std::move(program))
{}

QString Autostart::defaultDir()
{
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || !QDir::isAbsolutePath(config))
        config = QDir::home().absoluteFilePath(u".config"_s);
    return QDir(config).absoluteFilePath(u"autostart"_s);
}

QString Autostart::runningProgram()
{
    const QString appImage = qEnvironmentVariable("APPIMAGE");
    return appImage.isEmpty() ? QCoreApplication::applicationFilePath() : appImage;
}

QString Autostart::entryPath() const
{
    return QDir(m_dir).absoluteFilePath(entryName);
}

QString Autostart::legacyEntryPath() const
{
    return QDir(m_dir).absoluteFilePath(legacyEntryName);
}

QString Autostart::installedEntryFor(const QString& program)
{
    // <prefix>/bin/scrivlane beside <prefix>/share/applications: a package or `cmake --install`.
    const QFileInfo info(program);
    const QString entry =
        QDir(info.absolutePath()).absoluteFilePath(u"../share/applications/"_s + entryName);
    return info.fileName() == u"scrivlane"_s && QFileInfo(entry).isFile() ? QDir::cleanPath(entry)
                                                                          : QString();
}

QString Autostart::entryText() const
{
    const QString exec = u"Exec="_s + execValue(m_program);
    const QString installed = installedEntryFor(m_program);
    QFile file(installed);
    if (installed.isEmpty() || !file.open(QIODevice::ReadOnly))
        return u"[Desktop Entry]\n"
               u"Type=Application\n"
               u"Name=ScrivLane\n"
               u"Comment=Text expander\n"_s +
               exec +
               u"\n"
               u"Terminal=false\n"
               u"X-GNOME-Autostart-enabled=true\n"_s;
    // The installed entry, names and icon included, starting this very executable; its
    // desktop actions mean nothing at login.
    QString text;
    bool inEntry = false;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        if (line.startsWith(u'[')) {
            inEntry = line.trimmed() == u"[Desktop Entry]"_s;
            if (!inEntry)
                break; // the action groups come after the entry's own
        }
        if (inEntry && (line.startsWith(u"Exec="_s) || line.startsWith(u"Actions="_s) ||
                        line.startsWith(u"X-GNOME-Autostart-enabled="_s)))
            continue;
        if (!inEntry && !line.trimmed().isEmpty() && !line.startsWith(u'#'))
            continue;
        text += line + u'\n';
    }
    while (text.endsWith(u"\n\n"_s))
        text.chop(1);
    return text + exec + u"\nX-GNOME-Autostart-enabled=true\n"_s;
}

bool Autostart::isEnabled() const
{
    const QString path = QFileInfo::exists(entryPath()) ? entryPath() : legacyEntryPath();
    if (!QFileInfo::exists(path))
        return false;
    const QHash<QString, QString> keys = entryKeys(path);
    if (keys.value(u"Hidden"_s) == u"true"_s ||
        keys.value(u"X-GNOME-Autostart-enabled"_s) == u"false"_s)
        return false;
    const QFileInfo program(programOf(keys.value(u"Exec"_s)));
    return program.isAbsolute() && program.isFile() && program.isExecutable();
}

QString Autostart::setEnabled(bool enabled)
{
    if (!enabled) {
        for (const QString& path : {entryPath(), legacyEntryPath()})
            if (QFileInfo::exists(path) && !QFile::remove(path))
                return u"cannot remove "_s + path;
        return {};
    }
    if (m_program.contains(u'\n') || m_program.contains(u'\r'))
        return u"the program's path cannot be written into an autostart entry"_s;
    if (!QDir().mkpath(m_dir))
        return u"cannot create "_s + m_dir;
    QSaveFile file(entryPath());
    if (!file.open(QIODevice::WriteOnly))
        return u"cannot write "_s + entryPath() + u": "_s + file.errorString();
    file.write(entryText().toUtf8());
    if (!file.commit())
        return u"cannot write "_s + entryPath() + u": "_s + file.errorString();
    // Two entries would start ScrivLane twice at login.
    if (QFileInfo::exists(legacyEntryPath()) && !QFile::remove(legacyEntryPath()))
        return u"cannot remove "_s + legacyEntryPath();
    return {};
}

QString Autostart::execValue(const QString& program)
{
    QString quoted = u"\""_s;
    for (const QChar c : program) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += u'\\';
        else if (c == u'%')
            quoted += u'%'; // a field code otherwise
        quoted += c;
    }
    quoted += u'"';
    // The string escape comes on top: every backslash is written twice.
    return quoted.replace(u"\\"_s, u"\\\\"_s);
}

QString Autostart::programOf(const QString& execValue)
{
    const QString value = unescapeString(execValue).trimmed();
    QString program;
    if (value.startsWith(u'"')) {
        for (qsizetype i = 1; i < value.size(); ++i) {
            if (value[i] == u'"')
                break;
            if (value[i] == u'\\' && i + 1 < value.size())
                ++i;
            program += value[i];
        }
    } else {
        program = value.section(u' ', 0, 0);
    }
    return program.replace(u"%%"_s, u"%"_s);
}
