#include "ai/AIService.h"
#include "cli/CliSupport.h"

#include <QEventLoop>
#include <QSettings>
#include <QStringDecoder>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <termios.h>
#include <unistd.h>
#include <variant>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

// Runs the event loop until `start` calls the finish function it is handed. Every
// operation it waits for has a time limit of its own.
void await(const std::function<void(std::function<void()> finish)>& start)
{
    QEventLoop loop;
    bool finished = false;
    start([&finished, &loop] {
        finished = true;
        loop.quit();
    });
    if (!finished)
        loop.exec();
}

// Turns terminal echo off for as long as it lives.
class EchoOff {
public:
    EchoOff()
    {
        if (::tcgetattr(STDIN_FILENO, &m_saved) != 0)
            return;
        termios quiet = m_saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        m_active = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;
    ~EchoOff()
    {
        if (m_active)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_saved);
    }

private:
    termios m_saved{};
    bool m_active = false;
};

// Longer than any provider's key or token; an endless stream (`</dev/zero`) stops here.
constexpr qsizetype maxKeyBytes = 8192;

// The first line of standard input without its newline; nullopt when it runs past `limit`
// bytes. Read a byte at a time: nothing past the line is taken, and nothing unbounded is kept.
std::optional<QByteArray> readLine(qsizetype limit)
{
    QByteArray line;
    while (true) {
        char c = 0;
        const ssize_t n = ::read(STDIN_FILENO, &c, 1);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0 || c == '\n')
            return line;
        if (line.size() == limit)
            return std::nullopt;
        line.append(c);
    }
}

// The key typed or piped in, or why it cannot be one. It travels in request headers, where a
// control character would break or add to them.
std::variant<QString, QString> readKey(AIProvider provider)
{
    std::optional<QByteArray> line;
    if (::isatty(STDIN_FILENO)) {
        std::fprintf(stderr, "API key for %s: ", displayName(provider).toUtf8().constData());
        std::fflush(stderr);
        const EchoOff quiet;
        line = readLine(maxKeyBytes);
        std::fputs("\n", stderr);
    } else {
        line = readLine(maxKeyBytes);
    }
    const auto refused = [](const QString& why) {
        return std::variant<QString, QString>(std::in_place_index<1>, why);
    };
    if (!line)
        return refused(u"the key is longer than %1 bytes"_s.arg(maxKeyBytes));
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString key = QString(utf8(*line)).trimmed();
    if (utf8.hasError())
        return refused(u"the key is not valid UTF-8"_s);
    if (std::any_of(key.cbegin(), key.cend(),
                    [](QChar c) { return c.category() == QChar::Other_Control; }))
        return refused(u"the key contains control characters"_s);
    return std::variant<QString, QString>(std::in_place_index<0>, key);
}

// A provider's message may run over several lines; an error stays on one.
QString oneLine(const QString& text)
{
    return text.simplified();
}

Outcome failure(const QString& message)
{
    return {1, QString(), oneLine(message) + u"\n"_s};
}

Outcome storeKey(AIService& service, const QString& key, const QString& done)
{
    bool ok = false;
    await([&](std::function<void()> finish) {
        service.storeApiKey(key, [&ok, finish](bool stored) {
            ok = stored;
            finish();
        });
    });
    if (!ok)
        return failure(u"scrivlane: the secret store refused the change"_s);
    return Cli::success(done + u" for "_s + displayName(service.provider()) + u"\n"_s);
}

Outcome runKey(AIService& service, const QStringList& args)
{
    if (args.size() != 2 || (args.at(1) != u"set"_s && args.at(1) != u"clear"_s))
        return Cli::usageError(u"ai key takes set or clear"_s);
    if (args.at(1) == u"clear"_s)
        return storeKey(service, QString(), u"API key removed"_s);
    const std::variant<QString, QString> read = readKey(service.provider());
    if (read.index() == 1)
        return Cli::usageError(u"ai key set: "_s + std::get<1>(read) + u"; nothing stored"_s);
    const QString& key = std::get<0>(read);
    if (key.isEmpty())
        return Cli::usageError(u"ai key set: no key on standard input "_s +
                               u"(\"scrivlane ai key clear\" removes one)"_s);
    return storeKey(service, key, u"API key saved"_s);
}

Outcome runComplete(AIService& service, const QString& prompt)
{
    std::optional<AIResult<QString>> reply;
    await([&](std::function<void()> finish) {
        service.complete(prompt, [&reply, finish](const AIResult<QString>& r) {
            reply = r;
            finish();
        });
    });
    if (const auto* text = std::get_if<QString>(&*reply))
        return Cli::success(*text + u"\n"_s);
    return failure(u"scrivlane: "_s + failureDescription(std::get<AIFailure>(*reply)));
}

