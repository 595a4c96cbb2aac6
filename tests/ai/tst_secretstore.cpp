#include "platform/secrets/FileSecretStore.h"
#include "platform/secrets/KeychainSecretStore.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

int modeOf(const QString& path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return -1;
    return static_cast<int>(info.st_mode & 07777);
}

// Sets the umask for one scope: the store must not depend on the caller's.
class ScopedUmask {
public:
    explicit ScopedUmask(mode_t mask) : m_saved(::umask(mask)) {}
    ScopedUmask(const ScopedUmask&) = delete;
    ScopedUmask& operator=(const ScopedUmask&) = delete;
    ~ScopedUmask() { ::umask(m_saved); }

private:
    mode_t m_saved;
};

int secretsMessages = 0;
QtMessageHandler previousHandler = nullptr;

void countSecretsMessages(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (QByteArray(context.category) == "scrivlane.secrets")
        ++secretsMessages;
    previousHandler(type, context, text);
}

} // namespace

class TestSecretStore : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void fileModeAndContent_data();
    void fileModeAndContent();
    void lastSecretRemovedRemovesFile();
    void unreadableFileIsReplaced();
    void linkInTheFilesPlaceIsRefused();
    void callbacksComeLaterAndOnlyToLiveContexts();
    void keychainFallsBackToFile();

private:
    QTemporaryDir m_dir;
};

void TestSecretStore::initTestCase()
{
    QVERIFY(m_dir.isValid());
}

void TestSecretStore::fileModeAndContent_data()
{
    QTest::addColumn<int>("umask");
    QTest::addColumn<int>("existingMode"); // -1: no file before

    QTest::newRow("new file, permissive umask") << 0 << -1;
    QTest::newRow("new file, usual umask") << 022 << -1;
    QTest::newRow("file left readable by others") << 0 << 0644;
}

void TestSecretStore::fileModeAndContent()
{
    QFETCH(int, umask);
    QFETCH(int, existingMode);

    const ScopedUmask mask(static_cast<mode_t>(umask));
    QTemporaryDir dir;
    const QString path = dir.filePath(u"keys/secrets.json"_s);
    if (existingMode >= 0) {
        QVERIFY(!TestFiles::write(path, R"({"svc":{"old":"o"}})").isEmpty());
        QVERIFY(::chmod(QFile::encodeName(path).constData(), static_cast<mode_t>(existingMode)) ==
                0);
    }

    FileSecretStore store(path);
    QVERIFY(store.writeNow(u"svc"_s, u"a"_s, u"sk-ä1"_s));
    QVERIFY(store.writeNow(u"other"_s, u"a"_s, u"x"_s));
    QVERIFY(store.writeNow(u"svc"_s, u"a"_s, u"sk-ä2"_s));
    QCOMPARE(modeOf(path), 0600);
    if (existingMode < 0)
        QCOMPARE(modeOf(dir.filePath(u"keys"_s)), 0700); // a folder the store made itself
    const QByteArray expected = existingMode >= 0
                                    ? R"({"other":{"a":"x"},"svc":{"a":"sk-ä2","old":"o"}})"
                                    : R"({"other":{"a":"x"},"svc":{"a":"sk-ä2"}})";
    QCOMPARE(QJsonDocument::fromJson(TestFiles::read(path)).toJson(QJsonDocument::Compact),
             QByteArray(expected));
    QCOMPARE(store.readNow(u"svc"_s, u"a"_s), u"sk-ä2"_s);
    QCOMPARE(store.readNow(u"svc"_s, u"missing"_s), std::nullopt);
    // Nothing left behind by the atomic replacement.
    QCOMPARE(QDir(dir.filePath(u"keys"_s)).entryList(QDir::Files | QDir::Hidden),
             QStringList{u"secrets.json"_s});
}

void TestSecretStore::lastSecretRemovedRemovesFile()
{
    const QString path = m_dir.filePath(u"remove.json"_s);
    FileSecretStore store(path);
    QVERIFY(store.writeNow(u"svc"_s, u"a"_s, u"1"_s));
    QVERIFY(store.writeNow(u"svc"_s, u"b"_s, u"2"_s));
    QVERIFY(store.removeNow(u"svc"_s, u"a"_s));
    QCOMPARE(TestFiles::read(path), QByteArray(R"({"svc":{"b":"2"}})"));
    QVERIFY(store.removeNow(u"svc"_s, u"never"_s));
    QVERIFY(store.removeNow(u"svc"_s, u"b"_s));
    QVERIFY(!QFile::exists(path));
}

