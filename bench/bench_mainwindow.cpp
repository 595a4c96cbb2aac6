// The main window over 10,000 snippets in 50 categories, offscreen: time from the request to
// a shown window with its list filled, one search keystroke, one category switch; resident
// memory idle, with the window open and after it closed; wake-ups while it sits idle.
// Prints one line per figure; see docs/performance.md.

#include "BenchSupport.h"
#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "models/ContentViewModel.h"
#include "models/SnippetListModel.h"
#include "support/VirtualClock.h"
#include "ui/mainwindow/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPixmapCache>
#include <QSettings>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <vector>

namespace {

constexpr int snippetCount = 10'000;
constexpr int categoryCount = 50;

QString library()
{
    const QString path = benchFolder().filePath(QStringLiteral("window.sqlite"));
    auto store = openBenchStore(path);
    std::vector<CategoryEntity*> categories;
    for (int c = 0; c < categoryCount; ++c)
        categories.push_back(
            store->createCategory(QStringLiteral("Category %1").arg(c), QStringLiteral("#4A90D9")));
    const QDateTime then = QDateTime::currentDateTimeUtc().addDays(-3);
    for (int i = 0; i < snippetCount; ++i) {
        SnippetEntity* s = store->insertSnippet(SnippetEntity::create(
            QStringLiteral("Snippet %1").arg(i), QStringLiteral(";s%1").arg(i),
            categories[std::size_t(i % categoryCount)], then.addSecs(i)));
        s->setExpandedText(QStringLiteral("Dear {fill:Name},\nthank you for your message of "
                                          "{date}. Reply number %1 follows.{cursor}")
                               .arg(i));
    }
    store->save();
    return path;
}

// Resident memory in MB from /proc.
double residentMB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return -1;
}

// Times a thread of this process went to sleep and was woken, summed over every thread;
// being pushed aside by other processes (involuntary switches) is not counted.
long long wakeUps()
{
    long long total = 0;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile status(tasks.filePath(task + QStringLiteral("/status")));
        if (!status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("voluntary_ctxt_switches:"))
                total += line.split(':').last().trimmed().toLongLong();
        }
    }
    return total;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QApplication app(argc, argv);
    const QString path = library();
    QSettings settings(benchFolder().filePath(QStringLiteral("settings.ini")),
                       QSettings::IniFormat);
    auto store = openBenchStore(path);
    store->fetchActiveSnippets(); // loaded, as in the running app
    VirtualClock clock;
    {
        // The idle app has drawn its tray menu: fonts and the style are loaded already.
        QMenu menu;
        menu.addAction(QStringLiteral("Open Snippets"));
        menu.show();
        settle();
    }
    settle();
    malloc_trim(0);
    const double idle = residentMB();

    std::vector<double> opens;
    double open = 0;
    for (int round = 0; round < 5; ++round) {
        QElapsedTimer timer;
        timer.start();
        auto window =
            std::make_unique<MainWindow>(MainWindow::Dependencies{store.get(), &settings, &clock});
        window->show();
        window->findChild<QListView*>()->repaint();
        settle();
        opens.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (round == 4)
            open = residentMB();
    }
    std::printf("window shown with 10,000 rows: median %.1f ms (of 5)\n", median(opens));

    auto window =
        std::make_unique<MainWindow>(MainWindow::Dependencies{store.get(), &settings, &clock});
    window->show();
    settle();
    auto* list = window->findChild<QListView*>();
    const QString query = QStringLiteral("reply number 99");
    window->findChild<QLineEdit*>()->setFocus(); // the user clicks into the search field
    settle();
    QElapsedTimer firstKey;
    firstKey.start();
    window->model()->setSearchText(query.left(1));
    list->repaint();
    std::printf("first search keystroke: %.2f ms\n", double(firstKey.nsecsElapsed()) / 1e6);
    window->model()->setSearchText(QString());
    std::vector<double> keys;
    for (int round = 0; round < 3; ++round) {
        for (qsizetype n = 1; n <= query.size(); ++n) {
            QElapsedTimer timer;
            timer.start();
            window->model()->setSearchText(query.left(n));
            list->repaint();
            keys.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        window->model()->setSearchText(QString());
    }
    std::printf("search keystroke: median %.2f ms, max %.2f ms (%zu keys)\n", median(keys),
                *std::max_element(keys.begin(), keys.end()), keys.size());

    std::vector<double> switches;
    const QList<CategoryEntity*> categories = window->model()->categories();
    for (CategoryEntity* category : categories) {
        QElapsedTimer timer;
        timer.start();
        window->model()->showCategory(category);
        list->repaint();
        switches.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::printf("category switch: median %.2f ms, max %.2f ms (%zu switches)\n", median(switches),
                *std::max_element(switches.begin(), switches.end()), switches.size());

    list->setFocus(); // a focused search field blinks its caret, a person's choice
    settle();
    const long long before = wakeUps();
    QEventLoop sitting;
    QTimer::singleShot(10'000, &sitting, &QEventLoop::quit);
    sitting.exec();
    const long long wakeups = wakeUps() - before;

    window.reset();
    settle();
    QPixmapCache::clear(); // as the app does when its window closes
    malloc_trim(0);
    const double closed = residentMB();
    std::printf("resident memory: %.1f MB idle, %.1f MB with the window open, %.1f MB after "
                "it closed\n",
                idle, open, closed);
    std::printf("wake-ups in 10 s with the window idle, all threads: %lld\n", wakeups);
    return 0;
}
