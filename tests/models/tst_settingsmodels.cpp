#include "ai/AITestSupport.h"
#include "backup/BackupController.h"
#include "common/Preferences.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "models/AISettingsModel.h"
#include "models/Appcast.h"
#include "models/BackupSyncSettingsModel.h"
#include "models/GeneralSettingsModel.h"
#include "models/ReleaseNotes.h"
#include "models/SoundSettingsModel.h"
#include "platform/api/LoginItem.h"
#include "sound/SoundService.h"
#include "support/RecordingSoundPlayer.h"
#include "support/VirtualClock.h"

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

namespace {

// A login item whose state can also change behind the pane's back.
struct FakeLoginItem final : LoginItem {
    bool enabled = false;
    QString failure;
    bool isEnabled() const override { return enabled; }
    QString setEnabled(bool on) override
    {
        if (!failure.isEmpty())
            return failure;
        enabled = on;
        return {};
    }
};

} // namespace

// The settings panes' rules, on real services: AI against a local server, sounds with a
// recording player, backups on a real store and folder.
class TestSettingsModels : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    HttpTestServer m_server;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_server.listen());
        m_server.setReply({401, "{}"});
    }

    void providerSwitchAsksWhenCustomised_data();
    void providerSwitchAsksWhenCustomised();
    void ollamaPort_data();
    void ollamaPort();
    void ollamaNotRunningNamesThePort();
    void keyFieldStoresAndDeletes();
    void modelControlFollowsTheService();
    void temperatureSliderBounds_data();
    void temperatureSliderBounds();

    void soundPicker();
    void cancelledChooserKeepsTheCustomFile();

    void syncSwitch_data();
    void syncSwitch();
    void syncStatusLines();
    void fileBackup();
    void lastBackupInTheUsersLocale_data();
    void lastBackupInTheUsersLocale();

    void launchAtLoginReadsTheRealState();
    void releaseNotesNewestFirst();
};

// --- AI Macros ---

void TestSettingsModels::providerSwitchAsksWhenCustomised_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<int>("target");
    QTest::addColumn<bool>("asks");
    const int anthropic = int(AIProvider::anthropic);
    QTest::newRow("openai as installed") << u""_s << anthropic << false;
    QTest::newRow("openai with a key") << u"key"_s << anthropic << true;
    QTest::newRow("openai with gpt-4o") << u"model=gpt-4o"_s << anthropic << true;
    QTest::newRow("anthropic enterprise")
        << u"provider=anthropic;enterprise"_s << int(AIProvider::openAI) << true;
    QTest::newRow("anthropic plain") << u"provider=anthropic"_s << int(AIProvider::grok) << false;
    QTest::newRow("ollama on 8080") << u"provider=ollama;port=8080"_s << anthropic << true;
    QTest::newRow("ollama on 11434") << u"provider=ollama"_s << anthropic << false;
    QTest::newRow("custom with a base URL") << u"provider=custom;url"_s << anthropic << true;
    QTest::newRow("custom without one") << u"provider=custom;nourl"_s << anthropic << false;
}

