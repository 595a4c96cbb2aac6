#pragma once

#include <QProcess>
#include <QSignalSpy>

// One run of a program, as a test reads it.
struct CommandRun {
    int exitCode = -1; // -1: it did not finish normally
    QString out;
    QString err;
    // The last line on standard error (earlier ones may be notices).
    QString lastErrLine() const { return err.trimmed().split(u'\n').last(); }
};

// Runs a program to its end while this thread's event loop keeps running, so servers and the
// clipboard in the test process keep answering it.
inline CommandRun
runCommand(const QString& program, const QStringList& arguments,
           const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
           const QByteArray& input = {})
{
    QProcess process;
    process.setProcessEnvironment(environment);
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(program, arguments);
    if (!input.isNull())
        process.write(input);
    process.closeWriteChannel();
    if (!finished.wait(30000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// The environment for a run whose files all live under `home`.
inline QProcessEnvironment homeEnvironment(const QString& home)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("SCRIVLANE_HOME"), home);
    return env;
}
