#include "common/AppPaths.h"

#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

class TestAppPaths : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void homeMovesEverything();
    void ensureDirIsPrivate();
};

void TestAppPaths::homeMovesEverything()
{
    QTemporaryDir home;
    qputenv("SCRIVLANE_HOME", home.path().toUtf8());
    QCOMPARE(AppPaths::dataDir(), home.filePath(QStringLiteral("data")));
    QCOMPARE(AppPaths::configDir(), home.filePath(QStringLiteral("config")));
    QVERIFY(AppPaths::userDefaultsFile().startsWith(AppPaths::configDir()));
    QVERIFY(AppPaths::userDefaultsFile().startsWith(home.path()));

    qunsetenv("SCRIVLANE_HOME");
    QVERIFY(AppPaths::dataDir().endsWith(QStringLiteral("/ScrivLane")));
    QVERIFY(!AppPaths::dataDir().startsWith(home.path()));
}

void TestAppPaths::ensureDirIsPrivate()
{
    QTemporaryDir root;
    const QString nested = root.filePath(QStringLiteral("a/b"));
    QVERIFY(AppPaths::ensureDir(nested));
    QCOMPARE(QFileInfo(nested).permissions() & (QFile::ReadGroup | QFile::ReadOther), 0);
    QVERIFY(AppPaths::ensureDir(nested)); // again: already there
}

QTEST_GUILESS_MAIN(TestAppPaths)
#include "tst_apppaths.moc"
