#include "backup/BackupCodec.h"
#include "backup/BackupService.h"
#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QVariant>
#include <limits>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {
const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'740'821'400, Qt::UTC); // 2025-03-01 09:30
QUuid uuid(int n)
{
    return QUuid(uint(n), 0x1234, 0xabcd, 1, 2, 3, 4, 5, 6, 7, 8);
}
} // namespace

using SettingsCalls = QStringList;
Q_DECLARE_METATYPE(AppSettingsBackup)

class TestBackupService : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    std::unique_ptr<PersistenceController> m_store;
    SettingsCalls m_calls;

    void freshStore()
    {
        m_store.reset();
        QFile::remove(m_dir.filePath(u"lib.sqlite"_s));
        PersistenceController::Options options;
        options.databasePath = m_dir.filePath(u"lib.sqlite"_s);
        options.watchForExternalChanges = false;
        options.clock = [] { return t0; };
        m_store = std::make_unique<PersistenceController>(options);
    }
    SnippetEntity* add(const QString& abbreviation, CategoryEntity* category = nullptr, int id = 0)
    {
        SnippetEntity* s =
            m_store->insertSnippet(SnippetEntity::create(u"T"_s, abbreviation, category, t0));
        if (id)
            s->setId(uuid(id));
        s->setExpandedText(abbreviation + u" text"_s);
        return s;
    }
    QString writeFile(const QByteArray& bytes)
    {
        return TestFiles::write(m_dir.filePath(u"in.json"_s), bytes);
    }
    BackupService::SettingsTarget recorder()
    {
        const auto note = [this](const QString& what) { m_calls << what; };
        return {[=](bool v) { note(u"expansion="_s + (v ? u"1"_s : u"0"_s)); },
                [=](bool v) { note(u"sound="_s + (v ? u"1"_s : u"0"_s)); },
                [=](float v) { note(u"volume="_s + QString::number(v)); },
                [=](const QString& v) { note(u"selected="_s + v); },
                [=](const QString& k, const QVariant& v) {
                    note(u"push "_s + k + u'=' + v.toString());
                }};
    }

private Q_SLOTS:
    void init()
    {
        freshStore();
        m_calls.clear();
    }
    void exportMatchesGoldenFile();
    void exportIsAtomicAndDaily();
    void exportIntoASharedFolder_data();
    void exportIntoASharedFolder();
    void decodeFailures_data();
    void decodeFailures();
    void settingsOfTheWrongKindReadAsDefaults_data();
    void settingsOfTheWrongKindReadAsDefaults();
    void encodedVolumeIsAlwaysValid_data();
    void encodedVolumeIsAlwaysValid();
    void restore_data();
    void restore();
    void restoreLeavesLibraryAloneOnBadFile();
    void applySettings_data();
    void applySettings();
};

void TestBackupService::exportMatchesGoldenFile()
{
    CategoryEntity* work = m_store->createCategory(u"Work"_s, u"#E74C3C"_s);
    work->setId(uuid(100));
    SnippetEntity* rich = add(u"sig"_s, work, 1);
    rich->setTitle(u"Signature \"formal\" / Grüße"_s);
    rich->setExpandedText(u"Best,\n\tZoë 👍🏽"_s);
    rich->setExpandedTextRTF(QByteArray("\xff\xfe{\\rtf1}", 9)); // Base64 with a slash
    rich->setRichText(true);
    rich->setUpdatedAt(t0.addMSecs(1500)); // written as whole seconds
    SnippetEntity* code = add(u"cl"_s, nullptr, 2);
    code->setCodeSnippet(true);
    code->setCodeLanguage(u"swift"_s);
    code->setCreatedAt(t0.addSecs(-60));
    code->setTitle(std::nullopt);
    add(u"gone"_s, nullptr, 3)->setTrashedAt(t0.addSecs(-86400));
    CategoryEntity* old = m_store->createCategory(u"Old"_s, u"#2ECC71"_s);
    old->setId(uuid(101));
    old->setTrashedAt(t0.addSecs(-3600));
    m_store->save();

    const BackupService::ExportOutcome outcome =
        BackupService::exportBackup(m_dir.path(), *m_store, {true, false, 0.8f, u"custom"_s}, t0);
    QVERIFY2(outcome.error.isNull(), qPrintable(outcome.error));
    QCOMPARE(QFileInfo(outcome.filePath).fileName(),
             u"ScrivLane-Backup-"_s + t0.toLocalTime().toString(u"yyyy-MM-dd"_s) + u".json"_s);
    QFile written(outcome.filePath);
    QVERIFY(written.open(QIODevice::ReadOnly));
    const QByteArray bytes = written.readAll();
    QFile golden(QStringLiteral(BACKUP_TEST_DATA "/golden-backup.json"));
    QVERIFY(golden.open(QIODevice::ReadOnly));
    QCOMPARE(bytes, golden.readAll().replace(SCRIVLANE_VERSION_PLACEHOLDER, SCRIVLANE_VERSION));

    // And it reads back to the same records, dates cut to whole seconds.
    const auto decoded = BackupCodec::decode(bytes);
    QVERIFY(std::holds_alternative<BackupFile>(decoded));
    const BackupFile file = std::get<BackupFile>(decoded);
    QCOMPARE(file.snippets.size(), 3);
    QCOMPARE(file.snippets.at(0).updatedAt, std::optional(t0.addSecs(1)));
    QCOMPARE(file.snippets.at(0).title, rich->title());
    QCOMPARE(QByteArray::fromBase64(file.snippets.at(0).expandedTextRTFBase64->toLatin1()),
             *rich->expandedTextRTF());
    QCOMPARE(file.settings->selectedSound, u"Basso"_s);
    QCOMPARE(BackupCodec::encode(file), bytes);
}

