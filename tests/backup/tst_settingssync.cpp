#include "backup/SettingsSyncService.h"
#include "expansion/TextExpansionService.h"
#include "platform/qt/JsonFileKeyValueStore.h"
#include "sound/SoundService.h"
#include "support/Fakes.h"
#include "support/MemoryKeyValueStore.h"
#include "support/RecordingSoundPlayer.h"
#include "support/TestFiles.h"
#include "support/VirtualClock.h"

#include <QDir>
#include <QFile>
#include <QFileSystemWatcher>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// One machine: its own user defaults and services, a store on the shared sync folder.
struct Machine {
    Machine(const QString& settingsPath, KeyValueStore* store, const QVariantMap& stored = {})
        : settings(settingsPath, QSettings::IniFormat)
    {
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            settings.setValue(it.key(), it.value());
        expansion = std::make_unique<TextExpansionService>(
            TextExpansionService::Dependencies{&scheduler, nullptr, nullptr, &settings});
        sound = std::make_unique<SoundService>(SoundService::Dependencies{&player, &settings, {}});
        sync = std::make_unique<SettingsSyncService>(
            SettingsSyncService::Dependencies{store, &settings});
        sync->connectOwners(expansion.get(), sound.get());
    }

    QSettings settings;
    VirtualClock scheduler;
    RecordingSoundPlayer player;
    std::unique_ptr<TextExpansionService> expansion;
    std::unique_ptr<SoundService> sound;
    std::unique_ptr<SettingsSyncService> sync;
};

QVariantMap allValues(const QSettings& settings)
{
    QVariantMap map;
    for (const QString& key : settings.allKeys())
        map.insert(key, settings.value(key));
    return map;
}

QJsonObject readJson(const QString& path)
{
    return QJsonDocument::fromJson(TestFiles::read(path)).object();
}

void writeRaw(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    QVERIFY(file.commit());
}

} // namespace

class TestSettingsSync : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString syncFolder() const { return m_dir->filePath(u"Sync"_s); }
    QString localFolder() const { return m_dir->filePath(u"data"_s); }
    QString settingsPath(const QString& machine) const
    {
        return m_dir->filePath(machine + u".ini"_s);
    }

    QTemporaryDir m_home;

private Q_SLOTS:
    void initTestCase()
    {
        // Lock files go where the application's own would.
        qputenv("SCRIVLANE_HOME", m_home.path().toUtf8());
        qunsetenv("XDG_RUNTIME_DIR");
    }
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }
    void push_data();
    void push();
    void externalChange_data();
    void externalChange();
    void startPullsAndKeepsMissingValues();
    void notStartedOnlyPushes();
    void twoMachinesShareOneFolder();
    void initialSyncIsAnnounced();
    void writesReplaceTheFileWhole();
    void corruptFileLosesNothing();
    void sharedFileThatIsNotAFile_data();
    void sharedFileThatIsNotAFile();
    void locksStayOutOfTheTemporaryFolder();
};

void TestSettingsSync::push_data()
{
    QTest::addColumn<int>("entry");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("call");
    using E = SettingsSyncService::Entry;
    QTest::newRow("bool") << int(E::expansionEnabled) << QVariant(false)
                          << u"bool tw_expansionEnabled=false"_s;
    QTest::newRow("float widened")
        << int(E::soundVolume) << QVariant(0.3f) << u"double tw_soundVolume=0.3"_s;
    QTest::newRow("double") << int(E::soundVolume) << QVariant(0.25)
                            << u"double tw_soundVolume=0.25"_s;
    QTest::newRow("string") << int(E::selectedSound) << QVariant(u"Pop"_s)
                            << u"string tw_selectedSound=Pop"_s;
    QTest::newRow("absent removes")
        << int(E::soundEnabled) << QVariant() << u"remove tw_soundEnabled"_s;
    QTest::newRow("int not pushed") << int(E::soundVolume) << QVariant(1) << QString();
    QTest::newRow("volume out of range not pushed")
        << int(E::soundVolume) << QVariant(1.5) << QString();
    QTest::newRow("string for a switch not pushed")
        << int(E::expansionEnabled) << QVariant(u"true"_s) << QString();
}

void TestSettingsSync::push()
{
    QFETCH(int, entry);
    QFETCH(QVariant, value);
    QFETCH(QString, call);
    MemoryKeyValueStore store;
    SettingsSyncService sync({&store, nullptr});
    sync.push(SettingsSyncService::Entry(entry), value);
    QCOMPARE(store.calls, call.isEmpty() ? QStringList() : QStringList{call});
}