void TestSettingsModels::providerSwitchAsksWhenCustomised()
{
    QFETCH(QString, setup);
    QFETCH(int, target);
    QFETCH(bool, asks);
    AIHarness harness(m_server);
    AIService& ai = harness.start();
    for (const QString& step : setup.split(u';', Qt::SkipEmptyParts)) {
        if (step.startsWith(u"provider="_s))
            ai.setProvider(*providerFromRawValue(step.mid(9)));
        else if (step == u"key"_s)
            ai.setApiKey(u"sk-test"_s);
        else if (step.startsWith(u"model="_s))
            ai.setModel(step.mid(6));
        else if (step == u"enterprise"_s)
            ai.setAnthropicEnterpriseBaseURL(u"https://gateway.example.org/"_s);
        else if (step.startsWith(u"port="_s))
            ai.setOllamaPort(step.mid(5).toLongLong());
        else if (step == u"url"_s)
            ai.setCustomBaseURL(u"https://llm.example.org/v1"_s);
        else if (step == u"nourl"_s)
            ai.setCustomBaseURL(QString());
    }
    AISettingsModel model(&ai);
    const AIProvider before = ai.provider();
    const QString model0 = ai.model();
    QSignalSpy asked(&model, &AISettingsModel::providerSwitchConfirmationRequested);
    const bool switched = model.chooseProvider(AIProvider(target));
    QCOMPARE(switched, !asks);
    QCOMPARE(asked.size(), asks ? 1 : 0);
    if (!asks) {
        QCOMPARE(ai.provider(), AIProvider(target));
        return;
    }
    QCOMPARE(model.switchTitle(), u"Switch to "_s + displayName(AIProvider(target)) + u"?"_s);
    QCOMPARE(model.keepButtonText(), u"Keep "_s + displayName(before));
    QVERIFY(model.switchMessage().startsWith(u"Your "_s + displayName(before) + u" model"_s));
    // "Keep …" changes nothing; asked again and confirmed, the switch happens.
    model.cancelProviderSwitch();
    QCOMPARE(ai.provider(), before);
    QCOMPARE(ai.model(), model0);
    QCOMPARE(model.switchTitle(), u"Switch Provider?"_s);
    QVERIFY(!model.chooseProvider(AIProvider(target)));
    model.confirmProviderSwitch();
    QCOMPARE(ai.provider(), AIProvider(target));
    QCOMPARE(ai.model(), defaultModel(AIProvider(target)));
    QCOMPARE(ai.connectionStatus().kind, AIConnectionStatus::Kind::unknown);
    QVERIFY(!model.pendingProvider());
}

void TestSettingsModels::ollamaPort_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("port");
    QTest::newRow("zero") << u"0"_s << qint64(11434);
    QTest::newRow("above 65535") << u"65536"_s << qint64(11434);
    QTest::newRow("not a number") << u"abc"_s << qint64(11434);
    QTest::newRow("empty") << u""_s << qint64(11434);
    QTest::newRow("fraction") << u"80.5"_s << qint64(11434);
    QTest::newRow("one") << u"1"_s << qint64(1);
    QTest::newRow("highest") << u"65535"_s << qint64(65535);
}

void TestSettingsModels::ollamaPort()
{
    QFETCH(QString, text);
    QFETCH(qint64, port);
    AIHarness harness(m_server);
    AIService& ai = harness.start();
    ai.setProvider(AIProvider::ollama);
    AISettingsModel model(&ai);
    model.appear();
    QCOMPARE(model.ollamaPortInput(), u"11434"_s);
    model.editOllamaPort(text);
    QCOMPARE(model.commitOllamaPort(), port != 11434);
    QCOMPARE(ai.ollamaPort(), port);
    QCOMPARE(Preferences::integer(harness.settings, Preferences::aiOllamaPort), port);
}

void TestSettingsModels::ollamaNotRunningNamesThePort()
{
    AIHarness harness(m_server);
    AIService& ai = harness.start();
    ai.setProvider(AIProvider::ollama);
    const quint16 port = HttpTestServer::unusedPort();
    ai.setOllamaPort(port);
    AISettingsModel model(&ai);
    QVERIFY(model.ollamaWarning().isEmpty()); // not known yet
    QVERIFY(!model.showsApiKey());
    QSignalSpy refreshed(&ai, &AIService::modelsRefreshed);
    model.appear();
    QVERIFY(refreshed.wait(15000));
    QCOMPARE(model.ollamaWarning(), u"Ollama doesn't appear to be running on port %1. Open the "
                                    u"Ollama app first."_s.arg(port));
}

