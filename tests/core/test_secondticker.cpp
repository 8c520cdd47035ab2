#include "core/clock.h"
#include "core/secondticker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSignalSpy>

#include <gtest/gtest.h>

// Each tick lands early in a wall-clock second, one per second, none skipped.
// The bound is loose on purpose: latency itself is measured by the benchmarks.
TEST(SecondTicker, TicksJustAfterEachSecondBoundary)
{
    tav::SystemClock clock;
    tav::SecondTicker ticker(clock);
    QList<QDateTime> ticks;
    QObject::connect(&ticker, &tav::SecondTicker::second, [&] { ticks.append(clock.now()); });
    ticker.start();
    QElapsedTimer elapsed;
    elapsed.start();
    while (elapsed.elapsed() < 3300)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    ticker.stop();
    ASSERT_GE(ticks.size(), 3);
    for (qsizetype i = 0; i < ticks.size(); ++i) {
        EXPECT_LT(ticks[i].time().msec(), 500) << "tick " << i;
        if (i > 0) {
            EXPECT_EQ(ticks[i].toSecsSinceEpoch() - ticks[i - 1].toSecsSinceEpoch(), 1) << "tick " << i;
        }
    }
}