void TestBackupService::exportIsAtomicAndDaily()
{
    add(u"one"_s);
    m_store->save();
    const AppSettingsBackup settings;
    const auto first = BackupService::exportBackup(m_dir.path(), *m_store, settings, t0);
    add(u"two"_s);
    m_store->save();
    const auto second =
        BackupService::exportBackup(m_dir.path(), *m_store, settings, t0.addSecs(60));
    QCOMPARE(second.filePath, first.filePath); // same day: the later backup replaces it
    QFile file(second.filePath);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(std::get<BackupFile>(BackupCodec::decode(file.readAll())).snippets.size(), 2);

    QDir readOnly(m_dir.filePath(u"ro"_s));
    QVERIFY(readOnly.mkpath(u"."_s));
    QFile::setPermissions(readOnly.path(), QFile::ReadOwner | QFile::ExeOwner);
    const auto denied = BackupService::exportBackup(readOnly.path(), *m_store, settings, t0);
    QFile::setPermissions(readOnly.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (getuid() != 0) { // root writes anywhere
        QVERIFY(!denied.error.isEmpty());
        QVERIFY(readOnly.entryList(QDir::Files | QDir::Hidden).isEmpty());
    }
}

// A folder like /tmp, where anyone may create the day's name first: "link" leads to a file of
// the user's elsewhere, "dangling link" to where the attacker would read it.
void TestBackupService::exportIntoASharedFolder_data()
{
    QTest::addColumn<QString>("planted");
    QTest::newRow("nothing planted") << QString();
    QTest::newRow("link to the user's file") << u"link"_s;
    QTest::newRow("dangling link") << u"dangling link"_s;
}

void TestBackupService::exportIntoASharedFolder()
{
    QFETCH(QString, planted);
    add(u"one"_s);
    m_store->save();
    QTemporaryDir shared;
    QCOMPARE(::chmod(QFile::encodeName(shared.path()).constData(), 01777), 0);
    QTemporaryDir elsewhere;
    const QString target = elsewhere.filePath(u"thesis.txt"_s);
    const QString daily = shared.filePath(BackupService::fileName(t0));
    if (planted == u"link") {
        QFile file(target);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("chapter one");
    }
    if (!planted.isEmpty())
        QVERIFY(QFile::link(target, daily));

    const mode_t umask = ::umask(022);
    const auto outcome = BackupService::exportBackup(shared.path(), *m_store, {}, t0);
    ::umask(umask);

    if (planted.isEmpty()) {
        QCOMPARE(outcome.filePath, daily);
        struct stat st {};
        QCOMPARE(::stat(QFile::encodeName(daily).constData(), &st), 0);
        QCOMPARE(st.st_mode & 0777, 0600u); // the whole library: for the user's eyes only
        return;
    }
    QVERIFY(outcome.filePath.isEmpty());
    QVERIFY2(outcome.error.contains(u"symbolic link"_s), qPrintable(outcome.error));
    QVERIFY(QFileInfo(daily).isSymLink());
    QCOMPARE(QDir(shared.path())
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList{QFileInfo(daily).fileName()});
    if (planted == u"link") {
        QFile file(target);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), "chapter one");
    } else {
        QVERIFY(!QFileInfo::exists(target));
    }
}

