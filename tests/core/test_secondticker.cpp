#include "core/clock.h"
#include "core/secondticker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <gtest/gtest.h>

#include <functional>

namespace {

// Serves events for `ms`, or until `done`.
void serve(int ms, const std::function<bool()> &done)
{
    QElapsedTimer elapsed;
    for (elapsed.start(); elapsed.elapsed() < ms && !done();)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

} // namespace

// Each tick lands early in a wall-clock second, one per second, none skipped.
// The bound is loose on purpose: latency itself is measured by the benchmarks.
TEST(SecondTicker, TicksJustAfterEachSecondBoundary)
{
    tav::SystemClock clock;
    tav::SecondTicker ticker(clock);
    EXPECT_TRUE(ticker.isExact()) << "the system clock is waited on through the kernel's timer";
    QList<QDateTime> ticks;
    QObject::connect(&ticker, &tav::SecondTicker::second, [&] { ticks.append(clock.now()); });
    ticker.start();
    serve(3300, [] { return false; });
    ticker.stop();
    ASSERT_GE(ticks.size(), 3);
    for (qsizetype i = 0; i < ticks.size(); ++i) {
        EXPECT_LT(ticks[i].time().msec(), 500) << "tick " << i;
        if (i > 0)
            EXPECT_EQ(ticks[i].toSecsSinceEpoch() - ticks[i - 1].toSecsSinceEpoch(), 1) << "tick " << i;
    }
}

// A slot that waits in an event loop of its own (as a modal dialog does)
// must not stop the ticks meanwhile.
TEST(SecondTicker, KeepsTickingWhileOneSecondsWorkWaits)
{
    tav::SystemClock clock;
    tav::SecondTicker ticker(clock);
    int ticks = 0, ticksWhileWaiting = 0;
    QObject::connect(&ticker, &tav::SecondTicker::second, [&] {
        if (++ticks != 1)
            return;
        QEventLoop wait;
        QTimer::singleShot(2300, &wait, &QEventLoop::quit);
        wait.exec();
        ticksWhileWaiting = ticks - 1;
    });
    ticker.start();
    serve(5500, [&] { return ticksWhileWaiting > 0; });
    ticker.stop();
    EXPECT_GE(ticksWhileWaiting, 2);
}