void TestSecretStore::unreadableFileIsReplaced()
{
    const QString path = m_dir.filePath(u"broken.json"_s);
    QVERIFY(!TestFiles::write(path, "{not json").isEmpty());
    FileSecretStore store(path);
    QCOMPARE(store.readNow(u"svc"_s, u"a"_s), std::nullopt);
    QVERIFY(store.writeNow(u"svc"_s, u"a"_s, u"1"_s));
    QCOMPARE(store.readNow(u"svc"_s, u"a"_s), u"1"_s);
    QCOMPARE(modeOf(path), 0600);
}

void TestSecretStore::linkInTheFilesPlaceIsRefused()
{
    const QString target = m_dir.filePath(u"planted.json"_s);
    QVERIFY(!TestFiles::write(target, R"({"svc":{"a":"attacker's key"}})").isEmpty());
    const QString path = m_dir.filePath(u"linked.json"_s);
    QVERIFY(QFile::link(target, path));

    FileSecretStore store(path);
    QCOMPARE(store.readNow(u"svc"_s, u"a"_s), std::nullopt);
    QVERIFY(!store.writeNow(u"svc"_s, u"a"_s, u"sk-mine"_s));
    QVERIFY(QFileInfo(path).isSymLink());
    QCOMPARE(TestFiles::read(target), QByteArray(R"({"svc":{"a":"attacker's key"}})"));
}

void TestSecretStore::callbacksComeLaterAndOnlyToLiveContexts()
{
    FileSecretStore store(m_dir.filePath(u"async.json"_s));
    QObject context;
    std::optional<QString> read;
    bool called = false;
    store.write(u"svc"_s, u"a"_s, u"v"_s, &context, [&called](bool ok) { called = ok; });
    store.read(u"svc"_s, u"a"_s, &context,
               [&read](const std::optional<QString>& s) { read = s.value_or(u"(none)"_s); });
    QVERIFY(!called); // never inside the caller's call
    QTRY_COMPARE(read, u"v"_s);
    QVERIFY(called);

    bool lateCall = false;
    {
        QObject gone;
        store.remove(u"svc"_s, u"a"_s, &gone, [&lateCall](bool) { lateCall = true; });
    }
    QTest::qWait(50);
    QVERIFY(!lateCall);
    QCOMPARE(store.readNow(u"svc"_s, u"a"_s), std::nullopt); // the work itself was done
}

void TestSecretStore::keychainFallsBackToFile()
{
    // No session bus: QtKeychain cannot reach a Secret Service.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    secretsMessages = 0;
    previousHandler = qInstallMessageHandler(countSecretsMessages);
    const auto restore = qScopeGuard([] { qInstallMessageHandler(previousHandler); });

    const QString path = m_dir.filePath(u"fallback/secrets.json"_s);
    KeychainSecretStore store(path, std::chrono::milliseconds(3000));
    QObject context;
    QStringList events;
    store.write(u"svc"_s, u"a"_s, u"k1"_s, &context,
                [&events](bool ok) { events.append(ok ? u"written"_s : u"write failed"_s); });
    store.read(u"svc"_s, u"a"_s, &context, [&events](const std::optional<QString>& s) {
        events.append(u"read "_s + s.value_or(u"(none)"_s));
    });
    store.remove(u"svc"_s, u"a"_s, &context,
                 [&events](bool ok) { events.append(ok ? u"removed"_s : u"remove failed"_s); });
    store.read(u"svc"_s, u"a"_s, &context, [&events](const std::optional<QString>& s) {
        events.append(u"read "_s + s.value_or(u"(none)"_s));
    });
    store.write(u"svc"_s, u"b"_s, u"k2"_s, &context,
                [&events](bool ok) { events.append(ok ? u"written"_s : u"write failed"_s); });
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), 5, 10000);

    QCOMPARE(events, (QStringList{u"written"_s, u"read k1"_s, u"removed"_s, u"read (none)"_s,
                                  u"written"_s}));
    QVERIFY(store.usingFallback());
    QCOMPARE(modeOf(path), 0600);
    QCOMPARE(TestFiles::read(path), QByteArray(R"({"svc":{"b":"k2"}})"));
    QCOMPARE(secretsMessages, 1);
}

QTEST_GUILESS_MAIN(TestSecretStore)
#include "tst_secretstore.moc"
