#include "app/SettingsWatcher.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

// The running app's settings object follows writes from other processes.
class TestSettingsWatcher : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void followsOtherWriters_data();
    void followsOtherWriters();
    void ownWritesAreKept();
};

void TestSettingsWatcher::followsOtherWriters_data()
{
    QTest::addColumn<int>("writes");
    QTest::addColumn<bool>("fileExistsFirst");
    QTest::newRow("one write") << 1 << true;
    QTest::newRow("the file created by the writer") << 1 << false;
    // Every 40 ms for two seconds: the change must be read while they go on.
    QTest::newRow("steady writes") << 50 << true;
}

void TestSettingsWatcher::followsOtherWriters()
{
    QFETCH(int, writes);
    QFETCH(bool, fileExistsFirst);
    QTemporaryDir dir;
    const QString path = dir.filePath(u"settings.ini"_s);
    if (fileExistsFirst)
        QSettings(path, QSettings::IniFormat).setValue(u"tw_expansionEnabled"_s, true);
    QSettings app(path, QSettings::IniFormat);
    SettingsWatcher watcher(app);
    QSignalSpy changed(&watcher, &SettingsWatcher::changed);

    int written = 0;
    QTimer writer;
    writer.setInterval(40);
    connect(&writer, &QTimer::timeout, this, [&] {
        QSettings other(path, QSettings::IniFormat);
        other.setValue(u"tw_expansionEnabled"_s, false);
        other.setValue(u"count"_s, ++written);
        if (written == writes)
            writer.stop();
    });
    writer.start();
    QVERIFY(changed.wait(1000));
    QCOMPARE(app.value(u"tw_expansionEnabled"_s).toBool(), false);
    QVERIFY(app.value(u"count"_s).toInt() >= 1);
    writer.stop();
}

// Re-reading merges: a value this process set and has not flushed yet survives.
void TestSettingsWatcher::ownWritesAreKept()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"settings.ini"_s);
    QSettings(path, QSettings::IniFormat).setValue(u"a"_s, 1);
    QSettings app(path, QSettings::IniFormat);
    SettingsWatcher watcher(app);
    QSignalSpy changed(&watcher, &SettingsWatcher::changed);
    app.setValue(u"mine"_s, u"kept"_s);
    QSettings(path, QSettings::IniFormat).setValue(u"theirs"_s, 2);
    QVERIFY(changed.wait(1000));
    QCOMPARE(app.value(u"mine"_s).toString(), u"kept"_s);
    QCOMPARE(app.value(u"theirs"_s).toInt(), 2);
    QCOMPARE(QSettings(path, QSettings::IniFormat).value(u"mine"_s).toString(), u"kept"_s);
}

QTEST_GUILESS_MAIN(TestSettingsWatcher)
#include "tst_settingswatcher.moc"
