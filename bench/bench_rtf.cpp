// Reading and writing a rich snippet of about 100 KB of RTF: paragraphs of prose with the usual
// mix of bold, italic, underline, colours, two fonts and sizes, links, and non-ASCII text.

#include "richtext/RtfReader.h"
#include "richtext/RtfWriter.h"

#include <QTextCursor>
#include <QTextDocument>
#include <benchmark/benchmark.h>

namespace {

QTextCharFormat styled(int i)
{
    QTextCharFormat f;
    if (i % 3 == 0)
        f.setFontWeight(QFont::Bold);
    if (i % 4 == 1)
        f.setFontItalic(true);
    if (i % 7 == 2)
        f.setFontUnderline(true);
    if (i % 5 == 3)
        f.setForeground(QColor::fromHsv((i * 37) % 360, 200, 180));
    f.setFontFamilies({i % 2 ? QStringLiteral("DejaVu Sans") : QStringLiteral("DejaVu Serif")});
    f.setFontPointSize(10 + i % 6);
    if (i % 11 == 4) {
        f.setAnchor(true);
        f.setAnchorHref(QStringLiteral("https://example.com/page/%1").arg(i));
    }
    return f;
}

std::unique_ptr<QTextDocument> document(qsizetype rtfBytes)
{
    auto doc = std::make_unique<QTextDocument>();
    QTextCursor cursor(doc.get());
    const QString words[] = {QStringLiteral("The quick brown fox jumps over the lazy dog. "),
                             QStringLiteral("Grüße aus Zürich, café crème à la française. "),
                             QStringLiteral("Meeting at 10:30 {cursor} with the team. "),
                             QStringLiteral("Привет, мир! \U0001F44D\U0001F3FD "),
                             QStringLiteral("plain words between the styled ones ")};
    for (int i = 0;; ++i) {
        if (i % 8 == 7) {
            QTextBlockFormat block;
            block.setAlignment(i % 16 == 7 ? Qt::AlignHCenter : Qt::AlignLeft);
            cursor.insertBlock(block);
            if (RtfWriter::write(*doc).value_or(QByteArray()).size() >= rtfBytes)
                return doc;
        }
        cursor.insertText(words[i % 5], styled(i));
    }
}

void readRtf(benchmark::State& state)
{
    const QByteArray rtf = *RtfWriter::write(*document(state.range(0)));
    for (auto _ : state) {
        std::unique_ptr<QTextDocument> doc = RtfReader::read(rtf);
        benchmark::DoNotOptimize(doc.get());
    }
    state.SetBytesProcessed(state.iterations() * rtf.size());
    state.SetLabel(std::to_string(rtf.size() / 1024) + " KB");
}

void writeRtf(benchmark::State& state)
{
    const std::unique_ptr<QTextDocument> doc = document(state.range(0));
    qsizetype size = 0;
    for (auto _ : state) {
        std::optional<QByteArray> rtf = RtfWriter::write(*doc);
        size = rtf->size();
        benchmark::DoNotOptimize(rtf->data());
    }
    state.SetBytesProcessed(state.iterations() * size);
    state.SetLabel(std::to_string(size / 1024) + " KB");
}

} // namespace

BENCHMARK(readRtf)->Arg(100 * 1024)->Unit(benchmark::kMillisecond);
BENCHMARK(writeRtf)->Arg(100 * 1024)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