void TestSettingsModels::keyFieldStoresAndDeletes()
{
    AIHarness harness(m_server);
    harness.setKey(AIProvider::grok, u"xai-old"_s);
    harness.setKey(AIProvider::openAI, u"sk-keep"_s);
    AIService& ai = harness.start();
    ai.setProvider(AIProvider::grok);
    AISettingsModel model(&ai);
    QSignalSpy loaded(&model, &AISettingsModel::inputsLoaded);
    model.appear();
    QTRY_COMPARE(model.apiKeyInput(), u"xai-old"_s);
    model.editApiKey(u"xai-new"_s);
    QTRY_COMPARE(harness.secrets.readNow(AIService::keychainService,
                                         AIService::keychainAccount(AIProvider::grok)),
                 std::optional<QString>(u"xai-new"_s));
    model.editApiKey(QString());
    QTRY_VERIFY(!harness.secrets.readNow(AIService::keychainService,
                                         AIService::keychainAccount(AIProvider::grok)));
    // Only the current provider's key goes.
    QCOMPARE(harness.secrets.readNow(AIService::keychainService,
                                     AIService::keychainAccount(AIProvider::openAI)),
             std::optional<QString>(u"sk-keep"_s));
}

void TestSettingsModels::modelControlFollowsTheService()
{
    AIHarness harness(m_server);
    harness.setKey(AIProvider::openAI, u"sk"_s);
    AIService& ai = harness.start();
    QTRY_COMPARE(ai.apiKey(), u"sk"_s);
    AISettingsModel model(&ai);
    QCOMPARE(model.modelControl(), AISettingsModel::ModelControl::picker);
    m_server.setReply({200, R"({"data":[{"id":"gpt-4o"}]})", std::chrono::milliseconds(200)});
    QSignalSpy refreshed(&ai, &AIService::modelsRefreshed);
    ai.refreshModels();
    QTRY_COMPARE(model.modelControl(), AISettingsModel::ModelControl::fetching);
    QVERIFY(refreshed.wait(15000));
    QCOMPARE(model.modelControl(), AISettingsModel::ModelControl::picker);
    m_server.setReply({401, "{}"});
    ai.setProvider(AIProvider::custom);
    QCOMPARE(model.modelControl(), AISettingsModel::ModelControl::field);
    ai.setProvider(AIProvider::anthropic);
    ai.setAnthropicEnterpriseBaseURL(u"https://gateway.example.org"_s);
    QCOMPARE(model.modelControl(), AISettingsModel::ModelControl::field);
    QCOMPARE(model.privacyNote(), u"When you use {ai:\u2026}, the resolved prompt is sent to "
                                  u"Anthropic. Clipboard contents and fill-in values are "
                                  u"included if referenced in the prompt."_s);
}

void TestSettingsModels::temperatureSliderBounds_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<double>("temperature");
    QTest::addColumn<QString>("shown");
    QTest::newRow("lowest") << 0 << 0.0 << u"0.0"_s;
    QTest::newRow("default") << 7 << 0.7 << u"0.7"_s;
    QTest::newRow("highest") << 20 << 2.0 << u"2.0"_s;
    QTest::newRow("below the start") << -3 << 0.0 << u"0.0"_s;
}

void TestSettingsModels::temperatureSliderBounds()
{
    QFETCH(int, position);
    QFETCH(double, temperature);
    QFETCH(QString, shown);
    const double t = AISettingsModel::sliderToTemperature(position);
    QCOMPARE(t, temperature);
    QCOMPARE(AISettingsModel::temperatureText(t), shown);
    QCOMPARE(AISettingsModel::temperatureToSlider(t), std::clamp(position, 0, 20));
    // Every position is a value the setting takes (2.0 and not a hair above).
    QVERIFY(Preferences::accept(Preferences::aiTemperature, t).has_value());
}

// --- Sound ---

