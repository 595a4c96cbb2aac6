#include "backup/SettingsSyncService.h"

#include "common/AppPaths.h"
#include "common/Preferences.h"
#include "expansion/TextExpansionService.h"
#include "platform/api/KeyValueStore.h"
#include "sound/SoundService.h"

#include <QDir>
#include <QSettings>

namespace {

// The shared store holds bools, doubles and strings; a value of another JSON type (a string
// "true", null, a list) is not one of ours, even when the user defaults would read it.
std::optional<QVariant> sharedValue(const QString& key, const QVariant& value)
{
    bool typed = false;
    switch (Preferences::get(key).kind) {
    case Preferences::Kind::flag:
        typed = value.typeId() == QMetaType::Bool;
        break;
    case Preferences::Kind::number:
        switch (value.typeId()) {
        case QMetaType::Double:
        case QMetaType::Float:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            typed = true;
            break;
        default:
            break;
        }
        break;
    case Preferences::Kind::text:
        typed = value.typeId() == QMetaType::QString;
        break;
    default:
        break;
    }
    return typed ? Preferences::accept(key, value) : std::nullopt;
}

} // namespace

SettingsSyncService::SettingsSyncService(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(dependencies)
{
    Q_ASSERT(m_dependencies.kvStore);
}

QString SettingsSyncService::syncFolder(const QSettings& settings)
{
    return Preferences::value(settings, Preferences::syncFolder).toString();
}

bool SettingsSyncService::ownsSyncFolder(const QSettings& settings)
{
    return QDir(syncFolder(settings)) ==
           QDir(QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("Sync")));
}

QString SettingsSyncService::key(Entry entry)
{
    switch (entry) {
    case Entry::expansionEnabled:
        return Preferences::expansionEnabled;
    case Entry::soundEnabled:
        return Preferences::soundEnabled;
    case Entry::soundVolume:
        return Preferences::soundVolume;
    case Entry::selectedSound:
        return Preferences::selectedSound;
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
    // Only the store's own types go out (a whole number is not one), and only values the
    // key accepts.
    const int type = value.typeId();
    const bool storable = type == QMetaType::Bool || type == QMetaType::Float ||
                          type == QMetaType::Double || type == QMetaType::QString;
    const std::optional<QVariant> accepted = storable ? sharedValue(k, value) : std::nullopt;
    if (!accepted)
        return;
    switch (accepted->typeId()) {
    case QMetaType::Bool:
        store.setBool(k, accepted->toBool());
        break;
    case QMetaType::Double:
        store.setDouble(k, accepted->toDouble());
        break;
    case QMetaType::QString:
        store.setString(k, accepted->toString());
        break;
    default:
        break;
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
    for (const Preferences::Preference& p : Preferences::all()) {
        if (p.synced)
            keys.append(p.key);
    }
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
        // A key the shared store does not hold leaves the local value alone: dropping it would
        // reset this machine's settings at the next launch whenever the store starts out empty.
        // A value this version cannot take (another type, null, out of range) is left alone
        // the same way, rather than stored where every reader would refuse it.
        const std::optional<QVariant> value = sharedValue(k, m_dependencies.kvStore->object(k));
        if (!value)
            continue;
        if (m_dependencies.settings)
            Preferences::write(*m_dependencies.settings, k, *value);
        applyToOwner(*entry, *value);
    }
}

void SettingsSyncService::applyToOwner(Entry entry, const QVariant& value)
{
    switch (entry) {
    case Entry::expansionEnabled:
        if (m_expansion)
            m_expansion->setEnabled(value.toBool());
        break;
    case Entry::soundEnabled:
        if (m_sound)
            m_sound->setSoundEnabled(value.toBool());
        break;
    case Entry::soundVolume:
        if (m_sound)
            m_sound->setVolume(static_cast<float>(value.toDouble()));
        break;
    case Entry::selectedSound:
        // The custom file exists only on the machine that imported it.
        if (m_sound && value.toString() != SoundService::customSoundName)
            m_sound->setSelectedSoundName(value.toString());
        break;
    }
}
