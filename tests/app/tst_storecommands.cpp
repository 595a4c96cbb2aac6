#include "library/PersistenceController.h"
#include "platform/sqlite/SqliteDatabase.h"
#include "support/CommandRun.h"
#include "support/MissingTool.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// The library commands, run as a user would: the real executable on a store in a temporary
// SCRIVLANE_HOME.
class TestStoreCommands : public QObject {
    Q_OBJECT
private:
    using Run = CommandRun;
    std::unique_ptr<QTemporaryDir> m_home;

    Run scrivlane(const QStringList& arguments)
    {
        return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments,
                          homeEnvironment(m_home->path()));
    }
    QString ok(const QStringList& arguments)
    {
        const Run run = scrivlane(arguments);
        if (run.exitCode != 0)
            qWarning() << arguments << run.err;
        return run.exitCode == 0 ? run.out.trimmed() : QString();
    }
    QJsonArray list(const QStringList& arguments)
    {
        return QJsonDocument::fromJson(ok(arguments).toUtf8()).array();
    }

private Q_SLOTS:
    void init() { m_home = std::make_unique<QTemporaryDir>(); }
    void snippetsAndCategories();
    void conflicts();
    void badInputChangesNothing_data();
    void badInputChangesNothing();
    void unreadableLibrary();
    void writableAgainAfterReadOnlyUse();
    void fullDisk_data();
    void fullDisk();
    void parallelCategoriesTakeTheirOwnPlaces();
};

void TestStoreCommands::snippetsAndCategories()
{
    const QString work = ok({u"category"_s, u"add"_s, u"Work"_s, u"--color"_s, u"#e74c3c"_s});
    QVERIFY(!QUuid::fromString(work).isNull());
    QCOMPARE(work, work.toUpper());
    const QString sig = ok({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u" sig\t"_s, u"--title"_s,
                            u"Sig"_s, u"--text"_s, u"Best, Zoë"_s, u"--category"_s, u"Work"_s});
    QVERIFY(!sig.isEmpty());
    QVERIFY(!ok({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"x"_s, u"--category"_s, u"New"_s})
                 .isEmpty());

    const QJsonArray snippets = list({u"snippet"_s, u"list"_s});
    QCOMPARE(snippets.size(), 2);
    const QJsonObject first = snippets.at(1).toObject(); // oldest last
    QCOMPARE(first[u"id"_s].toString(), sig);
    QCOMPARE(first[u"abbreviation"_s].toString(), u"sig"_s);
    QCOMPARE(first[u"expandedText"_s].toString(), u"Best, Zoë"_s);
    QCOMPARE(first[u"categoryName"_s].toString(), u"Work"_s);
    QCOMPARE(first[u"isRichText"_s].toBool(true), false);
    QVERIFY(first[u"createdAt"_s].toString().endsWith(u'Z'));
    QVERIFY(!first.contains(u"trashedAt"_s));

    const QJsonArray categories = list({u"category"_s, u"list"_s});
    QCOMPARE(categories.size(), 2);
    QCOMPARE(categories.at(0)[u"colorHex"_s].toString(), u"#E74C3C"_s);
    QCOMPARE(categories.at(1)[u"name"_s].toString(), u"New"_s);
    QCOMPARE(categories.at(1)[u"colorHex"_s].toString(), u"#4A90D9"_s);
    QCOMPARE(categories.at(1)[u"sortOrder"_s].toInt(), 2);
    QCOMPARE(categories.at(0)[u"activeSnippetCount"_s].toInt(), 1);

    // A rich snippet from an RTF file keeps the document and its plain characters.
    QFile rtf(m_home->filePath(u"rich.rtf"_s));
    QVERIFY(rtf.open(QIODevice::WriteOnly));
    rtf.write("{\\rtf1\\ansi {\\b Bold} and \\u233?t\\u233?}");
    rtf.close();
    QVERIFY(
        !ok({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"rt"_s, u"--rtf-file"_s, rtf.fileName()})
             .isEmpty());
    const QJsonObject rich = list({u"snippet"_s, u"list"_s}).at(0).toObject();
    QCOMPARE(rich[u"expandedText"_s].toString(), u"Bold and été"_s);
    QCOMPARE(rich[u"isRichText"_s].toBool(), true);
    QCOMPARE(scrivlane({u"snippet"_s, u"delete"_s, rich[u"id"_s].toString()}).exitCode, 0);

    QCOMPARE(scrivlane({u"snippet"_s, u"trash"_s, sig}).exitCode, 0);
    const QJsonArray trashed = list({u"snippet"_s, u"list"_s, u"--trashed"_s});
    QCOMPARE(trashed.size(), 1);
    QCOMPARE(trashed.at(0)[u"daysRemaining"_s].toInt(), 30);
    QCOMPARE(list({u"snippet"_s, u"list"_s, u"--all"_s}).size(), 2);
    QCOMPARE(scrivlane({u"snippet"_s, u"restore"_s, sig}).exitCode, 0);
    QCOMPARE(list({u"snippet"_s, u"list"_s}).size(), 2);

    QCOMPARE(scrivlane({u"category"_s, u"trash"_s, work}).exitCode, 0);
    QCOMPARE(list({u"category"_s, u"list"_s, u"--trashed"_s}).size(), 1);
    QCOMPARE(list({u"snippet"_s, u"list"_s, u"--trashed"_s}).size(), 1);
    QCOMPARE(scrivlane({u"category"_s, u"delete"_s, work}).exitCode, 0);
    QCOMPARE(list({u"snippet"_s, u"list"_s, u"--all"_s}).size(), 1);
    QCOMPARE(scrivlane({u"purge"_s}).exitCode, 0);
}

