#include "common/SafeFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void put(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

mode_t modeOf(const QString& path)
{
    struct stat st {};
    ::lstat(QFile::encodeName(path).constData(), &st);
    return st.st_mode & 07777;
}

// Sets the umask for as long as it lives.
class Umask {
public:
    explicit Umask(mode_t mask) : m_saved(::umask(mask)) {}
    ~Umask() { ::umask(m_saved); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_saved;
};

} // namespace

class TestSafeFile : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void refusesWhatIsNotOurs_data();
    void refusesWhatIsNotOurs();
    void replacesOurFilePrivately_data();
    void replacesOurFilePrivately();
    void cancelledOrFailedWritesLeaveNothing();
    void writesIntoALinkedFolder();
    void readsOnlyRegularFiles_data();
    void readsOnlyRegularFiles();
};

// What sits at the destination: "link" to a file outside, "dangling link", "folder", "fifo",
// "foreign" (a file of another user's).
void TestSafeFile::refusesWhatIsNotOurs_data()
{
    QTest::addColumn<QString>("planted");
    QTest::addColumn<QString>("error");
    QTest::newRow("link to a file") << u"link"_s << u"is a symbolic link"_s;
    QTest::newRow("dangling link") << u"dangling link"_s << u"is a symbolic link"_s;
    QTest::newRow("folder") << u"folder"_s << u"is not a regular file"_s;
    QTest::newRow("fifo") << u"fifo"_s << u"is not a regular file"_s;
    QTest::newRow("another user's file") << u"foreign"_s << u"belongs to another user"_s;
}

void TestSafeFile::refusesWhatIsNotOurs()
{
    QFETCH(QString, planted);
    QFETCH(QString, error);
    QTemporaryDir shared;
    QTemporaryDir elsewhere;
    const QString destination = shared.filePath(u"ScrivLane-Backup.json"_s);
    const QString target = elsewhere.filePath(u"victim"_s);
    uid_t owner = ::geteuid();
    if (planted == u"link") {
        put(target, "precious");
        QVERIFY(QFile::link(target, destination));
    } else if (planted == u"dangling link") {
        QVERIFY(QFile::link(target, destination));
    } else if (planted == u"folder") {
        QVERIFY(QDir().mkdir(destination));
    } else if (planted == u"fifo") {
        QCOMPARE(::mkfifo(QFile::encodeName(destination).constData(), 0600), 0);
    } else {
        put(destination, "theirs");
        owner = ::geteuid() + 1; // the file is ours; to the writer it is somebody else's
    }
    const QStringList before =
        QDir(shared.path())
            .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);

    const std::optional<QString> refused = SafeFile::writeFile(destination, "library", owner);
    QVERIFY(refused);
    QVERIFY2(refused->contains(destination) && refused->contains(error), qPrintable(*refused));
    QCOMPARE(SafeFile::refusal(destination, owner).has_value(), true);

    // Nothing changed: no file through the link, no leftovers beside it.
    QCOMPARE(QDir(shared.path())
                 .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot),
             before);
    if (planted == u"link") {
        QCOMPARE(contents(target), "precious");
        QVERIFY(QFileInfo(destination).isSymLink());
    }
    if (planted == u"dangling link")
        QVERIFY(!QFileInfo::exists(target));
    if (planted == u"foreign")
        QCOMPARE(contents(destination), "theirs");
}

void TestSafeFile::replacesOurFilePrivately_data()
{
    QTest::addColumn<bool>("existing");
    QTest::addColumn<int>("mask");
    QTest::newRow("new file, umask 0") << false << 0;
    QTest::newRow("new file, umask 077") << false << 077;
    QTest::newRow("our 0644 file, umask 022") << true << 022;
}

void TestSafeFile::replacesOurFilePrivately()
{
    QFETCH(bool, existing);
    QFETCH(int, mask);
    QTemporaryDir dir;
    const QString destination = dir.filePath(u"file.json"_s);
    ino_t oldInode = 0;
    if (existing) {
        put(destination, "old");
        QVERIFY(QFile::setPermissions(destination, QFile::ReadOwner | QFile::WriteOwner |
                                                       QFile::ReadGroup | QFile::ReadOther));
        struct stat st {};
        ::stat(QFile::encodeName(destination).constData(), &st);
        oldInode = st.st_ino;
    }
    {
        const Umask umask(static_cast<mode_t>(mask));
        const std::optional<QString> error = SafeFile::writeFile(destination, "new");
        QVERIFY2(!error, qPrintable(error.value_or(QString())));
    }
    QCOMPARE(contents(destination), "new");
    QCOMPARE(modeOf(destination), mode_t(0600));
    if (existing) {
        struct stat st {};
        ::stat(QFile::encodeName(destination).constData(), &st);
        QVERIFY(st.st_ino != oldInode); // replaced in one rename, never rewritten in place
    }
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{u"file.json"_s});
}