void TestSettingsSync::externalChange_data()
{
    QTest::addColumn<QVariantMap>("cloud");
    QTest::addColumn<QVariantMap>("userInfo");
    QTest::addColumn<QVariantMap>("defaults"); // the user defaults afterwards
    QTest::addColumn<QVariantList>("fields");  // isEnabled, soundEnabled, volume, selected

    const QVariantMap local{{u"tw_selectedSound"_s, u"Glass"_s},
                            {u"tw_customSoundPath"_s, u"/here/mine.wav"_s}};
    const QVariantList unchanged{true, true, 0.8f, u"Glass"_s};
    const auto info = [](const QVariant& reason, const QVariant& keys) {
        QVariantMap map;
        if (reason.isValid())
            map.insert(KeyValueStore::reasonKey, reason);
        if (keys.isValid())
            map.insert(KeyValueStore::changedKeysKey, keys);
        return map;
    };
    const auto with = [&local](const QVariantMap& more) {
        QVariantMap map = local;
        map.insert(more);
        return map;
    };
    const QVariantMap cloud{{u"tw_expansionEnabled"_s, false},
                            {u"tw_soundEnabled"_s, false},
                            {u"tw_soundVolume"_s, 0.3},
                            {u"tw_selectedSound"_s, u"Hero"_s},
                            {u"tw_customSoundPath"_s, u"/there/theirs.wav"_s}};
    const QStringList volume{u"tw_soundVolume"_s};

    QTest::newRow("server change of the volume")
        << cloud << info(0, volume) << with({{u"tw_soundVolume"_s, 0.3}})
        << QVariantList{true, true, 0.3f, u"Glass"_s};
    QTest::newRow("initial sync") << cloud << info(1, volume) << with({{u"tw_soundVolume"_s, 0.3}})
                                  << QVariantList{true, true, 0.3f, u"Glass"_s};
    QTest::newRow("quota violation") << cloud << info(2, volume) << local << unchanged;
    QTest::newRow("no reason") << cloud << info({}, volume) << local << unchanged;
    QTest::newRow("reason not an integer") << cloud << info(u"0"_s, volume) << local << unchanged;
    QTest::newRow("reason a fraction") << cloud << info(0.0, volume) << local << unchanged;
    QTest::newRow("no keys") << cloud << info(0, {}) << local << unchanged;
    QTest::newRow("keys not a list") << cloud << info(0, u"tw_soundVolume"_s) << local << unchanged;
    QTest::newRow("key outside the four")
        << cloud << info(0, QStringList{u"tw_customSoundPath"_s, u"tw_soundvolume"_s}) << local
        << unchanged;
    QTest::newRow("all four in order")
        << cloud
        << info(0, QStringList{u"tw_expansionEnabled"_s, u"tw_soundEnabled"_s, u"tw_soundVolume"_s,
                               u"tw_selectedSound"_s})
        << with({{u"tw_expansionEnabled"_s, false},
                 {u"tw_soundEnabled"_s, false},
                 {u"tw_soundVolume"_s, 0.3},
                 {u"tw_selectedSound"_s, u"Hero"_s}})
        << QVariantList{false, false, 0.3f, u"Hero"_s};
    QTest::newRow("custom written but not applied")
        << QVariantMap{{u"tw_selectedSound"_s, u"custom"_s}}
        << info(0, QStringList{u"tw_selectedSound"_s})
        << with({{u"tw_selectedSound"_s, u"custom"_s}}) << unchanged;
    // What every reader would refuse is not copied into the user defaults either.
    const QStringList all{u"tw_expansionEnabled"_s, u"tw_soundEnabled"_s, u"tw_soundVolume"_s,
                          u"tw_selectedSound"_s};
    QTest::newRow("wrong types neither written nor applied")
        << QVariantMap{{u"tw_soundEnabled"_s, u"false"_s},
                       {u"tw_expansionEnabled"_s, 0.0},
                       {u"tw_soundVolume"_s, u"0.3"_s},
                       {u"tw_selectedSound"_s, 7}}
        << info(0, all) << local << unchanged;
    QTest::newRow("null neither written nor applied")
        << QVariantMap{{u"tw_soundEnabled"_s, QVariant::fromValue(nullptr)},
                       {u"tw_expansionEnabled"_s, QVariant::fromValue(nullptr)},
                       {u"tw_soundVolume"_s, QVariant::fromValue(nullptr)},
                       {u"tw_selectedSound"_s, QVariant::fromValue(nullptr)}}
        << info(0, all) << local << unchanged;
    QTest::newRow("volume out of range neither written nor applied")
        << QVariantMap{{u"tw_soundVolume"_s, 5.0}} << info(0, volume) << local << unchanged;
    QTest::newRow("whole number volume")
        << QVariantMap{{u"tw_soundVolume"_s, 1}} << info(0, volume)
        << with({{u"tw_soundVolume"_s, 1}}) << QVariantList{true, true, 1.0f, u"Glass"_s};
    QTest::newRow("missing in the cloud keeps the local value")
        << QVariantMap() << info(0, QStringList{u"tw_selectedSound"_s}) << local << unchanged;
}