void TestStoreCommands::conflicts()
{
    const QString id =
        ok({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"mre"_s, u"--title"_s, u"My reply"_s});
    QCOMPARE(ok({u"conflicts"_s, u" mre "_s}), u"Already used by \"My reply\""_s);
    QCOMPARE(ok({u"conflicts"_s, u"mrex"_s}),
             u"Conflicts with \"mre\" \u2014 one will always expand first"_s);
    QCOMPARE(ok({u"conflicts"_s, u"mre"_s, u"--excluding"_s, id}), QString());
    QCOMPARE(ok({u"conflicts"_s, u"MRE"_s}), QString());
}

void TestStoreCommands::badInputChangesNothing_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QString unknown = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QTest::newRow("unknown id") << QStringList{u"snippet"_s, u"trash"_s, unknown};
    QTest::newRow("one unknown among known")
        << QStringList{u"snippet"_s, u"delete"_s, u"KNOWN"_s, unknown};
    QTest::newRow("not an id") << QStringList{u"category"_s, u"trash"_s, u"work"_s};
    QTest::newRow("bad colour") << QStringList{u"category"_s, u"add"_s, u"C"_s, u"--color"_s,
                                               u"red"_s};
    QTest::newRow("short colour") << QStringList{u"category"_s, u"add"_s, u"C"_s, u"--color"_s,
                                                 u"#12345"_s};
    QTest::newRow("blank abbreviation")
        << QStringList{u"snippet"_s, u"add"_s, u"--abbreviation"_s, u" "_s};
    QTest::newRow("no abbreviation") << QStringList{u"snippet"_s, u"add"_s, u"--text"_s, u"x"_s};
    QTest::newRow("unknown action") << QStringList{u"snippet"_s, u"frob"_s};
    QTest::newRow("missing name") << QStringList{u"category"_s, u"add"_s};
    QTest::newRow("empty name") << QStringList{u"category"_s, u"add"_s, QString()};
    QTest::newRow("name of spaces") << QStringList{u"category"_s, u"add"_s, u" \t "_s};
    QTest::newRow("text and rtf") << QStringList{
        u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"a"_s,
        u"--text"_s,  u"x"_s,   u"--rtf-file"_s,     u"/dev/null"_s};
    QTest::newRow("not rtf") << QStringList{u"snippet"_s, u"add"_s,        u"--abbreviation"_s,
                                            u"a"_s,       u"--rtf-file"_s, u"/etc/passwd"_s};
    QTest::newRow("two list filters")
        << QStringList{u"snippet"_s, u"list"_s, u"--all"_s, u"--trashed"_s};
}

void TestStoreCommands::badInputChangesNothing()
{
    QFETCH(QStringList, arguments);
    const QString known = ok({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"keep"_s});
    arguments.replaceInStrings(u"KNOWN"_s, known);
    const QString before =
        ok({u"snippet"_s, u"list"_s, u"--all"_s}) + ok({u"category"_s, u"list"_s});
    const Run run = scrivlane(arguments);
    QCOMPARE(run.exitCode, 2);
    QVERIFY(!run.err.isEmpty());
    QCOMPARE(ok({u"snippet"_s, u"list"_s, u"--all"_s}) + ok({u"category"_s, u"list"_s}), before);
}

