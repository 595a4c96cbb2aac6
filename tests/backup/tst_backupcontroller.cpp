#include "backup/BackupController.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"

#include <QDir>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <condition_variable>
#include <thread>

using namespace Qt::StringLiterals;

class TestBackupController : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<PersistenceController> m_store;
    QStringList m_applied;

    std::unique_ptr<BackupController> controller()
    {
        BackupController::Dependencies d;
        d.store = m_store.get();
        d.settings = m_settings.get();
        d.currentSettings = [] { return AppSettingsBackup{true, true, 0.5f, u"Pop"_s}; };
        d.settingsTarget = {[this](bool) { m_applied << u"expansion"_s; }, [](bool) {},
                            [](float) {}, [](const QString&) {},
                            [](const QString&, const QVariant&) {}};
        return std::make_unique<BackupController>(d);
    }
    QString folder(const QString& name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }

private Q_SLOTS:
    void init()
    {
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
        m_settings =
            std::make_unique<QSettings>(m_dir.filePath(u"defaults.ini"_s), QSettings::IniFormat);
        PersistenceController::Options options;
        options.databasePath = m_dir.filePath(u"lib.sqlite"_s);
        options.watchForExternalChanges = false;
        m_store = std::make_unique<PersistenceController>(options);
        m_store->insertSnippet(
            SnippetEntity::create(u"T"_s, u"sig"_s, nullptr, QDateTime::currentDateTimeUtc()));
        m_store->save();
        m_applied.clear();
    }
    void folderChoiceSurvivesButNotAMove();
    void restoreReportsItsLine();
    void destroyedWhileRunning_data();
    void destroyedWhileRunning();
};

void TestBackupController::folderChoiceSurvivesButNotAMove()
{
    auto c = controller();
    QVERIFY(c->backupFolder().isEmpty() && !c->lastBackupDate().isValid() && !c->canBackUp());
    QVERIFY(!c->chooseBackupFolder(m_dir.filePath(u"missing"_s)));
    const QString chosen = folder(u"backups"_s);
    QVERIFY(c->chooseBackupFolder(chosen));
    QCOMPARE(controller()->backupFolder(), chosen);

    // Replaced by another folder of the same name: stale, shown as not set, reference kept.
    folder(u"elsewhere"_s); // made while the first exists, so it cannot reuse its inode
    QVERIFY(QDir(chosen).removeRecursively());
    QVERIFY(QDir(m_dir.path()).rename(u"elsewhere"_s, u"backups"_s));
    auto again = controller();
    QVERIFY(again->backupFolder().isEmpty() && !again->canBackUp());
    again->performBackup();
    QVERIFY(!again->isBackingUp());
    QVERIFY(!m_settings->value(u"tw_backupFolderBookmark"_s).toByteArray().isEmpty());
}

void TestBackupController::restoreReportsItsLine()
{
    auto c = controller();
    QVERIFY(c->chooseBackupFolder(folder(u"backups"_s)));
    c->performBackup();
    QTRY_VERIFY(!c->isBackingUp());
    const QString file = QDir(c->backupFolder()).entryInfoList(QDir::Files).at(0).filePath();
    c->performRestore(file);
    QVERIFY(c->isRestoring());
    QTRY_VERIFY(!c->isRestoring());
    QCOMPARE(c->backupStatusMessage(), u"\u2713 1 already existed, settings restored"_s);
    QTRY_COMPARE(m_applied, QStringList{u"expansion"_s});

    c->performRestore(m_dir.filePath(u"nothing.json"_s));
    QTRY_VERIFY(!c->isRestoring());
    QVERIFY(c->backupStatusMessage().startsWith(u"Restore failed: "_s));
}

void TestBackupController::destroyedWhileRunning_data()
{
    QTest::addColumn<bool>("restore");
    QTest::newRow("backup") << false;
    QTest::newRow("restore") << true;
}

// Closing the settings or quitting in the middle of a backup must not hang the process. A
// watchdog ends the test with a message instead of leaving CTest to time out.
void TestBackupController::destroyedWhileRunning()
{
    QFETCH(bool, restore);
    for (int i = 0; i < 300; ++i)
        m_store->insertSnippet(SnippetEntity::create(u"T"_s, u"s%1"_s.arg(i), nullptr,
                                                     QDateTime::currentDateTimeUtc()));
    m_store->save();
    const QString backups = folder(u"backups"_s);
    QString file;
    {
        auto first = controller();
        QVERIFY(first->chooseBackupFolder(backups));
        first->performBackup();
        QTRY_VERIFY(!first->isBackingUp());
        file = QDir(backups).entryInfoList(QDir::Files).at(0).filePath();
    }

    std::mutex lock;
    std::condition_variable finished;
    bool done = false;
    std::thread watchdog([&] {
        std::unique_lock guard(lock);
        if (!finished.wait_for(guard, std::chrono::seconds(20), [&] { return done; }))
            qFatal("BackupController did not come back from its destructor");
    });
    for (int round = 0; round < 25; ++round) {
        auto c = controller();
        if (restore)
            c->performRestore(file);
        else
            c->performBackup();
        QVERIFY(restore ? c->isRestoring() : c->isBackingUp());
        if (round % 2)
            QCoreApplication::processEvents(); // sometimes the worker has begun
        c.reset();
    }
    {
        std::lock_guard guard(lock);
        done = true;
    }
    finished.notify_one();
    watchdog.join();
    // Results posted by the cancelled workers find no controller: nothing happens.
    QTest::qWait(50);
    QCOMPARE(m_store->fetchAllSnippets().size(), 301);
}

QTEST_GUILESS_MAIN(TestBackupController)
#include "tst_backupcontroller.moc"
