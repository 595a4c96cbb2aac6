// Memory taken by the library: the store's records and the engine's snippet set, for libraries
// of 1,000, 10,000 and 100,000 snippets against an empty one. Each size is measured in a fresh
// process (this program started again with --measure), so that no heap carries over.
//
// Figures are read from /proc/self/smaps_rollup: Anonymous is the private memory the process
// allocated (heap, stacks), which is what grows with the library; Rss adds the mapped
// libraries and files. The heap figure (mallinfo2) is what malloc has handed out and not yet
// taken back, without the pages it keeps for reuse.

#include "BenchSupport.h"
#include "expansion/TextExpansionService.h"
#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "platform/api/Scheduler.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTextStream>
#include <cstdio>
#include <malloc.h>

namespace {

class DiscardingScheduler final : public Scheduler {
public:
    void schedule(std::chrono::milliseconds, QObject*, std::function<void()>) override {}
};

struct Memory {
    qint64 anonymousKb = 0;
    qint64 rssKb = 0;
    qint64 heapKb = 0;
};

Memory currentMemory()
{
    Memory memory;
    QFile rollup(QStringLiteral("/proc/self/smaps_rollup"));
    if (rollup.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> lines = rollup.readAll().split('\n');
        for (const QByteArray& line : lines) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() < 2)
                continue;
            if (fields[0] == "Anonymous:")
                memory.anonymousKb = fields[1].toLongLong();
            else if (fields[0] == "Rss:")
                memory.rssKb = fields[1].toLongLong();
        }
    }
    const struct mallinfo2 info = mallinfo2();
    memory.heapKb = qint64((info.uordblks + info.hblkhd) / 1024);
    return memory;
}

// The engine's records, made from the store as the running app makes them.
std::vector<SnippetRecord> engineRecords(const PersistenceController& store)
{
    std::vector<SnippetRecord> records;
    const QList<SnippetEntity*> active = store.fetchActiveSnippets();
    records.reserve(std::size_t(active.size()));
    for (const SnippetEntity* s : active) {
        if (s->canExpand())
            records.emplace_back(s->texts(), s->isRichText());
    }
    return records;
}

// Snippets as people write them: a short title, an abbreviation of a few letters, and an
// expansion of one to three lines, some with placeholders or accented words. Together about
// 125 characters, 250 bytes in memory.
QString words(QRandomGenerator& random, int count)
{
    static const QStringList vocabulary = {
        QStringLiteral("thank"),    QStringLiteral("you"),     QStringLiteral("for"),
        QStringLiteral("your"),     QStringLiteral("message"), QStringLiteral("the"),
        QStringLiteral("meeting"),  QStringLiteral("invoice"), QStringLiteral("attached"),
        QStringLiteral("regards"),  QStringLiteral("please"),  QStringLiteral("find"),
        QStringLiteral("address"),  QStringLiteral("café"),    QStringLiteral("Grüße"),
        QStringLiteral("tomorrow"), QStringLiteral("at"),      QStringLiteral("office"),
        QStringLiteral("best"),     QStringLiteral("order"),   QStringLiteral("{date}"),
        QStringLiteral("number"),   QStringLiteral("and"),     QStringLiteral("{cursor}")};
    QString text;
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            text += random.bounded(12) == 0 ? u'\n' : u' ';
        text += vocabulary.at(int(random.bounded(qsizetype(vocabulary.size()))));
    }
    return text;
}

QString abbreviation(QRandomGenerator& random, int index)
{
    static const QString letters = QStringLiteral("abcdefghijklmnopqrstuvwxyz");
    QString text = QStringLiteral(";");
    for (int i = 0, length = 2 + int(random.bounded(4)); i < length; ++i)
        text += letters.at(int(random.bounded(qsizetype(letters.size()))));
    return text + QString::number(index, 36);
}

void createLibrary(const QString& path, int count)
{
    QFile::remove(path);
    const QDateTime then = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);
    auto store = openBenchStore(path, then);
    CategoryEntity* categories[] = {
        store->createCategory(QStringLiteral("Work"), QStringLiteral("#4A90D9")),
        store->createCategory(QStringLiteral("Personal"), QStringLiteral("#7ED321"))};
    QRandomGenerator random(7);
    for (int i = 0; i < count; ++i) {
        CategoryEntity* category = i % 3 == 0 ? nullptr : categories[i % 2];
        SnippetEntity* s = store->insertSnippet(SnippetEntity::create(
            words(random, 3), abbreviation(random, i), category, then.addSecs(i)));
        s->setExpandedText(words(random, 12 + int(random.bounded(9))));
        if (i % 50 == 49)
            s->setTrashedAt(then.addDays(1));
    }
    store->save();
}