void TestStoreCommands::unreadableLibrary()
{
    QDir(m_home->path()).mkpath(u"data"_s);
    QFile file(m_home->filePath(u"data/ScrivLane.sqlite"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(2048, 'z'));
    file.close();
    const Run run = scrivlane({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"a"_s});
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.err.contains(u"not a database"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray(2048, 'z'));
}

// Read while it was read-only, the library leaves SQLite's -wal and -shm read-only behind;
// once the user makes it writable again, saves must work. Modes mean nothing to root, so root
// runs the commands as nobody, from a copy of the program that nobody can reach.
void TestStoreCommands::writableAgainAfterReadOnlyUse()
{
    QString program = QStringLiteral(SCRIVLANE_EXECUTABLE);
    QStringList prefix;
    if (::geteuid() == 0) {
        const passwd* nobody = ::getpwnam("nobody");
        if (!nobody || QStandardPaths::findExecutable(u"setpriv"_s).isEmpty())
            SKIP_FOR_MISSING_TOOL("needs setpriv and the user nobody to test file modes as root");
        QCOMPARE(
            ::chown(QFile::encodeName(m_home->path()).constData(), nobody->pw_uid, nobody->pw_gid),
            0);
        const QString copy = m_home->filePath(u"scrivlane"_s);
        QVERIFY(QFile::copy(program, copy));
        prefix = {u"--reuid=%1"_s.arg(nobody->pw_uid), u"--regid=%1"_s.arg(nobody->pw_gid),
                  u"--clear-groups"_s, u"--"_s, copy};
        program = u"setpriv"_s;
    }
    QProcessEnvironment env = homeEnvironment(m_home->path());
    env.insert(u"HOME"_s, m_home->path());
    const auto run = [&](const QStringList& arguments) {
        return runCommand(program, prefix + arguments, env);
    };
    const auto count = [&] {
        return QJsonDocument::fromJson(run({u"snippet"_s, u"list"_s}).out.toUtf8()).array().size();
    };
    const QByteArray library = QFile::encodeName(m_home->filePath(u"data/ScrivLane.sqlite"_s));
    const auto mode = [](const QByteArray& path) {
        struct stat st {};
        return ::stat(path.constData(), &st) == 0 ? st.st_mode & 07777 : 0;
    };

    const CommandRun first = run({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"kept"_s});
    QVERIFY2(first.exitCode == 0, qPrintable(first.err));
    QCOMPARE(::chmod(library.constData(), 0400), 0);
    QCOMPARE(count(), 1);
    const CommandRun refused = run({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"no"_s});
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(refused.err.contains(u"cannot be written: the file is read-only"_s),
             qPrintable(refused.err));
    QCOMPARE(mode(library), 0400u); // the user's choice stands
    QCOMPARE(mode(library + "-shm"), 0400u);

    QCOMPARE(::chmod(library.constData(), 0600), 0);
    const CommandRun saved = run({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"after"_s});
    QVERIFY2(saved.exitCode == 0, qPrintable(saved.err));
    QCOMPARE(count(), 2);
}

void TestStoreCommands::fullDisk_data()
{
    QTest::addColumn<QStringList>("save");
    QTest::addColumn<bool>("appRunning"); // another process has the library open meanwhile
    for (const bool running : {false, true}) {
        const char* with = running ? " while the app runs" : "";
        QTest::addRow("snippet add%s", with)
            << QStringList{u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"new"_s} << running;
        QTest::addRow("snippet trash%s", with)
            << QStringList{u"snippet"_s, u"trash"_s, u"KNOWN"_s} << running;
        QTest::addRow("category add%s", with)
            << QStringList{u"category"_s, u"add"_s, u"New"_s} << running;
    }
}

// On a full disk the library can still be listed and exported to another disk; a save fails
// with one line and leaves the file as it was. The disk is made full for the command alone by a
// preloaded library (a real full filesystem needs a mount, which CI containers may not allow).
void TestStoreCommands::fullDisk()
{
    QFETCH(QStringList, save);
    QFETCH(bool, appRunning);
    const QString known =
        ok({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"keep"_s, u"--category"_s, u"Work"_s});
    save.replaceInStrings(u"KNOWN"_s, known);
    const QString path = m_home->filePath(u"data/ScrivLane.sqlite"_s);
    std::unique_ptr<PersistenceController> app;
    if (appRunning) {
        PersistenceController::Options options;
        options.databasePath = path;
        options.watchForExternalChanges = false;
        app = std::make_unique<PersistenceController>(std::move(options));
    }
    // While the app runs, this one is only in the write-ahead log.
    QVERIFY(!ok({u"snippet"_s, u"add"_s, u"--abbreviation"_s, u"recent"_s}).isEmpty());
    const QString before =
        ok({u"snippet"_s, u"list"_s, u"--all"_s}) + ok({u"category"_s, u"list"_s});

    QProcessEnvironment env = homeEnvironment(m_home->path());
    env.insert(u"LD_PRELOAD"_s, QStringLiteral(FULL_DISK_PRELOAD));
    env.insert(u"FULL_DISK_FOLDER"_s, QFileInfo(path).canonicalPath());
    const auto onFullDisk = [&](const QStringList& arguments) {
        CommandRun run = runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, env);
        run.out = run.out.trimmed();
        return run;
    };
    const CommandRun snippets = onFullDisk({u"snippet"_s, u"list"_s, u"--all"_s});
    const CommandRun categories = onFullDisk({u"category"_s, u"list"_s});
    QVERIFY2(snippets.exitCode == 0 && categories.exitCode == 0,
             qPrintable(snippets.err + categories.err));
    QCOMPARE(snippets.out + categories.out, before);
    QTemporaryDir elsewhere;
    const CommandRun exported = onFullDisk({u"backup"_s, u"export"_s, elsewhere.path()});
    QVERIFY2(exported.exitCode == 0, qPrintable(exported.err));
    QFile backup(exported.out);
    QVERIFY(backup.open(QIODevice::ReadOnly));
    QCOMPARE(QJsonDocument::fromJson(backup.readAll())[u"snippets"_s].toArray().size(), 2);

    const CommandRun saved = onFullDisk(save);
    QCOMPARE(saved.exitCode, 1);
    QVERIFY2(saved.err.startsWith(u"scrivlane: "_s) && saved.err.count(u'\n') == 1 &&
                 (saved.err.contains(u"No space left on device"_s) ||
                  saved.err.contains(u"disk is full"_s)),
             qPrintable(saved.err));
    app.reset();
    QCOMPARE(ok({u"snippet"_s, u"list"_s, u"--all"_s}) + ok({u"category"_s, u"list"_s}), before);
    SqliteDatabase db;
    QVERIFY(db.open(path, false));
    std::optional<SqliteStatement> check = db.prepare(u"PRAGMA integrity_check"_s);
    QVERIFY(check && check->step() == SqliteStatement::Step::Row);
    QCOMPARE(check->text(0), u"ok"_s);
}