void TestSettingsSync::externalChange()
{
    QFETCH(QVariantMap, cloud);
    QFETCH(QVariantMap, userInfo);
    QFETCH(QVariantMap, defaults);
    QFETCH(QVariantList, fields);

    MemoryKeyValueStore store;
    Machine machine(
        settingsPath(u"here"_s), &store,
        {{u"tw_selectedSound"_s, u"Glass"_s}, {u"tw_customSoundPath"_s, u"/here/mine.wav"_s}});
    machine.sync->start();
    QCOMPARE(store.observers.size(), 1u);
    store.values = cloud;
    store.calls.clear();
    store.observers.front()(userInfo);

    QCOMPARE(machine.expansion->isEnabled(), fields[0].toBool());
    QCOMPARE(machine.sound->soundEnabled(), fields[1].toBool());
    QCOMPARE(machine.sound->volume(), fields[2].toFloat());
    QCOMPARE(machine.sound->selectedSoundName(), fields[3].toString());
    QVariantMap actual = allValues(machine.settings);
    // Compare as text: INI values read back as strings.
    QCOMPARE(actual.keys(), defaults.keys());
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        QCOMPARE(actual.value(it.key()).toString(), it.value().toString());
    // Applying pushes the same values back, which leaves the cloud as it was.
    QCOMPARE(store.values, cloud);
}

void TestSettingsSync::startPullsAndKeepsMissingValues()
{
    MemoryKeyValueStore store;
    store.values = {{u"tw_soundVolume"_s, 0.5}, {u"tw_selectedSound"_s, u"Morse"_s}};
    Machine machine(settingsPath(u"here"_s), &store,
                    {{u"tw_soundEnabled"_s, false}, {u"tw_expansionEnabled"_s, false}});
    machine.sync->start();
    QCOMPARE(store.calls.first(), u"synchronize"_s);
    QCOMPARE(machine.sound->volume(), 0.5f);
    QCOMPARE(machine.sound->selectedSoundName(), u"Morse"_s);
    // Nothing in the cloud for these two: this machine's values stay, stored and in use.
    QCOMPARE(machine.sound->soundEnabled(), false);
    QCOMPARE(machine.expansion->isEnabled(), false);
    QCOMPARE(machine.settings.value(u"tw_soundEnabled"_s).toBool(), false);
    QCOMPARE(machine.settings.value(u"tw_expansionEnabled"_s).toBool(), false);

    machine.sync->start(); // once only
    QCOMPARE(store.observers.size(), 1u);
}

void TestSettingsSync::notStartedOnlyPushes()
{
    JsonFileKeyValueStore storeA(syncFolder(), localFolder());
    JsonFileKeyValueStore storeB(syncFolder(), localFolder());
    Machine a(settingsPath(u"a"_s), &storeA);
    Machine b(settingsPath(u"b"_s), &storeB);
    a.sync->start();

    b.sound->setVolume(0.3f);
    QCOMPARE(readJson(storeB.filePath()).value(u"tw_soundVolume"_s).toDouble(), 0.3);
    QTRY_COMPARE(a.sound->volume(), 0.3f);

    a.sound->setSelectedSoundName(u"Bottle"_s);
    QCOMPARE(readJson(storeA.filePath()).value(u"tw_selectedSound"_s).toString(), u"Bottle"_s);
    QTest::qWait(300); // b never started: nothing arrives however long it waits
    QCOMPARE(b.sound->selectedSoundName(), u"Tink"_s);
    QVERIFY(!b.settings.contains(u"tw_selectedSound"_s));
}

