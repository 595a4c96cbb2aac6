#include "ai/AIService.h"
#include "ai/SettingsValues.h"
#include "cli/CliSupport.h"

#include <QDateTime>
#include <QLocale>
#include <QSettings>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

using Cli::Outcome;

enum class ValueType { boolean, number, integer, string, date };

// A user-defaults key the command line knows, with its type and the value an absent or
// unreadable entry stands for (none: the key is simply not set).
struct KnownKey {
    QString name;
    ValueType type;
    std::optional<QVariant> fallback;
    QStringList choices; // raw values of an enumeration; empty: any string
    // The AI settings' effective value, with the service's own fallbacks.
    std::function<QVariant(const AIService&)> aiValue;
};

template <typename Enum> QStringList rawValues(const QList<Enum>& all)
{
    QStringList out;
    for (const Enum value : all)
        out.append(rawValue(value));
    return out;
}

const std::vector<KnownKey>& knownKeys()
{
    using T = ValueType;
    static const std::vector<KnownKey> keys{
        {u"tw_expansionEnabled"_s, T::boolean, true, {}, {}},
        {u"tw_soundEnabled"_s, T::boolean, true, {}, {}},
        {u"tw_soundVolume"_s, T::number, 0.8, {}, {}},
        {u"tw_selectedSound"_s, T::string, u"Tink"_s, {}, {}},
        {u"tw_customSoundPath"_s, T::string, std::nullopt, {}, {}},
        {u"tw_iCloudSyncEnabled"_s, T::boolean, false, {}, {}},
        {u"tw_hasShownWelcome"_s, T::boolean, false, {}, {}},
        {u"tw_hasShownSyncPrompt"_s, T::boolean, false, {}, {}},
        {u"tw_backupFolderBookmark"_s, T::string, std::nullopt, {}, {}},
        {u"tw_lastBackupDate"_s, T::date, std::nullopt, {}, {}},
        {u"betaUpdatesEnabled"_s, T::boolean, false, {}, {}},
        {u"ai_provider"_s,
         T::string,
         {},
         rawValues(allProviders()),
         [](const AIService& s) { return QVariant(rawValue(s.provider())); }},
        {u"ai_model"_s, T::string, {}, {}, [](const AIService& s) { return QVariant(s.model()); }},
        {u"ai_base_url"_s,
         T::string,
         {},
         {},
         [](const AIService& s) { return QVariant(s.customBaseURL()); }},
        {u"ai_anthropic_enterprise_url"_s,
         T::string,
         {},
         {},
         [](const AIService& s) { return QVariant(s.anthropicEnterpriseBaseURL()); }},
        {u"ai_anthropic_enterprise_auth"_s,
         T::string,
         {},
         rawValues(allAuthTypes()),
         [](const AIService& s) { return QVariant(rawValue(s.anthropicEnterpriseAuthType())); }},
        {u"ai_anthropic_enterprise_header"_s,
         T::string,
         {},
         {},
         [](const AIService& s) { return QVariant(s.anthropicEnterpriseCustomHeader()); }},
        {u"ai_anthropic_enterprise_endpoint"_s,
         T::string,
         {},
         rawValues(allEndpointStyles()),
         [](const AIService& s) {
             return QVariant(rawValue(s.anthropicEnterpriseEndpointStyle()));
         }},
        {u"ai_anthropic_enterprise_custom_endpoint"_s,
         T::string,
         {},
         {},
         [](const AIService& s) { return QVariant(s.anthropicEnterpriseCustomEndpoint()); }},
        {u"ai_system_prompt"_s,
         T::string,
         {},
         {},
         [](const AIService& s) { return QVariant(s.globalSystemPrompt()); }},
        {u"ai_temperature"_s,
         T::number,
         {},
         {},
         [](const AIService& s) { return QVariant(s.temperature()); }},
        {u"ai_max_tokens"_s,
         T::integer,
         {},
         {},
         [](const AIService& s) { return QVariant::fromValue(s.maxTokens()); }},
        {u"ai_enabled"_s,
         T::boolean,
         {},
         {},
         [](const AIService& s) { return QVariant(s.isEnabled()); }},
        {u"ai_ollama_port"_s,
         T::integer,
         {},
         {},
         [](const AIService& s) { return QVariant::fromValue(s.ollamaPort()); }},
    };
    return keys;
}

const KnownKey* findKey(const QString& name)
{
    for (const KnownKey& key : knownKeys()) {
        if (key.name == name)
            return &key;
    }
    return nullptr;
}

