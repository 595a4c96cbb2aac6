#include "platform/desktop/InstallLocation.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// A stand-in AppImage: a small executable in a folder of the test's.
class TestInstallLocation : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_home;
    QString standIn(const QString& folder)
    {
        QDir().mkpath(folder);
        const QString path = QDir(folder).filePath(u"ScrivLane-x86_64.AppImage"_s);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write("#!/bin/sh\nexit 0\n") < 0)
            return {};
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    QString applications() const { return m_home.filePath(u"Applications"_s); }

private Q_SLOTS:
    void offeredOnlyOutsideApplications();
    void movesReplacesAndRelaunches();
    void failureKeepsTheRunningCopy();
};

void TestInstallLocation::offeredOnlyOutsideApplications()
{
    const QString downloaded = standIn(m_home.filePath(u"Downloads"_s));
    QCOMPARE(InstallLocation::misplacedAppImage(downloaded, applications()),
             std::optional(downloaded));
    QCOMPARE(InstallLocation::misplacedAppImage(QString(), applications()), std::nullopt);
    QCOMPARE(InstallLocation::misplacedAppImage(standIn(applications()), applications()),
             std::nullopt);
    // Reached through a link to the folder, it is still in place.
    QFile::link(applications(), m_home.filePath(u"apps"_s));
    QCOMPARE(InstallLocation::misplacedAppImage(
                 m_home.filePath(u"apps/ScrivLane-x86_64.AppImage"_s), applications()),
             std::nullopt);
}

void TestInstallLocation::movesReplacesAndRelaunches()
{
    const QString target = standIn(applications()); // an older copy is replaced
    QFile old(target);
    QVERIFY(old.open(QIODevice::WriteOnly | QIODevice::Truncate) && old.write("old") > 0);
    old.close();
    const QString downloaded = standIn(m_home.filePath(u"Downloads"_s));
    QString started;
    const auto outcome = InstallLocation::moveToApplications(downloaded, applications(),
                                                             [&](const QString& program) {
                                                                 started = program;
                                                                 return true;
                                                             });
    QCOMPARE(outcome.error, QString());
    QCOMPARE(outcome.movedTo, target);
    QCOMPARE(started, target);
    QFile moved(target);
    QVERIFY(moved.open(QIODevice::ReadOnly));
    QCOMPARE(moved.readAll(), QByteArray("#!/bin/sh\nexit 0\n"));
    QVERIFY(moved.permissions() & QFile::ExeOwner);
    QVERIFY(!QFile::exists(downloaded));
    QVERIFY(!QFile::exists(target + u".part"_s));
}

void TestInstallLocation::failureKeepsTheRunningCopy()
{
    const QString downloaded = standIn(m_home.filePath(u"Downloads2"_s));
    // A file where the folder should be: nothing can go there.
    const QString blocked = m_home.filePath(u"blocked"_s);
    QFile file(blocked);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    bool started = false;
    const auto outcome = InstallLocation::moveToApplications(downloaded, blocked, [&](auto) {
        started = true;
        return true;
    });
    QVERIFY(outcome.movedTo.isEmpty());
    QVERIFY(!outcome.error.isEmpty());
    QVERIFY(!started);
    QVERIFY(QFile::exists(downloaded));

    // The relaunch refused: the moved copy stays, and so does the running one.
    const auto refused =
        InstallLocation::moveToApplications(downloaded, applications(), [](auto) { return false; });
    QVERIFY(refused.movedTo.isEmpty());
    QVERIFY(QFile::exists(downloaded));
}

QTEST_GUILESS_MAIN(TestInstallLocation)
#include "tst_installlocation.moc"