// Each process counts the categories it has read; the later writer must not take the same place.
void TestStoreCommands::parallelCategoriesTakeTheirOwnPlaces()
{
    ok({u"category"_s, u"add"_s, u"first"_s});
    constexpr int count = 6;
    std::vector<std::unique_ptr<QProcess>> adds;
    for (int i = 0; i < count; ++i) {
        auto add = std::make_unique<QProcess>();
        add->setProcessEnvironment(homeEnvironment(m_home->path()));
        add->start(QStringLiteral(SCRIVLANE_EXECUTABLE),
                   {u"category"_s, u"add"_s, u"c"_s + QString::number(i)});
        adds.push_back(std::move(add));
    }
    for (auto& add : adds) {
        QVERIFY(add->waitForFinished(30000));
        QCOMPARE(add->exitCode(), 0);
    }
    const QJsonArray categories =
        QJsonDocument::fromJson(ok({u"category"_s, u"list"_s}).toUtf8()).array();
    QCOMPARE(categories.size(), count + 1);
    QSet<qint64> places;
    for (const QJsonValue& c : categories)
        places.insert(c.toObject().value(u"sortOrder"_s).toInteger());
    QCOMPARE(places.size(), count + 1);
}

QTEST_GUILESS_MAIN(TestStoreCommands)
#include "tst_storecommands.moc"
