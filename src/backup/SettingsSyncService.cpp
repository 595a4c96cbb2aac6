#include "backup/SettingsSyncService.h"

#include "common/AppPaths.h"
#include "expansion/TextExpansionService.h"
#include "platform/api/KeyValueStore.h"
#include "sound/SoundService.h"

#include <QDir>
#include <QSettings>
#include <array>
#include <charconv>

namespace {

bool isBool(const QVariant& v)
{
    return v.typeId() == QMetaType::Bool;
}

bool isString(const QVariant& v)
{
    return v.typeId() == QMetaType::QString;
}

std::optional<double> asDouble(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return v.toDouble();
    default:
        return std::nullopt;
    }
}

// A float as the double with the same shortest decimal form: 0.3f goes out as 0.3, which
// reads back as 0.3f everywhere, instead of 0.30000001192092896.
double widened(float value)
{
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    double result = value;
    if (error == std::errc())
        std::from_chars(text.data(), end, result);
    return result;
}

} // namespace

SettingsSyncService::SettingsSyncService(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(dependencies)
{
    Q_ASSERT(m_dependencies.kvStore);
}

QString SettingsSyncService::syncFolder(const QSettings& settings)
{
    const QString chosen = settings.value(syncFolderKey).toString();
    return chosen.isEmpty() ? QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("Sync"))
                            : chosen;
}

QString SettingsSyncService::key(Entry entry)
{
    switch (entry) {
    case Entry::expansionEnabled:
        return QStringLiteral("tw_expansionEnabled");
    case Entry::soundEnabled:
        return QStringLiteral("tw_soundEnabled");
    case Entry::soundVolume:
        return QStringLiteral("tw_soundVolume");
    case Entry::selectedSound:
        return QStringLiteral("tw_selectedSound");
    }
    return {};
}

std::optional<SettingsSyncService::Entry> SettingsSyncService::entryForKey(const QString& k)
{
    for (const Entry entry : entries) {
        if (key(entry) == k)
            return entry;
    }
    return std::nullopt;
}

void SettingsSyncService::push(Entry entry, const QVariant& value)
{
    KeyValueStore& store = *m_dependencies.kvStore;
    const QString k = key(entry);
    if (!value.isValid()) {
        store.removeObject(k);
        return;
    }
    switch (value.typeId()) {
    case QMetaType::Bool:
        store.setBool(k, value.toBool());
        break;
    case QMetaType::Float:
        store.setDouble(k, widened(value.toFloat()));
        break;
    case QMetaType::Double:
        store.setDouble(k, value.toDouble());
        break;
    case QMetaType::QString:
        store.setString(k, value.toString());
        break;
    default:
        break; // no other type has a place in the shared store
    }
}

void SettingsSyncService::connectOwners(TextExpansionService* expansion, SoundService* sound)
{
    m_expansion = expansion;
    m_sound = sound;
    if (expansion) {
        connect(expansion, &TextExpansionService::isEnabledChanged, this,
                [this](bool enabled) { push(Entry::expansionEnabled, enabled); });
    }
    if (sound) {
        connect(sound, &SoundService::soundEnabledChanged, this,
                [this](bool enabled) { push(Entry::soundEnabled, enabled); });
        connect(sound, &SoundService::volumeChanged, this,
                [this](float volume) { push(Entry::soundVolume, volume); });
        connect(sound, &SoundService::selectedSoundNameChanged, this,
                [this](const QString& name) { push(Entry::selectedSound, name); });
    }
}

void SettingsSyncService::start()
{
    if (m_started)
        return;
    m_started = true;
    KeyValueStore& store = *m_dependencies.kvStore;
    store.synchronize();
    QStringList keys;
    for (const Entry entry : entries)
        keys.append(key(entry));
    applyKeys(keys);
    // Held weakly: the store drops the handler once this service is gone.
    store.observeExternalChanges(
        this, [this](const QVariantMap& userInfo) { handleExternalChange(userInfo); });
}

void SettingsSyncService::handleExternalChange(const QVariantMap& userInfo)
{
    const QVariant reason = userInfo.value(KeyValueStore::reasonKey);
    const int type = reason.typeId();
    if (type != QMetaType::Int && type != QMetaType::LongLong && type != QMetaType::UInt &&
        type != QMetaType::ULongLong)
        return;
    // Quota violations and account changes carry no values to apply.
    const qlonglong code = reason.toLongLong();
    if (code != KeyValueStore::serverChange && code != KeyValueStore::initialSync)
        return;
    const QVariant changed = userInfo.value(KeyValueStore::changedKeysKey);
    if (changed.typeId() != QMetaType::QStringList)
        return;
    applyKeys(changed.toStringList());
}

void SettingsSyncService::applyKeys(const QStringList& keys)
{
    for (const QString& k : keys) {
        const std::optional<Entry> entry = entryForKey(k);
        if (!entry)
            continue;
        const QVariant value = m_dependencies.kvStore->object(k);
        // A key the shared store does not hold leaves the local value alone: dropping it would
        // reset this machine's settings at the next launch whenever the store starts out empty.
        if (!value.isValid())
            continue;
        if (m_dependencies.settings)
            m_dependencies.settings->setValue(k, value);
        applyToOwner(*entry, value);
    }
}

void SettingsSyncService::applyToOwner(Entry entry, const QVariant& value)
{
    switch (entry) {
    case Entry::expansionEnabled:
        if (m_expansion && isBool(value))
            m_expansion->setEnabled(value.toBool());
        break;
    case Entry::soundEnabled:
        if (m_sound && isBool(value))
            m_sound->setSoundEnabled(value.toBool());
        break;
    case Entry::soundVolume:
        if (const std::optional<double> volume = asDouble(value); m_sound && volume)
            m_sound->setVolume(static_cast<float>(*volume));
        break;
    case Entry::selectedSound:
        // The custom file exists only on the machine that imported it.
        if (m_sound && isString(value) && value.toString() != SoundService::customSoundName)
            m_sound->setSelectedSoundName(value.toString());
        break;
    }
}