void TestBackupService::decodeFailures_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("mentions");
    const QByteArray snippet = R"({"id":"A","isRichText":false,"isCodeSnippet":false})";
    const auto file = [](const QByteArray& snippets, const QByteArray& extra = {}) -> QByteArray {
        return R"({"exportedAt":"2025-03-01T09:30:00Z","appVersion":"1.0","snippets":[)" +
               snippets + "]" + extra + "}";
    };
    QTest::newRow("not json") << QByteArray("{nope") << u"not valid JSON"_s;
    QTest::newRow("no exportedAt")
        << QByteArray(R"({"appVersion":"1","snippets":[]})") << u"\"exportedAt\""_s;
    QTest::newRow("fractional date") << file("").replace(":00Z", ":00.250Z") << u"\"exportedAt\""_s;
    QTest::newRow("no snippets") << QByteArray(
                                        R"({"exportedAt":"2025-03-01T09:30:00Z","appVersion":"1"})")
                                 << u"\"snippets\""_s;
    QTest::newRow("snippet without isRichText")
        << file(snippet + R"(,{"id":"B","isCodeSnippet":true})")
        << u"\"isRichText\" in snippets[1]"_s;
    QTest::newRow("snippet without id")
        << file(R"({"isRichText":false,"isCodeSnippet":false})") << u"\"id\" in snippets[0]"_s;
    QTest::newRow("flag of wrong type")
        << file(R"({"id":"A","isRichText":"yes","isCodeSnippet":false})")
        << u"\"isRichText\" must be"_s;
    QTest::newRow("bad snippet date")
        << file(R"({"id":"A","isRichText":false,"isCodeSnippet":false,"trashedAt":"yesterday"})")
        << u"\"trashedAt\" is not a date"_s;
    QTest::newRow("settings incomplete")
        << file(snippet,
                R"(,"settings":{"expansionEnabled":true,"soundEnabled":true,"soundVolume":1})")
        << u"\"selectedSound\" in settings"_s;
    QTest::newRow("category without id") << file("", R"(,"trashedCategories":[{"name":"x"}])")
                                         << u"\"id\" in trashedCategories[0]"_s;
}

void TestBackupService::decodeFailures()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, mentions);
    const auto decoded = BackupCodec::decode(json);
    QVERIFY(std::holds_alternative<QString>(decoded));
    QVERIFY2(std::get<QString>(decoded).contains(mentions), qPrintable(std::get<QString>(decoded)));
}

void TestBackupService::settingsOfTheWrongKindReadAsDefaults_data()
{
    QTest::addColumn<QByteArray>("settings");
    QTest::addColumn<AppSettingsBackup>("expected");
    // Valid switches and sound, then the volume as given.
    const auto volume = [](const QByteArray& v) {
        return R"("expansionEnabled":false,"soundEnabled":false,"selectedSound":"Pop","soundVolume":)" +
               v;
    };
    const AppSettingsBackup usual{false, false, 0.8f, u"Pop"_s};
    // clang-format off
    QTest::newRow("all valid") << volume("0.3") << AppSettingsBackup{false, false, 0.3f, u"Pop"_s};
    QTest::newRow("volume a word") << volume(R"("loud")") << usual;
    QTest::newRow("volume above 1") << volume("5") << usual;
    QTest::newRow("volume beyond float") << volume("1e39") << usual;
    QTest::newRow("switches as words, sound a number") << QByteArray(R"("expansionEnabled":"false","soundEnabled":0,"soundVolume":0.3,"selectedSound":7)") << AppSettingsBackup{true, true, 0.3f, u"Tink"_s};
    // clang-format on
}

// The snippets are what a backup is for: a setting it cannot take reads as the default, as
// it would from settings.ini, and the restore goes on.
void TestBackupService::settingsOfTheWrongKindReadAsDefaults()
{
    QFETCH(QByteArray, settings);
    QFETCH(AppSettingsBackup, expected);
    const QByteArray json = R"({"exportedAt":"2025-03-01T09:30:00Z","appVersion":"1.0",)"
                            R"("snippets":[],"settings":{)" +
                            settings + "}}";
    const auto decoded = BackupCodec::decode(json);
    if (const auto* error = std::get_if<QString>(&decoded))
        QFAIL(qPrintable(*error));
    QCOMPARE(std::get<BackupFile>(decoded).settings, std::optional(expected));
}

