#pragma once

#include <QProcess>
#include <QStandardPaths>

// A private X server for one test: Xvfb picks a free display and tells us its number.
// The test's DISPLAY points at it while it runs.
class XvfbServer {
public:
    struct Screens {
        int count = 1;
    };
    XvfbServer() : XvfbServer(Screens{}) {}
    // A server with several screens, all alike; DISPLAY names the first.
    explicit XvfbServer(Screens screens) : m_screens(screens.count)
    {
        if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
            return;
        launch({});
    }
    // A server whose display number stays the same after a kill() and restart(): the first free
    // one from `firstNumber` up (other test runs may hold some).
    explicit XvfbServer(int firstNumber)
    {
        if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
            return;
        for (int number = firstNumber; number < firstNumber + 20 && m_display.isEmpty(); ++number)
            launch(':' + QByteArray::number(number));
    }
    ~XvfbServer()
    {
        if (m_display.isEmpty())
            return;
        qputenv("DISPLAY", m_previous);
        m_process.terminate();
        m_process.waitForFinished(5000);
    }
    bool isRunning() const
    {
        return !m_display.isEmpty() && m_process.state() == QProcess::Running;
    }
    QByteArray display() const { return m_display; }

    // Ends the server at once, as a crash would: its clients' connections break.
    void kill()
    {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
    // Starts the server again on the same display; true once it accepts connections.
    bool restart()
    {
        return !m_display.isEmpty() && m_process.state() == QProcess::NotRunning &&
               launch(m_display);
    }

    // Runs a command against this display (xdotool, setxkbmap, ...); true when it succeeded.
    static bool run(const QString& program, const QStringList& arguments)
    {
        QProcess process;
        process.start(program, arguments);
        return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit &&
               process.exitCode() == 0;
    }

private:
    // Starts Xvfb on `display`, or on one it picks when empty; it writes the number once it
    // accepts connections, and ends at once when the display is taken.
    bool launch(const QByteArray& display)
    {
        QStringList arguments{QStringLiteral("-displayfd"), QStringLiteral("1"),
                              QStringLiteral("-nolisten"), QStringLiteral("tcp"),
                              // A session always has clients; without them the server would
                              // reset when the last one leaves, refusing connections meanwhile.
                              QStringLiteral("-noreset")};
        for (int screen = 0; screen < m_screens; ++screen)
            arguments << QStringLiteral("-screen") << QString::number(screen)
                      << QStringLiteral("1280x800x24");
        if (!display.isEmpty())
            arguments.prepend(QString::fromLatin1(display));
        m_process.start(QStringLiteral("Xvfb"), arguments);
        if (!m_process.waitForStarted(5000))
            return false;
        while (!m_process.canReadLine() && m_process.waitForReadyRead(10000)) {
        }
        const QByteArray number = m_process.readLine().trimmed();
        if (number.isEmpty()) {
            m_process.kill();
            m_process.waitForFinished(5000);
            return false;
        }
        if (m_display.isEmpty()) {
            m_display = ':' + number;
            m_previous = qgetenv("DISPLAY");
            qputenv("DISPLAY", m_display);
        }
        return true;
    }

    int m_screens = 1;
    QProcess m_process;
    QByteArray m_display;
    QByteArray m_previous;
};
