#include "platform/qt/QtScheduler.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>
#include <thread>

class TestQtScheduler : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void runsOnContextThreadAfterDelay_data();
    void runsOnContextThreadAfterDelay();
    void droppedWhenContextIsGone();
};

void TestQtScheduler::runsOnContextThreadAfterDelay_data()
{
    QTest::addColumn<bool>("fromPlainThread");
    QTest::newRow("from the main thread") << false;
    QTest::newRow("from a thread without event loop") << true;
}

void TestQtScheduler::runsOnContextThreadAfterDelay()
{
    QFETCH(bool, fromPlainThread);
    QtScheduler scheduler;
    QObject context;
    QThread* ranOn = nullptr;
    QElapsedTimer clock;
    clock.start();
    qint64 ranAfter = -1;
    const auto schedule = [&] {
        scheduler.schedule(std::chrono::milliseconds(50), &context, [&] {
            ranOn = QThread::currentThread();
            ranAfter = clock.elapsed();
        });
    };
    if (fromPlainThread)
        std::thread(schedule).join();
    else
        schedule();
    QVERIFY(ranOn == nullptr);
    QTRY_VERIFY(ranOn != nullptr);
    QCOMPARE(ranOn, QThread::currentThread());
    QVERIFY(ranAfter >= 50);
}

void TestQtScheduler::droppedWhenContextIsGone()
{
    QtScheduler scheduler;
    bool ran = false;
    auto context = std::make_unique<QObject>();
    scheduler.schedule(std::chrono::milliseconds(0), context.get(), [&] { ran = true; });
    context.reset();
    auto later = std::make_unique<QObject>();
    scheduler.schedule(std::chrono::milliseconds(20), later.get(), [&] { ran = true; });
    QTest::qWait(5);
    later.reset();
    QTest::qWait(60);
    QVERIFY(!ran);
}

QTEST_GUILESS_MAIN(TestQtScheduler)
#include "tst_qtscheduler.moc"