void TestSettingsModels::soundPicker()
{
    RecordingSoundPlayer player;
    QSettings settings(m_dir.filePath(u"sound.ini"_s), QSettings::IniFormat);
    settings.clear();
    SoundService sound({&player, &settings, m_dir.filePath(u"Sounds"_s)});
    SoundSettingsModel model(&sound);
    QList<SoundSettingsModel::Entry> entries = model.entries();
    QCOMPARE(entries.size(), 15);
    QCOMPARE(entries.first().value, u"Basso"_s);
    QCOMPARE(entries.last().value, u"__pick__"_s);
    QCOMPARE(model.pick(u"Pop"_s), SoundSettingsModel::Pick::played);
    QCOMPARE(sound.selectedSoundName(), u"Pop"_s);
    QCOMPARE(player.played.back().what, u"Pop"_s);
    model.setVolumePercent(150);
    QCOMPARE(sound.volume(), 1.0f);
    model.setVolumePercent(30);
    QCOMPARE(Preferences::number(settings, Preferences::soundVolume), 0.3);

    // A file that cannot be copied: said so, and nothing changes.
    QVERIFY(!model.importFile(m_dir.filePath(u"missing.wav"_s)).isEmpty());
    QCOMPARE(sound.selectedSoundName(), u"Pop"_s);
    QFile wav(m_dir.filePath(u"ding.wav"_s));
    QVERIFY(wav.open(QIODevice::WriteOnly));
    wav.write("RIFF");
    wav.close();
    QCOMPARE(model.importFile(wav.fileName()), QString());
    QCOMPARE(sound.selectedSoundName(), u"custom"_s);
    QVERIFY(player.played.back().what.endsWith(u"/Sounds/ding.wav"_s));
    entries = model.entries();
    QCOMPARE(entries.size(), 16);
    QCOMPARE(entries[14].value, u"custom"_s);
    model.pick(u"Tink"_s);
    model.pick(u"custom"_s);
    QVERIFY(player.played.back().what.endsWith(u"/Sounds/ding.wav"_s));
}

// The file chooser cancelled: the custom sound stays selected.
void TestSettingsModels::cancelledChooserKeepsTheCustomFile()
{
    RecordingSoundPlayer player;
    QSettings settings(m_dir.filePath(u"fallback.ini"_s), QSettings::IniFormat);
    settings.clear();
    SoundService sound({&player, &settings, m_dir.filePath(u"Sounds"_s)});
    sound.setCustomSoundURL(QUrl::fromLocalFile(m_dir.filePath(u"x.wav"_s)));
    sound.setSelectedSoundName(u"Glass"_s);
    SoundSettingsModel model(&sound);
    QSignalSpy changed(&model, &SoundSettingsModel::changed);
    const std::size_t playedBefore = player.played.size();
    QCOMPARE(model.pick(u"__pick__"_s), SoundSettingsModel::Pick::chooseFile);
    QCOMPARE(sound.selectedSoundName(), u"custom"_s);
    QCOMPARE(model.selection(), u"custom"_s);
    QVERIFY(!changed.isEmpty());
    QCOMPARE(player.played.size(), playedBefore);
}

// --- Backup & Sync ---

namespace {

struct SyncFixture {
    QTemporaryDir dir;
    QDateTime now = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);
    QSettings settings{dir.filePath(u"settings.ini"_s), QSettings::IniFormat};
    QStringList started;
    int quits = 0;
    std::unique_ptr<PersistenceController> store;
    std::unique_ptr<BackupController> backup;
    VirtualClock clock;

    SyncFixture()
    {
        PersistenceController::Options options;
        options.databasePath = dir.filePath(u"lib.sqlite"_s);
        options.settings = &settings;
        options.watchForExternalChanges = false;
        options.clock = [this] { return now; };
        options.startProcess = [this](const QString& program, const QStringList& args) {
            started << program + u" "_s + args.join(u' ');
            return true;
        };
        options.quit = [this] { ++quits; };
        store = std::make_unique<PersistenceController>(std::move(options));
        store->insertSnippet(SnippetEntity::create(u"T"_s, u"sig"_s, nullptr, now));
        store->save();
        makeBackup();
    }
    void makeBackup()
    {
        backup.reset();
        BackupController::Dependencies d;
        d.store = store.get();
        d.settings = &settings;
        d.currentSettings = [] { return AppSettingsBackup{}; };
        d.settingsTarget = {[](bool) {}, [](bool) {}, [](float) {}, [](const QString&) {},
                            [](const QString&, const QVariant&) {}};
        d.clock = [this] { return now; };
        backup = std::make_unique<BackupController>(d);
    }
    std::unique_ptr<BackupSyncSettingsModel> model()
    {
        return std::make_unique<BackupSyncSettingsModel>(
            BackupSyncSettingsModel::Dependencies{store.get(),
                                                  &settings,
                                                  &clock,
                                                  backup.get(),
                                                  [this] { return now; },
                                                  u"en_US"_s,
                                                  u"UTC"_s,
                                                  {}});
    }
};

} // namespace

