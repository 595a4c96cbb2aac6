#include "common/Preferences.h"

#include "common/AppPaths.h"

#include <QDateTime>
#include <QDir>
#include <QLocale>
#include <QSettings>
#include <QUrl>
#include <array>
#include <charconv>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

using Preferences::Kind;
using Preferences::Preference;

bool isIntegerType(int typeId)
{
    switch (typeId) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

std::optional<bool> toBool(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == u"true"_s)
            return true;
        if (text == u"false"_s)
            return false;
    }
    return std::nullopt;
}

std::optional<double> toDouble(const QVariant& value)
{
    bool ok = false;
    double number = 0;
    if (value.typeId() == QMetaType::Float) {
        number = Preferences::widened(value.toFloat());
        ok = true;
    } else if (value.typeId() == QMetaType::Double || isIntegerType(value.typeId())) {
        number = value.toDouble(&ok);
    } else if (value.typeId() == QMetaType::QString) {
        number = value.toString().toDouble(&ok);
    }
    if (!ok || !std::isfinite(number))
        return std::nullopt;
    return number;
}

std::optional<qint64> toInteger(const QVariant& value)
{
    bool ok = false;
    qint64 number = 0;
    if (isIntegerType(value.typeId())) {
        number = value.toLongLong(&ok);
    } else if (value.typeId() == QMetaType::Double) {
        const double d = value.toDouble();
        ok = std::isfinite(d) && d == std::trunc(d) && std::abs(d) < 9.0e18;
        number = static_cast<qint64>(d);
    } else if (value.typeId() == QMetaType::QString) {
        number = value.toString().toLongLong(&ok);
    }
    if (!ok)
        return std::nullopt;
    return number;
}

bool isAbsolutePath(const QString& text)
{
    return QDir::isAbsolutePath(text);
}

// "WindowClass=keys" with keys as the paste-shortcut table spells them (PasteShortcuts).
bool isPasteShortcutEntry(const QString& entry)
{
    const qsizetype eq = entry.indexOf(u'=');
    if (eq <= 0 || entry.left(eq).trimmed().isEmpty())
        return false;
    const QString keys = entry.mid(eq + 1).trimmed().toLower().remove(u' ');
    return keys == u"ctrl+v"_s || keys == u"ctrl+shift+v"_s || keys == u"shift+ctrl+v"_s ||
           keys == u"shift+insert"_s || keys == u"slow"_s;
}

// https, or plain http to this machine (a local mirror, the tests).
bool isFeedAddress(const QString& text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty())
        return false;
    if (url.scheme() == u"https"_s)
        return true;
    const QString host = url.host();
    return url.scheme() == u"http"_s &&
           (host == u"127.0.0.1"_s || host == u"localhost"_s || host == u"::1"_s);
}

QVariant defaultSyncFolder()
{
    return QDir(AppPaths::dataDir()).absoluteFilePath(u"Sync"_s);
}

QString rangeText(const Preference& p)
{
    const auto shown = [](double d) { return QString::number(d, 'g', 17); };
    return u" from "_s + shown(*p.minimum) + u" to "_s + shown(*p.maximum);
}

bool inRange(const Preference& p, double number)
{
    return (!p.minimum || number >= *p.minimum) && (!p.maximum || number <= *p.maximum);
}

bool textAccepted(const Preference& p, const QString& text)
{
    if (!p.choices.isEmpty() && !p.choices.contains(text))
        return false;
    return !p.accepts || p.accepts(text);
}