// The stored value read as the key's type; nullopt when absent or of another kind.
std::optional<QVariant> typedValue(ValueType type, const QVariant& stored)
{
    using namespace SettingsValues;
    const auto wrap = [](auto optional) {
        return optional ? std::optional<QVariant>(QVariant::fromValue(*optional)) : std::nullopt;
    };
    switch (type) {
    case ValueType::boolean:
        return wrap(toBool(stored));
    case ValueType::number:
        return wrap(toDouble(stored));
    case ValueType::integer:
        return wrap(toInteger(stored));
    case ValueType::string:
        return wrap(toString(stored));
    case ValueType::date: {
        QDateTime date = stored.typeId() == QMetaType::QDateTime
                             ? stored.toDateTime()
                             : QDateTime::fromString(stored.toString(), Qt::ISODate);
        return date.isValid() ? std::optional<QVariant>(date) : std::nullopt;
    }
    }
    return std::nullopt;
}

QString formatted(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? u"true"_s : u"false"_s;
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    default:
        return value.toString();
    }
}

// The text as a value of the key's type, or why it is not one.
std::variant<QVariant, QString> parsed(const KnownKey& key, const QString& text)
{
    if (!key.choices.isEmpty() && !key.choices.contains(text))
        return key.name + u" takes one of: "_s + key.choices.join(u", "_s);
    switch (key.type) {
    case ValueType::boolean:
        if (text == u"true"_s || text == u"false"_s)
            return QVariant(text == u"true"_s);
        return key.name + u" takes true or false"_s;
    case ValueType::number: {
        bool ok = false;
        const double number = text.toDouble(&ok);
        if (ok && std::isfinite(number))
            return QVariant(number);
        return key.name + u" takes a number"_s;
    }
    case ValueType::integer: {
        bool ok = false;
        const qint64 number = text.toLongLong(&ok);
        if (ok)
            return QVariant::fromValue(number);
        return key.name + u" takes a whole number"_s;
    }
    case ValueType::string:
        return QVariant(text);
    case ValueType::date: {
        const QDateTime date = QDateTime::fromString(text, Qt::ISODate);
        if (date.isValid())
            return QVariant(date.toUTC());
        return key.name + u" takes an ISO 8601 date and time"_s;
    }
    }
    return QString();
}

Outcome runConfig(const QStringList& arguments, CommandServices& services)
{
    QCommandLineParser parser;
    if (auto early = Cli::parseSubcommand(parser, arguments, 2, 3, u"get KEY | set KEY VALUE"_s))
        return *early;
    const QStringList args = parser.positionalArguments();
    const QString& action = args.at(0);
    if (action != u"get"_s && action != u"set"_s)
        return Cli::usageError(u"config: unknown action \""_s + action + u"\" (get or set)"_s);
    if (args.size() != (action == u"get"_s ? 2 : 3))
        return Cli::usageError(action == u"get"_s ? u"config get takes one KEY"_s
                                                  : u"config set takes KEY and VALUE"_s);
    const KnownKey* key = findKey(args.at(1));
    if (!key)
        return Cli::usageError(u"config: unknown key \""_s + args.at(1) + u"\""_s);

    QSettings& settings = services.settings();
    if (action == u"get"_s) {
        std::optional<QVariant> value = key->aiValue
                                            ? key->aiValue(services.ai())
                                            : typedValue(key->type, settings.value(key->name))
                                                  .value_or(key->fallback.value_or(QVariant()));
        if (!value || !value->isValid())
            return {1, QString(), u"scrivlane: "_s + key->name + u" is not set\n"_s};
        return Cli::success(formatted(*value) + u"\n"_s);
    }

    const auto value = parsed(*key, args.at(2));
    if (const auto* problem = std::get_if<QString>(&value))
        return Cli::usageError(u"config set: "_s + *problem);
    settings.setValue(key->name, std::get<QVariant>(value));
    settings.sync();
    if (settings.status() != QSettings::NoError)
        return {1, QString(), u"scrivlane: could not write "_s + settings.fileName() + u"\n"_s};
    return Cli::success(QString());
}

} // namespace

void Cli::appendConfigCommands(std::vector<Command>& commands)
{
    commands.push_back({u"config"_s, uR"(  config get KEY
  config set KEY VALUE
      Reads or writes a setting of the user defaults: the "tw_" and "ai_" keys and
      betaUpdatesEnabled. get prints the value in effect (the default when none is
      stored; exit code 1 when the key has neither). set takes true/false for
      switches, numbers for numbers, ISO 8601 for dates, and an enumeration's raw
      value for ai_provider, ai_anthropic_enterprise_auth and
      ai_anthropic_enterprise_endpoint. Unknown keys are refused. set writes the one
      value only: "ai provider" switches providers with all that goes with it.
)"_s,
                        runConfig});
}