void TestSettingsSync::twoMachinesShareOneFolder()
{
    JsonFileKeyValueStore storeA(syncFolder(), localFolder());
    JsonFileKeyValueStore storeB(syncFolder(), localFolder());
    Machine a(settingsPath(u"a"_s), &storeA);
    Machine b(settingsPath(u"b"_s), &storeB);
    a.sync->start();
    b.sync->start();

    a.expansion->setEnabled(false);
    a.sound->setSoundEnabled(false);
    a.sound->setVolume(0.3f);
    a.sound->setSelectedSoundName(u"Hero"_s);
    QTRY_COMPARE(b.sound->selectedSoundName(), u"Hero"_s);
    QTRY_COMPARE(b.sound->volume(), 0.3f);
    QCOMPARE(b.sound->soundEnabled(), false);
    QCOMPARE(b.expansion->isEnabled(), false);
    QCOMPARE(b.settings.value(u"tw_soundVolume"_s).toDouble(), 0.3);
    QCOMPARE(b.settings.value(u"tw_selectedSound"_s).toString(), u"Hero"_s);

    // b's change keeps a's keys in the file, and reaches a.
    b.expansion->setEnabled(true);
    QTRY_COMPARE(a.expansion->isEnabled(), true);
    const QJsonObject shared = readJson(storeA.filePath());
    QCOMPARE(shared.value(u"tw_expansionEnabled"_s).toBool(false), true);
    QCOMPARE(shared.value(u"tw_selectedSound"_s).toString(), u"Hero"_s);
    QCOMPARE(a.sound->volume(), 0.3f);

    // A custom selection travels as a value but is not applied: its file is only on a.
    a.sound->setSelectedSoundName(u"custom"_s);
    QTRY_COMPARE(b.settings.value(u"tw_selectedSound"_s).toString(), u"custom"_s);
    QCOMPARE(b.sound->selectedSoundName(), u"Hero"_s);
    QVERIFY(!readJson(storeA.filePath()).contains(u"tw_customSoundPath"_s));
}

void TestSettingsSync::initialSyncIsAnnounced()
{
    {
        JsonFileKeyValueStore earlier(syncFolder(), localFolder());
        earlier.setString(u"tw_selectedSound"_s, u"Purr"_s);
        earlier.setBool(u"tw_unrelated"_s, true);
    }
    JsonFileKeyValueStore store(syncFolder(), localFolder());
    QList<QVariantMap> heard;
    QObject context;
    store.observeExternalChanges(&context, [&](const QVariantMap& info) { heard.append(info); });
    Machine machine(settingsPath(u"m"_s), &store);
    machine.sync->start();
    QCOMPARE(machine.sound->selectedSoundName(), u"Purr"_s); // pulled at once

    QTRY_COMPARE(heard.size(), 1);
    QCOMPARE(heard[0].value(KeyValueStore::reasonKey).toInt(), int(KeyValueStore::initialSync));
    QStringList keys = heard[0].value(KeyValueStore::changedKeysKey).toStringList();
    keys.sort();
    QCOMPARE(keys, QStringList({u"tw_selectedSound"_s, u"tw_unrelated"_s}));

    // Our own writes are not announced back to us.
    machine.sound->setVolume(0.1f);
    QTest::qWait(200);
    QCOMPARE(heard.size(), 1);
}

void TestSettingsSync::writesReplaceTheFileWhole()
{
    JsonFileKeyValueStore store(syncFolder(), localFolder());
    store.setDouble(u"tw_soundVolume"_s, 0.5);
    struct stat before {};
    QCOMPARE(::stat(QFile::encodeName(store.filePath()).constData(), &before), 0);
    store.setDouble(u"tw_soundVolume"_s, 0.6);
    struct stat after {};
    QCOMPARE(::stat(QFile::encodeName(store.filePath()).constData(), &after), 0);
    // A new inode: the file was renamed into place, never rewritten where it stood.
    QVERIFY(before.st_ino != after.st_ino);
    QCOMPARE(QDir(syncFolder()).entryList(QDir::Files | QDir::Hidden),
             QStringList{JsonFileKeyValueStore::fileName});
}