std::vector<Preference> makeTable()
{
    using K = Kind;
    using namespace Preferences;
    const QString none;
    const QString absolutePath = u"an absolute path"_s;
    return {
        {.key = expansionEnabled, .kind = K::flag, .defaultValue = true, .synced = true},
        {.key = soundEnabled, .kind = K::flag, .defaultValue = true, .synced = true},
        // Stored as a double; the sound service keeps it as a float.
        {.key = soundVolume,
         .kind = K::number,
         .defaultValue = 0.8,
         .minimum = 0.0,
         .maximum = 1.0,
         .synced = true},
        // Any name: an unknown one plays nothing, and another machine may know more sounds.
        {.key = selectedSound, .kind = K::text, .defaultValue = u"Tink"_s, .synced = true},
        {.key = customSoundPath, .kind = K::text, .accepts = isAbsolutePath, .rule = absolutePath},
        {.key = iCloudSyncEnabled, .kind = K::flag, .defaultValue = false},
        {.key = syncFolder,
         .kind = K::text,
         .currentDefault = defaultSyncFolder,
         .accepts = isAbsolutePath,
         .rule = absolutePath},
        {.key = pasteShortcuts,
         .kind = K::textList,
         .defaultValue = QStringList(),
         .accepts = isPasteShortcutEntry,
         .rule = u"WindowClass=ctrl+v, ctrl+shift+v, shift+insert or slow"_s},
        {.key = hasShownWelcome, .kind = K::flag, .defaultValue = false},
        {.key = hasShownSyncPrompt, .kind = K::flag, .defaultValue = false},
        {.key = backupFolderBookmark, .kind = K::bytes},
        {.key = lastBackupDate, .kind = K::date},
        {.key = betaUpdatesEnabled, .kind = K::flag, .defaultValue = false},
        {.key = updateFeedURL,
         .kind = K::text,
         .defaultValue = u"https://github.com/pellucidforge/scrivlane/releases/appcast.xml"_s,
         .accepts = isFeedAddress,
         .rule = u"an https:// address"_s},
        {.key = lastUpdateCheck, .kind = K::date},
        {.key = aiProvider,
         .kind = K::text,
         .defaultValue = u"openai"_s,
         .choices = {u"openai"_s, u"anthropic"_s, u"grok"_s, u"ollama"_s, u"custom"_s}},
        {.key = aiModel, .kind = K::text},
        {.key = aiBaseURL, .kind = K::text},
        {.key = aiEnterpriseURL, .kind = K::text, .defaultValue = none},
        {.key = aiEnterpriseAuth,
         .kind = K::text,
         .defaultValue = u"bearer"_s,
         .choices = {u"api_key"_s, u"bearer"_s, u"custom"_s}},
        {.key = aiEnterpriseHeader, .kind = K::text, .defaultValue = none},
        {.key = aiEnterpriseEndpoint,
         .kind = K::text,
         .defaultValue = u"standard"_s,
         .choices = {u"standard"_s, u"bedrock_path"_s, u"bedrock_invoke"_s, u"custom"_s}},
        {.key = aiEnterpriseCustomEndpoint, .kind = K::text, .defaultValue = none},
        {.key = aiSystemPrompt, .kind = K::text, .defaultValue = none},
        {.key = aiTemperature,
         .kind = K::number,
         .defaultValue = 0.7,
         .minimum = 0.0,
         .maximum = 2.0},
        // The settings pane steps by 64, but any count in range is a valid request.
        {.key = aiMaxTokens,
         .kind = K::integer,
         .defaultValue = QVariant::fromValue<qint64>(1024),
         .minimum = 64,
         .maximum = 4096},
        {.key = aiEnabled, .kind = K::flag, .defaultValue = false},
        {.key = aiOllamaPort,
         .kind = K::integer,
         .defaultValue = QVariant::fromValue<qint64>(11434),
         .minimum = 1,
         .maximum = 65535},
    };
}

} // namespace

