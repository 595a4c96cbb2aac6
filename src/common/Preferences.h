#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>
#include <optional>
#include <variant>
#include <vector>

class QSettings;

// Every user-defaults key: its kind, its default, the values it accepts, and whether
// preference sync carries it. Whoever reads or writes a setting (the services, the command
// line, backups, preference sync) goes through here, so a value that one of them refuses is
// refused by all, wherever it comes from: a hand-edited settings.ini, the sync file, a backup.
namespace Preferences {

inline const QString expansionEnabled = QStringLiteral("tw_expansionEnabled");
inline const QString soundEnabled = QStringLiteral("tw_soundEnabled");
inline const QString soundVolume = QStringLiteral("tw_soundVolume");
inline const QString selectedSound = QStringLiteral("tw_selectedSound");
inline const QString customSoundPath = QStringLiteral("tw_customSoundPath");
inline const QString iCloudSyncEnabled = QStringLiteral("tw_iCloudSyncEnabled");
inline const QString syncFolder = QStringLiteral("tw_syncFolder");
inline const QString pasteShortcuts = QStringLiteral("tw_pasteShortcuts");
inline const QString hasShownWelcome = QStringLiteral("tw_hasShownWelcome");
inline const QString hasShownSyncPrompt = QStringLiteral("tw_hasShownSyncPrompt");
inline const QString backupFolderBookmark = QStringLiteral("tw_backupFolderBookmark");
inline const QString lastBackupDate = QStringLiteral("tw_lastBackupDate");
inline const QString betaUpdatesEnabled = QStringLiteral("betaUpdatesEnabled");
inline const QString updateFeedURL = QStringLiteral("tw_updateFeedURL");
inline const QString lastUpdateCheck = QStringLiteral("tw_lastUpdateCheck");
inline const QString aiProvider = QStringLiteral("ai_provider");
inline const QString aiModel = QStringLiteral("ai_model");
inline const QString aiBaseURL = QStringLiteral("ai_base_url");
inline const QString aiEnterpriseURL = QStringLiteral("ai_anthropic_enterprise_url");
inline const QString aiEnterpriseAuth = QStringLiteral("ai_anthropic_enterprise_auth");
inline const QString aiEnterpriseHeader = QStringLiteral("ai_anthropic_enterprise_header");
inline const QString aiEnterpriseEndpoint = QStringLiteral("ai_anthropic_enterprise_endpoint");
inline const QString aiEnterpriseCustomEndpoint =
    QStringLiteral("ai_anthropic_enterprise_custom_endpoint");
inline const QString aiSystemPrompt = QStringLiteral("ai_system_prompt");
inline const QString aiTemperature = QStringLiteral("ai_temperature");
inline const QString aiMaxTokens = QStringLiteral("ai_max_tokens");
inline const QString aiEnabled = QStringLiteral("ai_enabled");
inline const QString aiOllamaPort = QStringLiteral("ai_ollama_port");

// What a key holds, and the C++ type its values come as.
enum class Kind {
    flag,     // bool
    number,   // double, finite
    integer,  // qint64
    text,     // QString
    textList, // QStringList
    bytes,    // QByteArray
    date,     // QDateTime, UTC
};

struct Preference {
    QString key{};
    Kind kind = Kind::text;
    // Invalid: none, or one that depends on other settings (the AI model and base URL
    // follow the provider; the AI service knows them).
    QVariant defaultValue{};
    // A default that depends on the environment (SCRIVLANE_HOME), found when it is read.
    QVariant (*currentDefault)() = nullptr;
    // number and integer: the inclusive range.
    std::optional<double> minimum{};
    std::optional<double> maximum{};
    // text: the only values allowed; empty: any text.
    QStringList choices{};
    // text, and each entry of a textList: a further rule, with its wording for errors.
    bool (*accepts)(const QString& text) = nullptr;
    QString rule{};
    bool synced = false;
};

// In the order the command line lists them.
const std::vector<Preference>& all();
const Preference* find(const QString& key);
const Preference& get(const QString& key); // the key must be in the table

// The value as the key's kind when the key accepts it, else nullopt. A value from the INI
// file comes as text ("true", "0.7") and counts; a number of another width is converted.
std::optional<QVariant> accept(const Preference& preference, const QVariant& raw);
std::optional<QVariant> accept(const QString& key, const QVariant& raw);

// The stored value when the key accepts it, else nullopt.
std::optional<QVariant> stored(const QSettings& settings, const QString& key);
// The stored value when accepted, else the default (invalid when there is none).
QVariant value(const QSettings& settings, const QString& key);
// True when a value is stored that the key does not accept (it reads as the default).
bool isRefused(const QSettings& settings, const QString& key);

// Typed reads of value(); the key must be of that kind.
bool flag(const QSettings& settings, const QString& key);
double number(const QSettings& settings, const QString& key);
qint64 integer(const QSettings& settings, const QString& key);
QString text(const QSettings& settings, const QString& key); // empty when none
QStringList textList(const QSettings& settings, const QString& key);

// Stores the value in its key's kind; nothing is stored, and false returned, when the key
// does not accept it. An empty list removes the key, as absent and empty mean the same.
bool write(QSettings& settings, const QString& key, const QVariant& value);

// What the key takes, for messages: "a number from 0 to 1", "true or false", ...
QString takes(const Preference& preference);

// A value typed on the command line, or the one-line reason it is refused.
std::variant<QVariant, QString> parse(const Preference& preference, const QString& text);
// A value as the command line prints it; parse() reads it back.
QString format(const QVariant& value);

// The double with the float's shortest decimal form: 0.3f becomes 0.3, not
// 0.30000001192092896, so that the files show what the user chose.
double widened(float value);

} // namespace Preferences
