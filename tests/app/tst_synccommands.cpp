#include "support/CommandRun.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

CommandRun scrivlane(const QString& home, const QStringList& arguments)
{
    return runCommand(QStringLiteral(SCRIVLANE_EXECUTABLE), arguments, homeEnvironment(home));
}

// A file-sync tool at its worst: it copies one file at a time, in any order, sometimes
// only the first part of it, and sometimes keeps both versions as a conflict copy. Like the
// real ones, it never sends a file back to the computer that writes it.
class SyncTool {
public:
    SyncTool(QStringList folders, quint32 seed) : m_folders(std::move(folders)), m_random(seed) {}

    // One random delivery.
    void deliverOne()
    {
        const qsizetype from = m_random.bounded(m_folders.size());
        const qsizetype to = m_random.bounded(m_folders.size());
        const QStringList files = libraryFiles(from);
        if (from == to || files.isEmpty())
            return;
        const QString name = files.at(m_random.bounded(files.size()));
        // Only the computer that writes a file changes it; the tool never sends it back.
        if (isOwnedBy(to, name))
            return;
        const QByteArray bytes = TestFiles::read(library(from) + name);
        const QByteArray there = TestFiles::read(library(to) + name);
        switch (m_random.bounded(6)) {
        case 0: // torn
            TestFiles::write(library(to) + name, bytes.left(m_random.bounded(bytes.size() + 1)));
            break;
        case 1: // both versions kept
            if (!there.isEmpty() && there != bytes) {
                const qsizetype dot = name.lastIndexOf(u'.');
                TestFiles::write(
                    library(to) + name.left(dot) +
                        u".sync-conflict-20261123-1015%1-ABCDEFG"_s.arg(m_random.bounded(10, 99)) +
                        name.mid(dot),
                    bytes);
                break;
            }
            [[fallthrough]];
        default:
            TestFiles::write(library(to) + name, bytes);
        }
    }

    // Everything, whole, everywhere: what the tool reaches once the computers are online.
    void settle()
    {
        for (qsizetype from = 0; from < m_folders.size(); ++from)
            for (const QString& name : libraryFiles(from))
                for (qsizetype to = 0; to < m_folders.size(); ++to)
                    if (to != from && !name.contains(u"sync-conflict"_s) && isOwnedBy(from, name)) {
                        TestFiles::write(library(to) + name, TestFiles::read(library(from) + name));
                    }
    }

    void setOwner(qsizetype folder, const QString& device) { m_owners[folder] = device; }

private:
    QString library(qsizetype i) const { return m_folders.at(i) + u"/Library/"_s; }
    QStringList libraryFiles(qsizetype i) const
    {
        return QDir(library(i)).entryList(QDir::Files, QDir::Name);
    }
    // A computer's own files are the originals; the copies it received may be torn.
    bool isOwnedBy(qsizetype folder, const QString& name) const
    {
        return name.startsWith(m_owners.value(folder) + u'.');
    }

    QStringList m_folders;
    QRandomGenerator m_random;
    QHash<qsizetype, QString> m_owners;
};

} // namespace