namespace Preferences {

const std::vector<Preference>& all()
{
    static const std::vector<Preference> table = makeTable();
    return table;
}

const Preference* find(const QString& key)
{
    for (const Preference& p : all()) {
        if (p.key == key)
            return &p;
    }
    return nullptr;
}

const Preference& get(const QString& key)
{
    const Preference* p = find(key);
    Q_ASSERT_X(p, "Preferences::get", qPrintable(key));
    return *p;
}

QString takes(const Preference& p)
{
    switch (p.kind) {
    case Kind::flag:
        return u"true or false"_s;
    case Kind::number:
        return u"a number"_s + (p.minimum ? rangeText(p) : QString());
    case Kind::integer:
        return u"a whole number"_s + (p.minimum ? rangeText(p) : QString());
    case Kind::text:
        if (!p.choices.isEmpty())
            return u"one of: "_s + p.choices.join(u", "_s);
        return p.rule.isEmpty() ? u"text"_s : p.rule;
    case Kind::textList:
        return u"a comma-separated list of "_s + p.rule;
    case Kind::bytes:
        return u"text"_s;
    case Kind::date:
        return u"an ISO 8601 date and time"_s;
    }
    return QString();
}

std::optional<QVariant> accept(const Preference& p, const QVariant& raw)
{
    switch (p.kind) {
    case Kind::flag:
        if (const auto b = toBool(raw))
            return QVariant(*b);
        return std::nullopt;
    case Kind::number:
        if (const auto d = toDouble(raw); d && inRange(p, *d))
            return QVariant(*d);
        return std::nullopt;
    case Kind::integer:
        if (const auto i = toInteger(raw); i && inRange(p, double(*i)))
            return QVariant::fromValue(*i);
        return std::nullopt;
    case Kind::text:
        if (raw.typeId() == QMetaType::QString && textAccepted(p, raw.toString()))
            return QVariant(raw.toString());
        return std::nullopt;
    case Kind::textList: {
        // The INI file gives one entry back as a plain string.
        QStringList list;
        if (raw.typeId() == QMetaType::QStringList)
            list = raw.toStringList();
        else if (raw.typeId() == QMetaType::QString)
            list = QStringList{raw.toString()};
        else if (raw.typeId() == QMetaType::QVariantList) {
            for (const QVariant& item : raw.toList()) {
                if (item.typeId() != QMetaType::QString)
                    return std::nullopt;
                list.append(item.toString());
            }
        } else
            return std::nullopt;
        for (const QString& entry : list) {
            if (!textAccepted(p, entry))
                return std::nullopt;
        }
        return QVariant(list);
    }
    case Kind::bytes:
        if (raw.typeId() == QMetaType::QByteArray)
            return raw;
        if (raw.typeId() == QMetaType::QString)
            return QVariant(raw.toString().toUtf8());
        return std::nullopt;
    case Kind::date: {
        const QDateTime date = raw.typeId() == QMetaType::QDateTime ? raw.toDateTime()
                               : raw.typeId() == QMetaType::QString
                                   ? QDateTime::fromString(raw.toString(), Qt::ISODate)
                                   : QDateTime();
        if (date.isValid())
            return QVariant(date.toUTC());
        return std::nullopt;
    }
    }
    return std::nullopt;
}

std::optional<QVariant> accept(const QString& key, const QVariant& raw)
{
    return accept(get(key), raw);
}

std::optional<QVariant> stored(const QSettings& settings, const QString& key)
{
    const QVariant raw = settings.value(key);
    if (!raw.isValid())
        return std::nullopt;
    return accept(key, raw);
}

QVariant value(const QSettings& settings, const QString& key)
{
    if (std::optional<QVariant> v = stored(settings, key))
        return *v;
    const Preference& p = get(key);
    return p.currentDefault ? p.currentDefault() : p.defaultValue;
}

bool isRefused(const QSettings& settings, const QString& key)
{
    return settings.contains(key) && !stored(settings, key);
}

bool flag(const QSettings& settings, const QString& key)
{
    Q_ASSERT(get(key).kind == Kind::flag);
    return value(settings, key).toBool();
}

double number(const QSettings& settings, const QString& key)
{
    Q_ASSERT(get(key).kind == Kind::number);
    return value(settings, key).toDouble();
}

qint64 integer(const QSettings& settings, const QString& key)
{
    Q_ASSERT(get(key).kind == Kind::integer);
    return value(settings, key).toLongLong();
}

QString text(const QSettings& settings, const QString& key)
{
    Q_ASSERT(get(key).kind == Kind::text);
    return value(settings, key).toString();
}

QStringList textList(const QSettings& settings, const QString& key)
{
    Q_ASSERT(get(key).kind == Kind::textList);
    return value(settings, key).toStringList();
}

bool write(QSettings& settings, const QString& key, const QVariant& v)
{
    const std::optional<QVariant> accepted = accept(key, v);
    if (!accepted)
        return false;
    if (accepted->typeId() == QMetaType::QStringList && accepted->toStringList().isEmpty())
        settings.remove(key);
    else
        settings.setValue(key, *accepted);
    return true;
}

std::variant<QVariant, QString> parse(const Preference& p, const QString& text)
{
    QVariant raw(text);
    if (p.kind == Kind::textList) {
        QStringList entries;
        for (const QString& entry : text.split(u',', Qt::SkipEmptyParts)) {
            if (!entry.trimmed().isEmpty())
                entries.append(entry.trimmed());
        }
        raw = entries;
    }
    if (std::optional<QVariant> v = accept(p, raw))
        return *v;
    return p.key + u" takes "_s + takes(p) + u", not \""_s + text + u"\""_s;
}

QString format(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::Bool:
        return v.toBool() ? u"true"_s : u"false"_s;
    case QMetaType::Double:
        return QString::number(v.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::QDateTime:
        return v.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    case QMetaType::QStringList:
        return v.toStringList().join(u", "_s);
    case QMetaType::QByteArray:
        return QString::fromUtf8(v.toByteArray());
    default:
        return v.toString();
    }
}

double widened(float value)
{
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    double result = value;
    if (error == std::errc())
        std::from_chars(text.data(), end, result);
    return result;
}

} // namespace Preferences
