#include "support/CommandRun.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

mode_t modeOf(const QString& path)
{
    struct stat st {};
    ::lstat(QFile::encodeName(path).constData(), &st);
    return st.st_mode & 07777;
}

} // namespace

// What the commands leave on disk, run as a user would with the loosest umask: nobody else may
// read the library or the settings, whichever command comes first.
class TestPrivateFiles : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_home;
    mode_t m_umask = 022;

    CommandRun scrivlane(const QStringList& arguments, const QByteArray& input = {}) const
    {
        QProcessEnvironment env = homeEnvironment(m_home->path());
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        env.remove(u"XDG_RUNTIME_DIR"_s);
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, env, input);
    }

private Q_SLOTS:
    void initTestCase() { m_umask = ::umask(0); } // children inherit it
    void cleanupTestCase() { ::umask(m_umask); }
    void init() { m_home = std::make_unique<QTemporaryDir>(); }

    void firstCommandLeavesEverythingPrivate_data();
    void firstCommandLeavesEverythingPrivate();
    void linkedSettingsAreRefused();
};

void TestPrivateFiles::firstCommandLeavesEverythingPrivate_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("sound import") << QStringList{u"sound"_s, u"import"_s, u"@/in/tone.wav"_s};
    QTest::newRow("snippet add") << QStringList{u"snippet"_s, u"add"_s,    u"--abbreviation"_s,
                                                u"sig"_s,     u"--text"_s, u"Best"_s};
    QTest::newRow("config set") << QStringList{u"config"_s, u"set"_s, u"tw_soundEnabled"_s,
                                               u"false"_s};
    QTest::newRow("backup export") << QStringList{u"backup"_s, u"export"_s, u"@/out"_s};
    QTest::newRow("sound list") << QStringList{u"sound"_s, u"list"_s};
}

void TestPrivateFiles::firstCommandLeavesEverythingPrivate()
{
    QFETCH(QStringList, arguments);
    TestFiles::write(m_home->filePath(u"in/tone.wav"_s), TestFiles::tinyWav);
    QVERIFY(QDir().mkpath(m_home->filePath(u"out"_s)));
    for (QString& argument : arguments)
        argument.replace(u"@"_s, m_home->path());

    const CommandRun run = scrivlane(arguments);
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    // The library too, as the next command opens it.
    QVERIFY2(scrivlane({u"snippet"_s, u"list"_s}).exitCode == 0, "snippet list");

    for (const QString& top : {u"data"_s, u"config"_s, u"out"_s}) {
        QDirIterator it(m_home->filePath(top),
                        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        const QString root = m_home->filePath(top);
        if (top != u"out")
            QCOMPARE(modeOf(root), mode_t(0700));
        while (it.hasNext()) {
            const QString path = it.next();
            const mode_t expected = it.fileInfo().isDir() ? 0700 : 0600;
            QVERIFY2(modeOf(path) == expected,
                     qPrintable(path + u" has mode "_s + QString::number(modeOf(path), 8)));
        }
    }
    QVERIFY(QFileInfo::exists(m_home->filePath(u"data/ScrivLane.sqlite"_s)));
}

// A settings file that is a link is the user's to fix; writing through it could land anywhere.
void TestPrivateFiles::linkedSettingsAreRefused()
{
    const QString target =
        TestFiles::write(m_home->filePath(u"elsewhere.ini"_s), "[General]\ntw_soundEnabled=true\n");
    QVERIFY(QDir().mkpath(m_home->filePath(u"config"_s)));
    QVERIFY(QFile::link(target, m_home->filePath(u"config/settings.ini"_s)));

    const CommandRun run = scrivlane({u"config"_s, u"set"_s, u"tw_soundEnabled"_s, u"false"_s});
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(u"settings.ini is a symbolic link"_s), qPrintable(run.err));
    QCOMPARE(TestFiles::read(target), "[General]\ntw_soundEnabled=true\n");
    QVERIFY(QFileInfo(m_home->filePath(u"config/settings.ini"_s)).isSymLink());
}

QTEST_GUILESS_MAIN(TestPrivateFiles)
#include "tst_privatefiles.moc"
