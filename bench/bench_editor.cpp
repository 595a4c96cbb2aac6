// The snippet editor over a library of 10,000 snippets, offscreen: opening a plain snippet and
// a 100 KB rich one, one keystroke in that rich text, and the conflict check while an
// abbreviation is typed. Prints one line per figure; see docs/performance.md.

#include "BenchSupport.h"
#include "library/SnippetEntity.h"
#include "models/EditorState.h"
#include "models/SnippetEditorModel.h"
#include "ui/editor/SnippetEditorView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTest>
#include <QTextCursor>
#include <QTextEdit>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double msSince(const QElapsedTimer& timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

// About 100 KB of RTF: paragraphs of mixed runs (bold, italic, sizes, colours, a link).
void fillRich(QTextDocument& document)
{
    QTextCursor cursor(&document);
    for (int paragraph = 0; cursor.document()->characterCount() < 60'000; ++paragraph) {
        for (int run = 0; run < 6; ++run) {
            QTextCharFormat format;
            format.setFontWeight(run % 2 ? QFont::Bold : QFont::Normal);
            format.setFontItalic(run % 3 == 0);
            format.setFontPointSize(10 + run);
            format.setForeground(QColor::fromHsv((paragraph * 40 + run * 30) % 360, 180, 160));
            if (run == 5) {
                format.setAnchor(true);
                format.setAnchorHref(QStringLiteral("https://example.org/%1").arg(paragraph));
            }
            cursor.insertText(
                QStringLiteral("Run %1 of paragraph %2 with some words. ").arg(run).arg(paragraph),
                format);
        }
        cursor.insertBlock();
    }
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QApplication app(argc, argv);
    auto store = openBenchStore(benchFolder().filePath(QStringLiteral("editor.sqlite")));
    const QDateTime then = QDateTime::currentDateTimeUtc().addDays(-1);
    for (int i = 0; i < 10'000; ++i) {
        SnippetEntity* s = store->insertSnippet(
            SnippetEntity::create(QStringLiteral("Snippet %1").arg(i),
                                  QStringLiteral(";s%1").arg(i), nullptr, then.addSecs(i)));
        s->setExpandedText(QStringLiteral("Dear {fill:Name}, reply %1 follows.{cursor}").arg(i));
    }
    SnippetEntity* plain = store->fetchActiveSnippets().first();
    SnippetEntity* rich = store->insertSnippet(
        SnippetEntity::create(QStringLiteral("Big"), QStringLiteral(";big"), nullptr, then));
    {
        QTextDocument document;
        fillRich(document);
        rich->setAttributedText(document, then);
        rich->setRichText(true);
    }
    store->save();
    std::printf("rich snippet: %.1f KB of RTF\n", double(rich->expandedTextRTF()->size()) / 1024);

    EditorState state;
    SnippetEditorView view({store.get(), &state, nullptr});
    view.resize(700, 700);
    view.show();
    QCoreApplication::processEvents();

    const auto open = [&](SnippetEntity* snippet, SnippetEntity* between) {
        std::vector<double> times;
        for (int round = 0; round < 9; ++round) {
            view.showSnippet(between);
            QCoreApplication::processEvents();
            QElapsedTimer timer;
            timer.start();
            view.showSnippet(snippet);
            view.repaint();
            times.push_back(msSince(timer));
        }
        return median(times);
    };
    std::printf("open a plain snippet: median %.2f ms\n", open(plain, rich));
    std::printf("open the 100 KB rich snippet: median %.2f ms\n", open(rich, plain));

    auto* editor = view.findChild<QTextEdit*>();
    editor->setFocus();
    QTextCursor end = editor->textCursor();
    end.movePosition(QTextCursor::End);
    editor->setTextCursor(end);
    QCoreApplication::processEvents();
    std::vector<double> keys;
    for (int i = 0; i < 40; ++i) {
        QElapsedTimer timer;
        timer.start();
        QTest::keyClick(editor, Qt::Key(Qt::Key_A + i % 26));
        editor->repaint();
        keys.push_back(msSince(timer));
    }
    std::printf("keystroke in the rich text: median %.2f ms, max %.2f ms (40 keys)\n", median(keys),
                *std::max_element(keys.begin(), keys.end()));

    SnippetEditorModel* model = view.model();
    std::vector<double> checks;
    const QString typed = QStringLiteral(";s4242x");
    for (qsizetype n = 1; n <= typed.size(); ++n) {
        QElapsedTimer timer;
        timer.start();
        model->setAbbreviation(typed.left(n));
        const AbbreviationConflict conflict = model->conflict();
        checks.push_back(msSince(timer));
        Q_UNUSED(conflict);
    }
    std::printf("conflict check per abbreviation key (10,000 snippets): median %.3f ms, max "
                "%.3f ms\n",
                median(checks), *std::max_element(checks.begin(), checks.end()));
    return 0;
}
