#include "common/AppPaths.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
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

// Sets an environment variable, or removes it for an empty value, for as long as it lives.
class Environment {
public:
    Environment(const char* name, const QByteArray& value)
        : m_name(name), m_had(qEnvironmentVariableIsSet(name)), m_saved(qgetenv(name))
    {
        if (value.isEmpty())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    ~Environment()
    {
        if (m_had)
            qputenv(m_name, m_saved);
        else
            qunsetenv(m_name);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    const char* m_name;
    bool m_had;
    QByteArray m_saved;
};

} // namespace

class TestAppPaths : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init() { m_umask = ::umask(0); } // the widest: nothing may rely on the umask
    void cleanup() { ::umask(m_umask); }

    void homeMovesEverything();
    void foldersArePrivate();
    void prepareMakesEverythingPrivate();
    void prepareRefusesSettingsThatAreNotAFile_data();
    void prepareRefusesSettingsThatAreNotAFile();
    void runtimeFolder_data();
    void runtimeFolder();

private:
    mode_t m_umask = 022;
};

void TestAppPaths::homeMovesEverything()
{
    QTemporaryDir home;
    {
        const Environment env("SCRIVLANE_HOME", home.path().toUtf8());
        QCOMPARE(AppPaths::dataDir(), home.filePath(QStringLiteral("data")));
        QCOMPARE(AppPaths::configDir(), home.filePath(QStringLiteral("config")));
        QVERIFY(AppPaths::userDefaultsFile().startsWith(AppPaths::configDir()));
        QVERIFY(AppPaths::userDefaultsFile().startsWith(home.path()));
    }
    const Environment env("SCRIVLANE_HOME", {});
    QVERIFY(AppPaths::dataDir().endsWith(QStringLiteral("/ScrivLane")));
    QVERIFY(!AppPaths::dataDir().startsWith(home.path()));
}

