#include "CommandLine.h"

#include <QCoreApplication>
#include <cstdio>

namespace {
void write(const QString& text, std::FILE* stream)
{
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, static_cast<size_t>(utf8.size()), stream);
}
} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const std::optional<CommandLine::Outcome> outcome = CommandLine::run(app.arguments());
    if (!outcome) {
        std::fputs("scrivlane: the tray application is not available in this build; "
                   "see scrivlane --help for the commands it offers\n",
                   stderr);
        return 1;
    }
    write(outcome->out, stdout);
    write(outcome->err, stderr);
    return outcome->exitCode;
}