class TestSyncCommands : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_root = std::make_unique<QTemporaryDir>(); }

    void statusAndErrors()
    {
        const QString home = m_root->filePath(u"home"_s);
        CommandRun run = scrivlane(home, {u"sync"_s, u"status"_s});
        QCOMPARE(run.exitCode, 0);
        QJsonObject status = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(status.value(u"enabled"_s), QJsonValue(false));
        run = scrivlane(home, {u"sync"_s, u"now"_s});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(u"sync is off"_s), qPrintable(run.err));

        // A folder on a drive that is not mounted: an error, and nothing made in its place.
        const QString drive = m_root->filePath(u"media/usb/Sync"_s);
        enable(home, drive);
        run = scrivlane(home, {u"sync"_s, u"now"_s});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(u"is missing"_s), qPrintable(run.err));
        QVERIFY(!QFileInfo::exists(drive));
        status = QJsonDocument::fromJson(scrivlane(home, {u"sync"_s, u"status"_s}).out.toUtf8())
                     .object();
        QVERIFY(status.value(u"error"_s).toString().contains(u"is missing"_s));

        QVERIFY(QDir().mkpath(drive));
        run = scrivlane(home, {u"sync"_s, u"now"_s});
        QCOMPARE(run.exitCode, 0);
        status = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(status.value(u"enabled"_s), QJsonValue(true));
        QCOMPARE(status.value(u"folder"_s).toString(), drive);
        QVERIFY(!status.contains(u"error"_s));
        QVERIFY(!status.value(u"lastSyncDate"_s).toString().isEmpty());
        QCOMPARE(status.value(u"syncing"_s), QJsonValue(false));
    }

    // Three computers change one library at random while a sync tool delivers their files
    // late, torn, out of order and as conflict copies. Once everything is delivered, all
    // three hold the same library.
    void threeHomesConverge_data()
    {
        QTest::addColumn<quint32>("seed");
        for (const quint32 seed : {11u, 23u, 2026u})
            QTest::addRow("seed %u", seed) << seed;
    }
    void threeHomesConverge()
    {
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        QStringList homes;
        QStringList folders;
        for (int i = 0; i < 3; ++i) {
            homes << m_root->filePath(u"home%1"_s.arg(i));
            folders << m_root->filePath(u"sync%1"_s.arg(i));
            QVERIFY(QDir().mkpath(folders.last()));
            enable(homes.last(), folders.last());
        }
        SyncTool tool(folders, seed);
        for (int i = 0; i < 3; ++i) {
            const CommandRun run = scrivlane(homes[i], {u"sync"_s, u"now"_s});
            QCOMPARE(run.exitCode, 0);
            tool.setOwner(
                i,
                QJsonDocument::fromJson(run.out.toUtf8()).object().value(u"device"_s).toString());
        }

        for (int step = 0; step < 40; ++step) {
            const QString home = homes.at(random.bounded(3));
            const QStringList ids = snippetIds(home);
            const QString id = ids.isEmpty() ? QString() : ids.at(random.bounded(ids.size()));
            const QString category = u"Cat%1"_s.arg(random.bounded(3));
            QStringList command;
            switch (ids.isEmpty() ? 0 : random.bounded(8)) {
            case 0:
                command = {u"snippet"_s,       u"add"_s,    u"--abbreviation"_s,
                           u"s%1"_s.arg(step), u"--text"_s, u"text %1"_s.arg(step)};
                break;
            case 1:
                command = {u"snippet"_s, u"edit"_s, id, u"--title"_s, u"t%1"_s.arg(step)};
                break;
            case 2:
                command = {u"snippet"_s, u"edit"_s, id, u"--category"_s, category};
                break;
            case 3:
                command = {u"snippet"_s, u"edit"_s, id, u"--no-category"_s};
                break;
            case 4:
                command = {u"snippet"_s, u"trash"_s, id};
                break;
            case 5:
                command = {u"snippet"_s, u"restore"_s, id};
                break;
            case 6:
                command = {u"snippet"_s, u"delete"_s, id};
                break;
            default:
                command = {u"purge"_s};
                break;
            }
            const CommandRun run = scrivlane(home, command);
            QVERIFY2(run.exitCode == 0, qPrintable(command.join(u' ') + u": "_s + run.err));
            for (int d = random.bounded(4); d > 0; --d)
                tool.deliverOne();
            if (random.bounded(3) == 0)
                QCOMPARE(scrivlane(homes.at(random.bounded(3)), {u"sync"_s, u"now"_s}).exitCode, 0);
        }

        for (int round = 0; round < 2; ++round) {
            tool.settle();
            for (const QString& home : homes) {
                const CommandRun run = scrivlane(home, {u"sync"_s, u"now"_s});
                QVERIFY2(run.exitCode == 0, qPrintable(run.err));
            }
        }
        const QString snippets = listed(homes[0], {u"snippet"_s, u"list"_s, u"--all"_s});
        const QString categories = listed(homes[0], {u"category"_s, u"list"_s});
        QVERIFY(snippets.size() > 2);
        for (const QString& home : homes.mid(1)) {
            QCOMPARE(listed(home, {u"snippet"_s, u"list"_s, u"--all"_s}), snippets);
            QCOMPARE(listed(home, {u"category"_s, u"list"_s}), categories);
        }
    }

private:
    void enable(const QString& home, const QString& folder)
    {
        QCOMPARE(
            scrivlane(home, {u"config"_s, u"set"_s, u"tw_iCloudSyncEnabled"_s, u"true"_s}).exitCode,
            0);
        QCOMPARE(scrivlane(home, {u"config"_s, u"set"_s, u"tw_syncFolder"_s, folder}).exitCode, 0);
    }
    QStringList snippetIds(const QString& home)
    {
        QStringList ids;
        const QJsonArray all =
            QJsonDocument::fromJson(
                scrivlane(home, {u"snippet"_s, u"list"_s, u"--all"_s}).out.toUtf8())
                .array();
        for (const QJsonValue& snippet : all)
            ids << snippet.toObject().value(u"id"_s).toString();
        return ids;
    }
    // The listing with records in id order, so computers that filed them differently compare.
    QString listed(const QString& home, const QStringList& command)
    {
        QJsonArray rows = QJsonDocument::fromJson(scrivlane(home, command).out.toUtf8()).array();
        QList<QJsonValue> sorted(rows.begin(), rows.end());
        std::sort(sorted.begin(), sorted.end(), [](const QJsonValue& a, const QJsonValue& b) {
            return a.toObject().value(u"id"_s).toString() < b.toObject().value(u"id"_s).toString();
        });
        QJsonArray result;
        for (const QJsonValue& row : sorted)
            result.append(row);
        return QString::fromUtf8(QJsonDocument(result).toJson());
    }

    std::unique_ptr<QTemporaryDir> m_root;
};

QTEST_GUILESS_MAIN(TestSyncCommands)
#include "tst_synccommands.moc"