void TestAppPaths::foldersArePrivate()
{
    QTemporaryDir root;
    const QString nested = root.filePath(QStringLiteral("a/b"));
    QVERIFY(!AppPaths::makePrivateDir(nested));
    QCOMPARE(modeOf(nested), mode_t(0700));
    QVERIFY(!AppPaths::makePrivateDir(nested)); // again: already there

    // One that some other program made readable to all is closed again.
    QVERIFY(QFile::setPermissions(nested, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                              QFile::ReadOther | QFile::ExeOther));
    QVERIFY(!AppPaths::makePrivateDir(nested));
    QCOMPARE(modeOf(nested), mode_t(0700));
    // One the user made read-only stays so.
    QVERIFY(QFile::setPermissions(nested, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther));
    QVERIFY(!AppPaths::makePrivateDir(nested));
    QCOMPARE(modeOf(nested), mode_t(0500));

    QFile file(root.filePath(u"file"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const std::optional<QString> error = AppPaths::makePrivateDir(file.fileName());
    QVERIFY(error && error->contains(u"is not a folder"_s));
}

void TestAppPaths::prepareMakesEverythingPrivate()
{
    QTemporaryDir home;
    const Environment env("SCRIVLANE_HOME", home.path().toUtf8());
    QVERIFY(!AppPaths::prepare());
    QCOMPARE(modeOf(AppPaths::dataDir()), mode_t(0700));
    QCOMPARE(modeOf(AppPaths::configDir()), mode_t(0700));
    QCOMPARE(modeOf(AppPaths::userDefaultsFile()), mode_t(0600));

    // QSettings keeps the mode of the file it replaces.
    {
        QSettings settings(AppPaths::userDefaultsFile(), QSettings::IniFormat);
        settings.setValue(u"tw_soundEnabled"_s, false);
    }
    QCOMPARE(modeOf(AppPaths::userDefaultsFile()), mode_t(0600));

    QVERIFY(QFile::setPermissions(AppPaths::userDefaultsFile(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    QVERIFY(!AppPaths::prepare());
    QCOMPARE(modeOf(AppPaths::userDefaultsFile()), mode_t(0600));
    QCOMPARE(QSettings(AppPaths::userDefaultsFile(), QSettings::IniFormat)
                 .value(u"tw_soundEnabled"_s)
                 .toBool(),
             false);
    // Read-only by the user's choice: it stays so.
    QVERIFY(QFile::setPermissions(AppPaths::userDefaultsFile(), QFile::ReadOwner));
    QVERIFY(!AppPaths::prepare());
    QCOMPARE(modeOf(AppPaths::userDefaultsFile()), mode_t(0400));
}

void TestAppPaths::prepareRefusesSettingsThatAreNotAFile_data()
{
    QTest::addColumn<QString>("planted");
    QTest::addColumn<QString>("error");
    QTest::newRow("link") << u"link"_s << u"is a symbolic link"_s;
    QTest::newRow("dangling link") << u"dangling link"_s << u"is a symbolic link"_s;
    QTest::newRow("fifo") << u"fifo"_s << u"is not a regular file"_s;
}

void TestAppPaths::prepareRefusesSettingsThatAreNotAFile()
{
    QFETCH(QString, planted);
    QFETCH(QString, error);
    QTemporaryDir home;
    const Environment env("SCRIVLANE_HOME", home.path().toUtf8());
    QVERIFY(QDir().mkpath(AppPaths::configDir()));
    const QString target = home.filePath(u"elsewhere.ini"_s);
    if (planted == u"link") {
        QFile file(target);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    if (planted == u"fifo")
        QCOMPARE(::mkfifo(QFile::encodeName(AppPaths::userDefaultsFile()).constData(), 0600), 0);
    else
        QVERIFY(QFile::link(target, AppPaths::userDefaultsFile()));

    const std::optional<QString> refused = AppPaths::prepare();
    QVERIFY(refused);
    QVERIFY2(refused->contains(AppPaths::userDefaultsFile()) && refused->contains(error),
             qPrintable(*refused));
    if (planted == u"dangling link")
        QVERIFY(!QFileInfo::exists(target));
}

// Where the socket and the locks go: "session" is a private $XDG_RUNTIME_DIR, "open session"
// one that others may enter, "planted" a private one where something not a folder already
// sits at our name.
void TestAppPaths::runtimeFolder_data()
{
    QTest::addColumn<QString>("session");
    QTest::addColumn<bool>("inSession");
    QTest::newRow("private session folder") << u"session"_s << true;
    QTest::newRow("no session folder") << u"none"_s << false;
    QTest::newRow("session folder open to others") << u"open session"_s << false;
    QTest::newRow("a link at our name") << u"planted"_s << false;
}

void TestAppPaths::runtimeFolder()
{
    QFETCH(QString, session);
    QFETCH(bool, inSession);
    QTemporaryDir home;
    QTemporaryDir runtime;
    const Environment homeEnv("SCRIVLANE_HOME", home.path().toUtf8());
    const Environment runtimeEnv("XDG_RUNTIME_DIR",
                                 session == u"none" ? QByteArray() : runtime.path().toUtf8());
    if (session == u"open session")
        QVERIFY(QFile::setPermissions(runtime.path(), QFile::ReadOwner | QFile::WriteOwner |
                                                          QFile::ExeOwner | QFile::ReadOther |
                                                          QFile::ExeOther));
    if (session == u"planted")
        QVERIFY(QFile::link(home.path(), runtime.filePath(u"scrivlane"_s)));

    QString error;
    const QString folder = AppPaths::runtimeDir(&error);
    QVERIFY2(!folder.isEmpty(), qPrintable(error));
    QCOMPARE(folder, inSession ? runtime.filePath(u"scrivlane"_s)
                               : QDir(AppPaths::dataDir()).absoluteFilePath(u"run"_s));
    QCOMPARE(modeOf(folder), mode_t(0700));
    QCOMPARE(modeOf(AppPaths::dataDir()), inSession ? mode_t(0) : mode_t(0700));

    const QString lock = AppPaths::lockFileFor(home.filePath(u"Sync/prefs.json"_s));
    QCOMPARE(QFileInfo(lock).absolutePath(), folder);
    QVERIFY(QFileInfo(lock).fileName().startsWith(u"prefs.json-"_s));
    QVERIFY(lock != AppPaths::lockFileFor(home.filePath(u"Other/prefs.json"_s)));
}

QTEST_GUILESS_MAIN(TestAppPaths)
#include "tst_apppaths.moc"