void TestSettingsModels::syncSwitch_data()
{
    QTest::addColumn<bool>("before");
    QTest::addColumn<bool>("after");
    QTest::addColumn<bool>("relaunches");
    QTest::newRow("turned on") << false << true << true;
    QTest::newRow("turned off") << true << false << false;
    QTest::newRow("left on") << true << true << false;
}

void TestSettingsModels::syncSwitch()
{
    QFETCH(bool, before);
    QFETCH(bool, after);
    QFETCH(bool, relaunches);
    SyncFixture f;
    Preferences::write(f.settings, Preferences::iCloudSyncEnabled, before);
    auto model = f.model();
    model->setSyncEnabled(after);
    QCOMPARE(Preferences::flag(f.settings, Preferences::iCloudSyncEnabled), after);
    // Not at once: the switch is seen to move first.
    f.clock.advance(299);
    QVERIFY(f.started.isEmpty());
    f.clock.advance(1);
    QCOMPARE(f.started.size(), relaunches ? 1 : 0);
    if (relaunches) {
        QVERIFY(f.started.first().startsWith(u"/bin/sh -c sleep 1"_s));
        QTRY_COMPARE(f.quits, 1);
    }
    QTest::qWait(150);
    QCOMPARE(f.quits, relaunches ? 1 : 0);
}

void TestSettingsModels::syncStatusLines()
{
    SyncFixture f;
    auto model = f.model();
    QCOMPARE(model->syncStatus(), BackupSyncSettingsModel::SyncStatus::off);
    QCOMPARE(model->syncStatusText(), u"Folder sync is off. Snippets stored locally only."_s);
    Preferences::write(f.settings, Preferences::iCloudSyncEnabled, true);
    QCOMPARE(model->syncStatus(), BackupSyncSettingsModel::SyncStatus::on);
    QSignalSpy changed(model.get(), &BackupSyncSettingsModel::changed);
    f.store->handleSyncEvent({SyncEvent::Type::exportChanges, f.now.addSecs(-300), std::nullopt});
    QVERIFY(!changed.isEmpty());
    QCOMPARE(model->syncStatusText(), u"Last synced 5 min. ago"_s);
    SyncEventError error;
    error.description = u"The sync folder is gone."_s;
    f.store->handleSyncEvent({SyncEvent::Type::import, f.now, error});
    QCOMPARE(model->syncStatus(), BackupSyncSettingsModel::SyncStatus::error);
    QCOMPARE(model->syncStatusText(), u"Sync error: The sync folder is gone."_s);

    // The sync folder: an existing one is taken, anything else leaves the old one.
    const QString before = model->syncFolderText();
    QVERIFY(!model->chooseSyncFolder(f.dir.filePath(u"absent"_s)));
    QVERIFY(!model->chooseSyncFolder(u"relative/folder"_s));
    QCOMPARE(model->syncFolderText(), before);
    const QString folder = f.dir.filePath(u"Syncthing"_s);
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(model->chooseSyncFolder(folder));
    QCOMPARE(Preferences::text(f.settings, Preferences::syncFolder), folder);
}