void TestBackupService::encodedVolumeIsAlwaysValid_data()
{
    QTest::addColumn<float>("volume");
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("shortest form") << 0.3f << QByteArray("0.3");
    QTest::newRow("infinite") << std::numeric_limits<float>::infinity() << QByteArray("0.8");
    QTest::newRow("nan") << std::numeric_limits<float>::quiet_NaN() << QByteArray("0.8");
    QTest::newRow("above 1") << 5.0f << QByteArray("0.8");
}

// Whatever the caller hands over, the file is JSON that restores.
void TestBackupService::encodedVolumeIsAlwaysValid()
{
    QFETCH(float, volume);
    QFETCH(QByteArray, written);
    BackupFile file{t0, u"1.0"_s, {}, QList<CategoryBackup>{}, AppSettingsBackup{}};
    file.settings->soundVolume = volume;
    const QByteArray bytes = BackupCodec::encode(file);
    QVERIFY2(bytes.contains(QByteArray("\"soundVolume\" : " + written + "\n")), bytes.constData());
    const auto decoded = BackupCodec::decode(bytes);
    if (const auto* error = std::get_if<QString>(&decoded))
        QFAIL(qPrintable(*error));
}

// A library holds snippets 1 and 2 (2 trashed) and categories "Work" (live) and "Old"
// (trashed); each row restores a file into it.
void TestBackupService::restore_data()
{
    QTest::addColumn<QByteArray>("body"); // the file, after exportedAt and appVersion
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("expected"); // snippet abbreviation -> category name, trash

    const QString one = uuid(1).toString(QUuid::WithoutBraces).toUpper();
    const QByteArray existing =
        R"({"id":")" + one.toLatin1() + R"(","isRichText":false,"isCodeSnippet":false})";
    const QByteArray settings =
        R"("settings":{"expansionEnabled":false,"soundEnabled":true,"soundVolume":0.5,"selectedSound":"Pop"})";
    QTest::newRow("all exist, with settings")
        << QByteArray(R"("snippets":[)" + existing + "]," + settings)
        << u"✓ 1 already existed, settings restored"_s << QStringList{};
    QTest::newRow("nothing at all")
        << QByteArray(R"("snippets":[])") << u"✓ Nothing new to restore"_s << QStringList{};
    QTest::newRow("lower-case id is new")
        << QByteArray(R"("snippets":[{"id":")" + one.toLower().toLatin1() +
                      R"(","abbreviation":" x ","isRichText":false,"isCodeSnippet":false}])")
        << u"✓ 1 snippet added"_s << QStringList{u" x |-|live"_s};
    QTest::newRow("category found by name, even trashed")
        << QByteArray(
               R"("snippets":[{"id":"N1","abbreviation":"a","categoryName":"Old","isRichText":false,"isCodeSnippet":false},)"
               R"({"id":"N2","abbreviation":"b","categoryName":"Work","isRichText":true,"isCodeSnippet":false,"expandedTextRTFBase64":"e1xydGYxfQ=="}])")
        << u"✓ 2 snippets added"_s << QStringList{u"a|Old|live"_s, u"b|Work|live"_s};
    QTest::newRow("trashed snippet brings its category trashed")
        << QByteArray(
               R"("snippets":[{"id":"N1","abbreviation":"t","categoryName":"New","categoryColorHex":"#1ABC9C",)"
               R"("trashedAt":"2025-02-20T08:00:00Z","isRichText":false,"isCodeSnippet":false}])")
        << u"✓ 1 snippet added"_s
        << QStringList{u"t|New#1ABC9C@2025-02-20T08:00:00Z|2025-02-20T08:00:00Z"_s};
    QTest::newRow("unknown trashed category")
        << QByteArray(
               R"("snippets":[],"trashedCategories":[{"id":"C9","trashedAt":"2025-02-01T00:00:00Z"},)"
               R"({"id":")" +
               uuid(100).toString(QUuid::WithoutBraces).toUpper().toLatin1() +
               R"(","name":"Work"}])")
        << u"✓ Nothing new to restore"_s
        << QStringList{u"category Untitled#4A90D9@2025-02-01T00:00:00Z"_s};
}

