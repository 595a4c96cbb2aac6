#include "ai/AIProvider.h"
#include "cli/CliSupport.h"
#include "common/Preferences.h"

#include <QSettings>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

// The value in effect: the stored one when valid, else the default. The AI model and base URL
// have none of their own; they follow the provider, as the AI service loads them.
QVariant effectiveValue(const QSettings& settings, const QString& key)
{
    const QVariant value = Preferences::value(settings, key);
    if (value.isValid() || (key != Preferences::aiModel && key != Preferences::aiBaseURL))
        return value;
    const AIProvider provider =
        providerFromRawValue(Preferences::text(settings, Preferences::aiProvider))
            .value_or(AIProvider::openAI);
    return key == Preferences::aiModel ? defaultModel(provider) : defaultBaseURL(provider);
}

// A refused value is no usage mistake: one line saying what the key takes.
Outcome refused(const QString& reason)
{
    return {CommandLine::usageErrorExitCode, QString(),
            u"scrivlane: config set: "_s + reason + u"\n"_s};
}

Outcome get(const QSettings& settings, const QString& key)
{
    const QVariant value = effectiveValue(settings, key);
    if (!value.isValid())
        return {1, QString(), u"scrivlane: "_s + key + u" is not set\n"_s};
    return Cli::success(Preferences::format(value) + u"\n"_s);
}

Outcome set(QSettings& settings, const Preferences::Preference& preference, const QString& text)
{
    const auto value = Preferences::parse(preference, text);
    if (const auto* problem = std::get_if<QString>(&value))
        return refused(*problem);
    // Writing would replace a file that could not be read with only this key.
    if (settings.status() == QSettings::FormatError)
        return {1, QString(),
                u"scrivlane: cannot parse "_s + settings.fileName() + u"; nothing was changed\n"_s};
    Preferences::write(settings, preference.key, std::get<QVariant>(value));
    settings.sync();
    if (settings.status() != QSettings::NoError)
        return {1, QString(), u"scrivlane: could not write "_s + settings.fileName() + u"\n"_s};
    Cli::shareSyncedPreferences(settings, {preference.key});
    return Cli::success(QString());
}

Outcome runConfig(const QStringList& arguments, CommandServices& services)
{
    // The value is taken as it is, so that "-5" reaches the range check instead of being read
    // as an option; "--" before it is allowed too.
    const QString action = arguments.value(1);
    const QStringList words = arguments.mid(2);
    const bool plain = (action == u"get"_s || action == u"set"_s) && !words.isEmpty() &&
                       !words.first().startsWith(u'-');
    if (!plain) {
        QCommandLineParser parser;
        if (auto early =
                Cli::parseSubcommand(parser, arguments, 2, 3, u"get KEY | set KEY VALUE"_s))
            return *early;
        const QString first = parser.positionalArguments().first();
        if (first != u"get"_s && first != u"set"_s)
            return Cli::usageError(u"config: unknown action \""_s + first + u"\" (get or set)"_s);
        return Cli::usageError(first == u"get"_s ? u"config get takes one KEY"_s
                                                 : u"config set takes KEY and VALUE"_s);
    }
    const Preferences::Preference* preference = Preferences::find(words.first());
    if (!preference)
        return Cli::usageError(u"config: unknown key \""_s + words.first() + u"\""_s);
    if (action == u"get"_s) {
        if (words.size() != 1)
            return Cli::usageError(u"config get takes one KEY"_s);
        return get(services.settings(), preference->key);
    }
    QStringList values = words.mid(1);
    if (values.size() == 2 && values.first() == u"--"_s)
        values.removeFirst();
    if (values.size() != 1)
        return Cli::usageError(u"config set takes KEY and VALUE"_s);
    return set(services.settings(), *preference, values.first());
}

} // namespace

void Cli::appendConfigCommands(std::vector<Command>& commands)
{
    commands.push_back({u"config"_s, uR"(  config get KEY
  config set KEY VALUE
      Reads or writes a setting of the user defaults: the "tw_" and "ai_" keys and
      betaUpdatesEnabled. get prints the value in effect (the default when none is
      stored, or when the stored one is not valid; exit code 1 when the key has
      neither). set takes true/false for switches, numbers within the key's range
      (tw_soundVolume 0 to 1, ai_temperature 0 to 2, ai_max_tokens 64 to 4096,
      ai_ollama_port 1 to 65535), absolute paths for tw_syncFolder and
      tw_customSoundPath, comma-separated WindowClass=keys entries for
      tw_pasteShortcuts, ISO 8601 for dates, and an enumeration's raw value for
      ai_provider, ai_anthropic_enterprise_auth and ai_anthropic_enterprise_endpoint.
      Unknown keys and values the key does not take are refused (exit code 2). set
      writes the one value only: "ai provider" switches providers with all that goes
      with it.
)"_s,
                        runConfig});
}