void TestSettingsSync::corruptFileLosesNothing()
{
    JsonFileKeyValueStore storeA(syncFolder(), localFolder());
    JsonFileKeyValueStore storeB(syncFolder(), localFolder());
    Machine a(settingsPath(u"a"_s), &storeA);
    Machine b(settingsPath(u"b"_s), &storeB);
    a.sync->start();
    b.sync->start();
    a.sound->setSelectedSoundName(u"Funk"_s);
    QTRY_COMPARE(b.sound->selectedSoundName(), u"Funk"_s);

    // A sync tool leaves a damaged file behind.
    const QByteArray garbage = "{\"tw_selectedSound\": \"Pi";
    writeRaw(storeA.filePath(), garbage);
    QTest::qWait(300);
    QCOMPARE(b.sound->selectedSoundName(), u"Funk"_s);
    QCOMPARE(b.settings.value(u"tw_selectedSound"_s).toString(), u"Funk"_s);
    QCOMPARE(storeB.object(u"tw_selectedSound"_s).toString(), u"Funk"_s);

    // The next write restores a readable file with every known value, and keeps the damaged
    // one aside.
    b.sound->setVolume(0.2f);
    const QJsonObject repaired = readJson(storeB.filePath());
    QCOMPARE(repaired.value(u"tw_selectedSound"_s).toString(), u"Funk"_s);
    QCOMPARE(repaired.value(u"tw_soundVolume"_s).toDouble(), 0.2);
    // Kept on this machine: in the sync folder it would travel to all of them.
    QVERIFY(storeB.damagedCopyPath().startsWith(localFolder()));
    QCOMPARE(TestFiles::read(storeB.damagedCopyPath()), garbage);
    QCOMPARE(QDir(syncFolder()).entryList(QDir::Files | QDir::Hidden),
             QStringList{JsonFileKeyValueStore::fileName});
    QTRY_COMPARE(a.sound->volume(), 0.2f);

    // A good file from elsewhere is applied again.
    QJsonObject next = repaired;
    next.insert(u"tw_selectedSound"_s, u"Ping"_s);
    writeRaw(storeA.filePath(), QJsonDocument(next).toJson());
    QTRY_COMPARE(a.sound->selectedSoundName(), u"Ping"_s);
    QTRY_COMPARE(b.sound->selectedSoundName(), u"Ping"_s);
}

// A sync tool carries links and whatever else another machine put there. In the shared file's
// place: "link" to a readable JSON file of the user's, "damaged link" to a damaged one,
// "fifo" that nobody writes to.
void TestSettingsSync::sharedFileThatIsNotAFile_data()
{
    QTest::addColumn<QString>("planted");
    QTest::addColumn<QByteArray>("target");
    QTest::newRow("link") << u"link"_s << QByteArray(R"({"tw_soundEnabled": false})");
    QTest::newRow("damaged link") << u"damaged link"_s << QByteArray(R"({"tw_sound)");
    QTest::newRow("fifo") << u"fifo"_s << QByteArray();
}

void TestSettingsSync::sharedFileThatIsNotAFile()
{
    QFETCH(QString, planted);
    QFETCH(QByteArray, target);
    const QString targetPath = m_dir->filePath(u"private/notes.json"_s);
    QVERIFY(QDir().mkpath(m_dir->filePath(u"private"_s)));
    QVERIFY(QDir().mkpath(syncFolder()));
    const QString shared = QDir(syncFolder()).absoluteFilePath(JsonFileKeyValueStore::fileName);
    if (planted == u"fifo") {
        QCOMPARE(::mkfifo(QFile::encodeName(shared).constData(), 0600), 0);
    } else {
        writeRaw(targetPath, target);
        QVERIFY(QFile::link(targetPath, shared));
    }

    JsonFileKeyValueStore store(syncFolder(), localFolder());
    QStringList heard;
    store.observeExternalChanges(this, [&heard](const QVariantMap& info) {
        heard += info.value(KeyValueStore::changedKeysKey).toStringList();
    });
    QVERIFY(!store.synchronize());
    store.setString(u"tw_selectedSound"_s, u"Pop"_s);
    QTest::qWait(100);

    QVERIFY(heard.isEmpty());
    QVERIFY(!store.object(u"tw_soundEnabled"_s).isValid());
    const QFileInfo info(shared);
    QCOMPARE(info.isSymLink(), planted != u"fifo");
    if (planted != u"fifo")
        QCOMPARE(TestFiles::read(targetPath), target);
    QCOMPARE(QDir(syncFolder())
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList{JsonFileKeyValueStore::fileName});
    QVERIFY(!QFileInfo::exists(store.damagedCopyPath()));
}

void TestSettingsSync::locksStayOutOfTheTemporaryFolder()
{
    QTemporaryDir temporary;
    const QByteArray savedTmp = qgetenv("TMPDIR");
    qputenv("TMPDIR", temporary.path().toUtf8());
    QFileSystemWatcher watcher{QStringList{temporary.path()}};
    QSignalSpy touched(&watcher, &QFileSystemWatcher::directoryChanged);
    {
        JsonFileKeyValueStore store(syncFolder(), localFolder());
        store.setBool(u"tw_soundEnabled"_s, false);
        store.setDouble(u"tw_soundVolume"_s, 0.5);
    }
    QTest::qWait(100);
    qputenv("TMPDIR", savedTmp);
    QCOMPARE(touched.count(), 0);
    QCOMPARE(QDir(temporary.path())
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList());
}

QTEST_GUILESS_MAIN(TestSettingsSync)
#include "tst_settingssync.moc"
