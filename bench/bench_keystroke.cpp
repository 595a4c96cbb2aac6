// Cost of one keystroke in the typing buffer and matcher, for libraries of different sizes.
// The abbreviations look like real ones (letters, some digits and punctuation) and never end
// the typed text, so every key walks the index as far as it can without stopping at a match.

#include "expansion/TextExpansionService.h"
#include "platform/api/Scheduler.h"

#include <QRandomGenerator>
#include <benchmark/benchmark.h>

namespace {

class DiscardingScheduler final : public Scheduler {
public:
    void schedule(std::chrono::milliseconds, QObject*, std::function<void()>) override {}
};

QString randomWord(QRandomGenerator& random, int minLength, int maxLength)
{
    static const QString letters = QStringLiteral("abcdefghijklmnopqrstuvwxyz0123456789;/.");
    const int length = minLength + int(random.bounded(maxLength - minLength + 1));
    QString word;
    for (int i = 0; i < length; ++i)
        word += letters.at(int(random.bounded(qsizetype(letters.size()))));
    return word;
}

void keystroke(benchmark::State& state)
{
    QRandomGenerator random(42);
    std::vector<SnippetRecord> records;
    records.reserve(std::size_t(state.range(0)));
    // Abbreviations start with a semicolon, the typed text never contains one: no match ever
    // fires, yet every suffix of the typed text has many abbreviations ending with it.
    for (int64_t i = 0; i < state.range(0); ++i)
        records.push_back({QStringLiteral(";") + randomWord(random, 2, 10),
                           QStringLiteral("expansion"), false, std::nullopt});
    DiscardingScheduler scheduler;
    TextExpansionService service({&scheduler, nullptr, nullptr, nullptr});
    service.updateSnippets(std::move(records));

    // A full buffer of ordinary prose, then one key at a time as a user types.
    const QString prose = QStringLiteral(
        "the quick brown fox jumps over the lazy dog while typing an email to a colleague ");
    std::vector<KeyEvent> keys;
    for (QChar c : prose)
        keys.push_back({0, 0, QString(c)});
    for (const KeyEvent& key : keys)
        service.handleKeyDown(key);

    std::size_t next = 0;
    for (auto _ : state) {
        service.handleKeyDown(keys[next]);
        next = (next + 1) % keys.size();
    }
    state.SetLabel(QStringLiteral("%1 snippets").arg(state.range(0)).toStdString());
}

} // namespace

BENCHMARK(keystroke)->Arg(100)->Arg(10'000)->Arg(100'000)->Repetitions(5)->ReportAggregatesOnly(
    true);

BENCHMARK_MAIN();
