// The station's figures in Prometheus's text exposition format.
#include "core/metrics.h"

#include <gtest/gtest.h>

#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;
using tav::Metrics;

TEST(Metrics, TheSamplerRunsWhenTheTextIsAskedForFromAnotherThread)
{
    Metrics m;
    m.declare(u"t_count"_s, Metrics::Type::Counter, u"c"_s);
    m.declare(u"t_sampled"_s, Metrics::Type::Gauge, u"g"_s);
    int asked = 0;
    m.setSampler([&asked](Metrics &self) { self.set(u"t_sampled"_s, ++asked); });
    QByteArray fromThread;
    const std::unique_ptr<QThread> reader(QThread::create([&] {
        for (int i = 0; i < 1000; ++i)
            fromThread = m.text();
    }));
    reader->start();
    for (int i = 0; i < 1000; ++i)
        m.add(u"t_count"_s);
    reader->wait();
    EXPECT_TRUE(m.text().contains("t_count 1000\n"));
    EXPECT_TRUE(m.text().contains("t_sampled 1002\n"));
}
