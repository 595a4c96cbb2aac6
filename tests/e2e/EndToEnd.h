#pragma once

#include "support/XvfbServer.h"

#include <QFile>
#include <QProcess>

// What the end-to-end tests share: ScrivLane's environment, the files its targets write, and
// windows started in other processes.
namespace EndToEnd {

// Files under `home`, windows on `display`, and Qt left to pick the X11 platform itself.
inline QProcessEnvironment environment(const QString& home, const QByteArray& display)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("SCRIVLANE_HOME"), home);
    env.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(display));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    return env;
}

inline QString readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// What a program printed, trimmed.
inline QString output(const QString& program, const QStringList& arguments)
{
    QProcess p;
    p.start(program, arguments);
    p.waitForFinished(10000);
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

// Starts a program, waits for its window (an xdotool search) and gives that window the
// keyboard; the window's id, or empty when none appeared.
inline QString startWindow(QProcess& process, const QProcessEnvironment& env,
                           const QString& program, const QStringList& arguments,
                           const QStringList& search)
{
    process.setProcessEnvironment(env);
    process.start(program, arguments);
    const QString window = output(QStringLiteral("xdotool"),
                                  QStringList{QStringLiteral("search"), QStringLiteral("--sync"),
                                              QStringLiteral("--onlyvisible")} +
                                      search)
                               .split(u'\n')
                               .first();
    if (!window.isEmpty())
        XvfbServer::run(QStringLiteral("xdotool"),
                        {QStringLiteral("windowfocus"), QStringLiteral("--sync"), window});
    return window;
}

} // namespace EndToEnd