Outcome runModels(AIService& service)
{
    await([&service](std::function<void()> finish) {
        QObject::connect(&service, &AIService::modelsRefreshed, &service, finish,
                         Qt::SingleShotConnection);
        service.refreshModels();
    });
    QStringList models;
    for (const QString& model : service.availableModels())
        models.append(Cli::jsonString(model));
    const std::optional<bool> detected = service.ollamaDetected();
    const QString ollama = detected ? (*detected ? u"true"_s : u"false"_s) : u"null"_s;
    const QString json = u"{\"model\":"_s + Cli::jsonString(service.model()) +
                         u",\"availableModels\":["_s + models.join(u',') +
                         u"],\"ollamaDetected\":"_s + ollama + u"}\n"_s;
    // The list printed then is the fallback one; a script must still learn it is not current.
    if (const auto& problem = service.modelsFailure())
        return {1, json,
                oneLine(u"scrivlane: could not list the provider's models: "_s +
                        failureDescription(*problem)) +
                    u"\n"_s};
    return Cli::success(json);
}

Outcome runTest(AIService& service)
{
    await([&service](std::function<void()> finish) {
        QObject::connect(
            &service, &AIService::connectionStatusChanged, &service, [&service, finish] {
                const auto kind = service.connectionStatus().kind;
                if (kind == AIConnectionStatus::Kind::ok || kind == AIConnectionStatus::Kind::error)
                    finish();
            });
        service.testConnection();
    });
    const AIConnectionStatus& status = service.connectionStatus();
    if (status.kind == AIConnectionStatus::Kind::ok)
        return Cli::success(u"ok: "_s + status.text + u"\n"_s);
    return failure(u"error: "_s + status.text);
}

Outcome runProvider(AIService& service, const QStringList& args)
{
    if (args.size() == 1)
        return Cli::success(rawValue(service.provider()) + u"\n"_s);
    if (args.size() > 2)
        return Cli::usageError(u"ai provider takes one NAME"_s);
    const std::optional<AIProvider> provider = providerFromRawValue(args.at(1));
    if (!provider) {
        QStringList names;
        for (const AIProvider p : allProviders())
            names.append(rawValue(p));
        return Cli::usageError(u"ai provider: unknown provider \""_s + args.at(1) +
                               u"\" (one of: "_s + names.join(u", "_s) + u")"_s);
    }
    service.setProvider(*provider);
    return Cli::success(QString());
}

Outcome runAi(const QStringList& arguments, CommandServices& services)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 1, 2, u"ACTION"_s))
        return *early;
    const QStringList args = parser.positionalArguments();
    const QString& action = args.at(0);
    const auto exactly = [&args](qsizetype n) { return args.size() == n; };

    AIService& service = services.ai();
    Outcome outcome;
    if (action == u"key"_s)
        outcome = runKey(service, args);
    else if (action == u"complete"_s && exactly(2))
        outcome = runComplete(service, args.at(1));
    else if (action == u"models"_s && exactly(1))
        outcome = runModels(service);
    else if (action == u"test"_s && exactly(1))
        outcome = runTest(service);
    else if (action == u"provider"_s)
        outcome = runProvider(service, args);
    else
        return Cli::usageError(u"ai: unknown action or wrong arguments: "_s + args.join(u' '));

    QSettings& settings = services.settings();
    settings.sync();
    if (settings.status() != QSettings::NoError)
        return failure(u"scrivlane: could not write "_s + settings.fileName());
    return outcome;
}

} // namespace

void Cli::appendAiCommands(std::vector<Command>& commands)
{
    commands.push_back({u"ai"_s, uR"(  ai key set
  ai key clear
      Saves the API key of the current provider, read as one line from standard
      input (not echoed on a terminal), or removes it. A line with control
      characters, invalid UTF-8 or more than 8192 bytes is refused. Keys go to the
      desktop's Secret Service, or to a file readable only by you when none is running.
  ai complete PROMPT
      Sends PROMPT to the current provider and prints the reply. On failure prints
      the error to standard error and exits with 1.
  ai models
      Asks the provider for its models and prints
      {"model":...,"availableModels":[...],"ollamaDetected":true|false|null}
      When the provider cannot be reached it still prints that, says why on
      standard error and exits with 1.
  ai test
      Sends the connection test prompt; prints "ok: REPLY", or "error: MESSAGE" to
      standard error with exit code 1.
  ai provider [NAME]
      Switches to the provider NAME (openai, anthropic, grok, ollama, custom),
      which also resets the model and base URL to the provider's own; without NAME
      prints the current one.
)"_s,
                        runAi});
}
