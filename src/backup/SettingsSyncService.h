#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>
#include <array>
#include <optional>

class KeyValueStore;
class QSettings;
class SoundService;
class TextExpansionService;

// Mirrors four preferences into the shared key-value store so they follow the user from
// machine to machine. Owners push every change; once started, changes made elsewhere are
// written to the user defaults and handed to their owners.
class SettingsSyncService : public QObject {
    Q_OBJECT

public:
    enum class Entry { expansionEnabled, soundEnabled, soundVolume, selectedSound };
    // In the order start() pulls them.
    static constexpr std::array<Entry, 4> entries = {Entry::expansionEnabled, Entry::soundEnabled,
                                                     Entry::soundVolume, Entry::selectedSound};

    struct Dependencies {
        KeyValueStore* kvStore = nullptr; // required
        QSettings* settings = nullptr;    // the user defaults; none: not written
    };

    // The folder holding the shared store, set by the user ("tw_syncFolder") to one that a
    // sync tool keeps in step; by default "Sync" in the data folder.
    static QString syncFolder(const QSettings& settings);
    // Whether the sync folder is ours to make: the default one, in the data folder.
    static bool ownsSyncFolder(const QSettings& settings);

    explicit SettingsSyncService(Dependencies dependencies, QObject* parent = nullptr);

    // The key of an entry, the same in the shared store and in the user defaults.
    static QString key(Entry entry);
    static std::optional<Entry> entryForKey(const QString& key);

    // Stores a value under the entry's key: a bool, a float or double, or a string; an invalid
    // QVariant removes the key; a value of another type, or one the key does not accept (a
    // volume outside 0...1), is not pushed. Works whether or not start() ran.
    void push(Entry entry, const QVariant& value);

    // Pushes every change of the owners' fields, and gives changes from elsewhere to them.
    // Either may be null; an owner that is destroyed is forgotten.
    void connectOwners(TextExpansionService* expansion, SoundService* sound);

    // Pulls the four values and from then on applies external changes. Call once.
    void start();

    // What the store's external-change notification runs, given its user info.
    void handleExternalChange(const QVariantMap& userInfo);

    // Copies each of the four keys from the shared store to the user defaults and the owner,
    // in order; other keys are skipped, and so are values of the wrong type, null, or out of
    // range, which leave the local value alone.
    void applyKeys(const QStringList& keys);

private:
    void applyToOwner(Entry entry, const QVariant& value);

    Dependencies m_dependencies;
    QPointer<TextExpansionService> m_expansion;
    QPointer<SoundService> m_sound;
    bool m_started = false;
};
