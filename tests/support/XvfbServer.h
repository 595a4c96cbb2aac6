#pragma once

#include <QProcess>
#include <QStandardPaths>

// A private X server for one test: Xvfb picks a free display and tells us its number.
// The test's DISPLAY points at it while it runs.
class XvfbServer {
public:
    XvfbServer()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
            return;
        m_process.start(QStringLiteral("Xvfb"),
                        {QStringLiteral("-displayfd"), QStringLiteral("1"),
                         QStringLiteral("-screen"), QStringLiteral("0"),
                         QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"),
                         QStringLiteral("tcp")});
        if (!m_process.waitForStarted(5000))
            return;
        while (!m_process.canReadLine() && m_process.waitForReadyRead(10000)) {
        }
        const QByteArray number = m_process.readLine().trimmed();
        if (number.isEmpty())
            return;
        m_display = ':' + number;
        m_previous = qgetenv("DISPLAY");
        qputenv("DISPLAY", m_display);
    }
    ~XvfbServer()
    {
        if (m_display.isEmpty())
            return;
        qputenv("DISPLAY", m_previous);
        m_process.terminate();
        m_process.waitForFinished(5000);
    }
    bool isRunning() const { return !m_display.isEmpty(); }
    QByteArray display() const { return m_display; }

    // Runs a command against this display (xdotool, setxkbmap, ...); true when it succeeded.
    static bool run(const QString& program, const QStringList& arguments)
    {
        QProcess process;
        process.start(program, arguments);
        return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit &&
               process.exitCode() == 0;
    }

private:
    QProcess m_process;
    QByteArray m_display;
    QByteArray m_previous;
};