void TestSettingsModels::fileBackup()
{
    SyncFixture f;
    auto model = f.model();
    model->appear();
    QCOMPARE(model->folderText(), u"Not set"_s);
    QCOMPARE(model->lastBackupText(), u"Never"_s);
    QVERIFY(!model->canBackUp());
    QCOMPARE(model->statusLook(), BackupSyncSettingsModel::StatusLook::none);

    const QString folder = f.dir.filePath(u"Backups"_s);
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(model->chooseFolder(folder));
    QCOMPARE(model->folderText(), folder);
    QVERIFY(model->canBackUp());

    // Two quick presses: one backup.
    QSignalSpy busy(f.backup.get(), &BackupController::isBackingUpChanged);
    model->backUpNow();
    QVERIFY(!model->canBackUp());
    model->backUpNow();
    QTRY_VERIFY(!model->isBackingUp());
    QCOMPARE(busy.size(), 2);
    QCOMPARE(QDir(folder).entryList(QDir::Files).size(), 1);
    QCOMPARE(model->statusLook(), BackupSyncSettingsModel::StatusLook::success);
    QCOMPARE(model->statusText(), u"\u2713 Saved to ScrivLane-Backup-2026-03-01.json"_s);
    QCOMPARE(model->lastBackupText(), u"Mar 1, 2026, 12:00\u202fPM"_s);

    // The folder went away while the pane was open: the failure line, and the date stays.
    QVERIFY(QDir(folder).removeRecursively());
    f.now = f.now.addDays(1);
    model->backUpNow();
    QTRY_VERIFY(!model->isBackingUp());
    QCOMPARE(model->statusLook(), BackupSyncSettingsModel::StatusLook::failure);
    QVERIFY2(model->statusText().startsWith(u"Export failed: "_s), qPrintable(model->statusText()));
    QCOMPARE(model->lastBackupText(), u"Mar 1, 2026, 12:00\u202fPM"_s);

    // After the next launch: the time is still there.
    model.reset();
    f.makeBackup();
    auto again = f.model();
    again->appear();
    QCOMPARE(again->lastBackupText(), u"Mar 1, 2026, 12:00\u202fPM"_s);
}

void TestSettingsModels::lastBackupInTheUsersLocale_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("expected");
    QTest::newRow("de_DE") << u"de_DE"_s << u"01.03.2026, 12:00"_s;
    QTest::newRow("en_GB") << u"en_GB"_s << u"1 Mar 2026, 12:00"_s;
}

void TestSettingsModels::lastBackupInTheUsersLocale()
{
    QFETCH(QString, locale);
    QFETCH(QString, expected);
    const QDateTime when(QDate(2026, 3, 1), QTime(11, 0), Qt::UTC);
    QCOMPARE(BackupSyncSettingsModel::abbreviatedDateTime(when, locale, u"Europe/Berlin"_s),
             expected);
}

// --- General ---

void TestSettingsModels::launchAtLoginReadsTheRealState()
{
    QSettings settings(m_dir.filePath(u"general.ini"_s), QSettings::IniFormat);
    FakeLoginItem login;
    GeneralSettingsModel model({&settings, &login, nullptr, u"0.1.0"_s});
    QVERIFY(!model.launchAtLogin());
    QCOMPARE(model.versionText(), u"Version 0.1.0"_s);
    QVERIFY(!model.canCheckForUpdates()); // no updater
    QCOMPARE(model.setLaunchAtLogin(true), QString());
    QVERIFY(model.launchAtLogin());
    login.enabled = false; // the entry was removed elsewhere
    model.appear();
    QVERIFY(!model.launchAtLogin());
    login.failure = u"cannot write"_s;
    QCOMPARE(model.setLaunchAtLogin(true), u"cannot write"_s);
    QVERIFY(!model.launchAtLogin());
    QCOMPARE(GeneralSettingsModel({&settings, nullptr, nullptr, {}}).versionText(),
             u"Version 1.0.0"_s);
}

void TestSettingsModels::releaseNotesNewestFirst()
{
    const QList<ReleaseNote>& notes = ReleaseNotes::all();
    QVERIFY(notes.size() >= 2);
    QStringList versions;
    for (qsizetype i = 0; i < notes.size(); ++i) {
        versions << notes[i].version;
        QVERIFY2(!notes[i].notes.isEmpty() && !notes[i].date.isEmpty(),
                 qPrintable(notes[i].version));
        if (i > 0)
            QCOMPARE(Appcast::compareVersions(notes[i - 1].version, notes[i].version), 1);
    }
    // Whoever raises the version writes its notes.
    QVERIFY2(versions.contains(QStringLiteral(SCRIVLANE_VERSION)), qPrintable(versions.join(u',')));
    QVERIFY(notes[0].id != notes[1].id);
}

QTEST_GUILESS_MAIN(TestSettingsModels)
#include "tst_settingsmodels.moc"
