#pragma once

#include <QString>
#include <QStringList>
#include <optional>

class CommandServices;

// The scripting subcommands of the scrivlane executable. Runs in-process and returns what to
// print, so main() only writes it out.
class CommandLine {
public:
    struct Outcome {
        int exitCode = 0;
        QString out;
        QString err;
    };

    static constexpr int usageErrorExitCode = 2;

    CommandLine() = delete;

    // arguments as from QCoreApplication::arguments() (program name first). Nothing means no
    // subcommand was asked for: the caller starts the tray application.
    static std::optional<Outcome> run(const QStringList& arguments, CommandServices& services);

    static QString usage();
};