// One library, in this process: prints one tab-separated line for the parent.
int measure(const QString& path)
{
    const Memory start = currentMemory();
    auto store = openBenchStore(path);
    const Memory loaded = currentMemory();
    DiscardingScheduler scheduler;
    TextExpansionService service({&scheduler, nullptr, nullptr, nullptr});
    service.updateSnippets(engineRecords(*store));
    malloc_trim(0); // as the app does after each build
    const Memory engine = currentMemory();

    qint64 textBytes = 0;
    for (const SnippetEntity* s : store->fetchAllSnippets())
        textBytes += 2 * (s->title().value_or(QString()).size() +
                          s->abbreviation().value_or(QString()).size() +
                          s->expandedText().value_or(QString()).size());
    std::printf("%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\n",
                static_cast<long long>(store->fetchAllSnippets().size()),
                static_cast<long long>(textBytes), static_cast<long long>(start.anonymousKb),
                static_cast<long long>(loaded.anonymousKb),
                static_cast<long long>(engine.anonymousKb), static_cast<long long>(start.rssKb),
                static_cast<long long>(loaded.rssKb), static_cast<long long>(engine.rssKb),
                static_cast<long long>(start.heapKb), static_cast<long long>(loaded.heapKb),
                static_cast<long long>(engine.heapKb));
    return 0;
}

struct Result {
    qint64 count = 0;
    qint64 textBytes = 0;
    Memory start, loaded, engine;
};

std::optional<Result> runMeasurement(const QString& path)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--measure"), path});
    if (!child.waitForFinished(600'000) || child.exitCode() != 0)
        return std::nullopt;
    const QList<QByteArray> f = child.readAllStandardOutput().trimmed().split('\t');
    if (f.size() != 11)
        return std::nullopt;
    Result r;
    r.count = f[0].toLongLong();
    r.textBytes = f[1].toLongLong();
    r.start = {f[2].toLongLong(), f[5].toLongLong(), f[8].toLongLong()};
    r.loaded = {f[3].toLongLong(), f[6].toLongLong(), f[9].toLongLong()};
    r.engine = {f[4].toLongLong(), f[7].toLongLong(), f[10].toLongLong()};
    return r;
}

double perSnippet(qint64 kb, qint64 baseKb, qint64 count)
{
    return count ? double(kb - baseKb) / double(count) : 0.0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() == 3 && arguments[1] == QStringLiteral("--measure"))
        return measure(arguments[2]);
    // A library file to look at with other tools (heaptrack, massif).
    if (arguments.size() == 4 && arguments[1] == QStringLiteral("--create")) {
        createLibrary(arguments[2], arguments[3].toInt());
        return 0;
    }

    QList<int> sizes = {0, 1'000, 10'000, 100'000};
    if (arguments.size() > 1) {
        sizes = {0};
        for (const QString& argument : arguments.mid(1))
            sizes.append(argument.toInt());
    }
    QTextStream out(stdout);
    out << "snippets\ttext KB\tstore anon MB\tstore heap MB\t+engine anon MB\t+engine heap MB"
           "\t+engine RSS MB\tKB/snippet (anon, store)\tKB/snippet (anon, +engine)"
           "\tKB/snippet (heap, +engine)\n";
    std::optional<Result> empty;
    for (const int size : sizes) {
        const QString path = benchFolder().filePath(QStringLiteral("library-%1.sqlite").arg(size));
        createLibrary(path, size);
        const std::optional<Result> r = runMeasurement(path);
        if (!r) {
            out << "measuring " << size << " snippets failed\n";
            return 1;
        }
        if (!empty)
            empty = r;
        out << r->count << '\t' << r->textBytes / 1024 << '\t'
            << QString::number(double(r->loaded.anonymousKb) / 1024.0, 'f', 1) << '\t'
            << QString::number(double(r->loaded.heapKb) / 1024.0, 'f', 1) << '\t'
            << QString::number(double(r->engine.anonymousKb) / 1024.0, 'f', 1) << '\t'
            << QString::number(double(r->engine.heapKb) / 1024.0, 'f', 1) << '\t'
            << QString::number(double(r->engine.rssKb) / 1024.0, 'f', 1) << '\t'
            << QString::number(
                   perSnippet(r->loaded.anonymousKb, empty->loaded.anonymousKb, r->count), 'f', 3)
            << '\t'
            << QString::number(
                   perSnippet(r->engine.anonymousKb, empty->engine.anonymousKb, r->count), 'f', 3)
            << '\t'
            << QString::number(perSnippet(r->engine.heapKb, empty->engine.heapKb, r->count), 'f', 3)
            << Qt::endl;
    }
    return 0;
}