void TestSafeFile::cancelledOrFailedWritesLeaveNothing()
{
    QTemporaryDir dir;
    const QString destination = dir.filePath(u"file.json"_s);
    put(destination, "old");
    const auto entries = [&] {
        return QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    };
    {
        SafeFile file(destination);
        QVERIFY(file.open());
        QVERIFY(file.write("half"));
        QCOMPARE(entries().size(), 2);
        file.cancel();
        QCOMPARE(entries(), QStringList{u"file.json"_s});
    }
    {
        SafeFile file(destination);
        QVERIFY(file.open());
        QVERIFY(file.write("abandoned"));
    } // destroyed without a commit
    QCOMPARE(entries(), QStringList{u"file.json"_s});
    QCOMPARE(contents(destination), "old");

    // A link planted while the file was being written is still refused at the rename.
    QTemporaryDir elsewhere;
    const QString target = elsewhere.filePath(u"victim"_s);
    put(target, "precious");
    SafeFile file(destination);
    QVERIFY(file.open());
    QVERIFY(file.write("new"));
    QVERIFY(QFile::remove(destination));
    QVERIFY(QFile::link(target, destination));
    QVERIFY(!file.commit());
    QVERIFY(file.errorString().contains(u"symbolic link"_s));
    QCOMPARE(contents(target), "precious");
    QVERIFY(QFileInfo(destination).isSymLink());
    QCOMPARE(entries(), QStringList{u"file.json"_s});

    const std::optional<QString> missingFolder =
        SafeFile::writeFile(dir.filePath(u"nowhere/file.json"_s), "x");
    QVERIFY(missingFolder && missingFolder->contains(u"does not exist"_s));
}

// A folder the user reached through a link of their own is fine; the file is written in the
// folder the link leads to.
void TestSafeFile::writesIntoALinkedFolder()
{
    QTemporaryDir dir;
    const QString real = dir.filePath(u"real"_s);
    QVERIFY(QDir().mkdir(real));
    QVERIFY(QFile::link(real, dir.filePath(u"linked"_s)));
    QVERIFY(!SafeFile::writeFile(dir.filePath(u"linked/file.json"_s), "data"));
    QCOMPARE(contents(dir.filePath(u"real/file.json"_s)), "data");
}

void TestSafeFile::readsOnlyRegularFiles_data()
{
    QTest::addColumn<QString>("planted");
    QTest::addColumn<QString>("error"); // empty: read
    QTest::newRow("regular") << u"regular"_s << QString();
    QTest::newRow("link to a file") << u"link"_s << u"is a symbolic link"_s;
    QTest::newRow("fifo, nobody writing") << u"fifo"_s << u"is not a regular file"_s;
    QTest::newRow("folder") << u"folder"_s << u"is not a regular file"_s;
    QTest::newRow("missing") << u"missing"_s << u"No such file"_s;
}

void TestSafeFile::readsOnlyRegularFiles()
{
    QFETCH(QString, planted);
    QFETCH(QString, error);
    QTemporaryDir dir;
    const QString path = dir.filePath(u"shared.json"_s);
    const QString target = dir.filePath(u"target"_s);
    put(target, "secret");
    if (planted == u"regular")
        put(path, "shared");
    else if (planted == u"link")
        QVERIFY(QFile::link(target, path));
    else if (planted == u"fifo")
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    else if (planted == u"folder")
        QVERIFY(QDir().mkdir(path));

    const std::variant<QByteArray, QString> read = SafeFile::readFile(path);
    if (error.isEmpty()) {
        QCOMPARE(std::get<QByteArray>(read), "shared");
    } else {
        QVERIFY(std::holds_alternative<QString>(read));
        QVERIFY2(std::get<QString>(read).contains(error), qPrintable(std::get<QString>(read)));
    }
    QCOMPARE(SafeFile::isMissing(path), planted == u"missing");
}

QTEST_GUILESS_MAIN(TestSafeFile)
#include "tst_safefile.moc"