void TestBackupService::restore()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    CategoryEntity* work = m_store->createCategory(u"Work"_s, u"#4A90D9"_s);
    work->setId(uuid(100));
    CategoryEntity* old = m_store->createCategory(u"Old"_s, u"#4A90D9"_s);
    old->setTrashedAt(t0);
    add(u"s1"_s, work, 1);
    add(u"s2"_s, nullptr, 2)->setTrashedAt(t0);
    m_store->save();
    const int categoriesBefore =
        int(m_store
                ->fetchCategories(PersistenceController::Filter::all,
                                  PersistenceController::CategoryOrder::sortOrderAscending)
                .size());

    bool applied = false;
    const auto result = BackupService::restoreBackup(
        writeFile(R"({"exportedAt":"2025-03-01T09:30:00Z","appVersion":"1.0",)" + body + "}"),
        *m_store, [&](const AppSettingsBackup&) { applied = true; });
    QVERIFY(std::holds_alternative<RestoreResult>(result));
    QCOMPARE(BackupService::resultLine(std::get<RestoreResult>(result)), line);
    QVERIFY(!applied); // settings come after the restore returned
    QTRY_COMPARE(applied, std::get<RestoreResult>(result).settingsRestored);

    QStringList got;
    for (const SnippetEntity* s : m_store->fetchAllSnippets()) {
        if (s->id() == uuid(1) || s->id() == uuid(2))
            continue;
        QVERIFY(s->id() && s->createdAt() == t0 ? true : s->createdAt() > t0);
        const CategoryEntity* c = s->category();
        QString category = c ? *c->name() : u"-"_s;
        if (c && c != work && c != old)
            category += *c->colorHex() + u'@' +
                        BackupCodec::formatDate(c->trashedAt().value_or(QDateTime()));
        got << *s->abbreviation() + u'|' + category + u'|' +
                   (s->trashedAt() ? BackupCodec::formatDate(*s->trashedAt()) : u"live"_s);
    }
    for (const CategoryEntity* c :
         m_store
             ->fetchCategories(PersistenceController::Filter::all,
                               PersistenceController::CategoryOrder::sortOrderAscending)
             .mid(categoriesBefore))
        if (c->snippets().isEmpty())
            got << u"category "_s + *c->name() + *c->colorHex() + u'@' +
                       BackupCodec::formatDate(*c->trashedAt());
    QCOMPARE(got, expected);
    QVERIFY(!m_store->hasChanges());
}

void TestBackupService::restoreLeavesLibraryAloneOnBadFile()
{
    add(u"keep"_s);
    m_store->save();
    const auto result = BackupService::restoreBackup(
        writeFile(R"({"exportedAt":"2025-03-01T09:30:00.5Z","appVersion":"1","snippets":[]})"),
        *m_store, [](const AppSettingsBackup&) {});
    QVERIFY(std::holds_alternative<QString>(result));
    QVERIFY(BackupService::failureLine(std::get<QString>(result))
                .startsWith(u"Restore failed: \"exportedAt\""_s));
    QCOMPARE(m_store->fetchAllSnippets().size(), 1);
    const auto missing = BackupService::restoreBackup(m_dir.filePath(u"absent.json"_s), *m_store,
                                                      [](const AppSettingsBackup&) {});
    QVERIFY(std::holds_alternative<QString>(missing));
}

void TestBackupService::applySettings_data()
{
    QTest::addColumn<QString>("sound");
    QTest::addColumn<QStringList>("calls");
    QTest::newRow("named sound") << u"Pop"_s
                                 << QStringList{u"expansion=0"_s,
                                                u"sound=1"_s,
                                                u"volume=0.25"_s,
                                                u"selected=Pop"_s,
                                                u"push expansionEnabled=false"_s,
                                                u"push soundEnabled=true"_s,
                                                u"push soundVolume=0.25"_s,
                                                u"push selectedSound=Pop"_s};
    QTest::newRow("custom stays as it is") << u"custom"_s
                                           << QStringList{u"expansion=0"_s,
                                                          u"sound=1"_s,
                                                          u"volume=0.25"_s,
                                                          u"push expansionEnabled=false"_s,
                                                          u"push soundEnabled=true"_s,
                                                          u"push soundVolume=0.25"_s};
}

void TestBackupService::applySettings()
{
    QFETCH(QString, sound);
    QFETCH(QStringList, calls);
    BackupService::applySettings({false, true, 0.25f, sound}, recorder());
    QCOMPARE(m_calls, calls);
}

QTEST_GUILESS_MAIN(TestBackupService)
#include "tst_backupservice.moc"
