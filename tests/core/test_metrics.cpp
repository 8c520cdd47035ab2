// The station's figures in Prometheus's text exposition format.
#include "core/metrics.h"

#include <gtest/gtest.h>

#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;
using tav::Metrics;

TEST(Metrics, FamiliesAreWrittenWithHelpTypeAndEscapedLabels)
{
    Metrics m;
    m.declare(u"t_starts_total"_s, Metrics::Type::Counter, u"Starts \\ made\nof tasks."_s);
    m.declare(u"t_info"_s, Metrics::Type::Gauge, u"Who."_s);
    m.declare(u"t_results_total"_s, Metrics::Type::Counter, u"By result."_s);
    m.add(u"t_starts_total"_s);
    m.add(u"t_starts_total"_s, 2);
    m.add(u"t_starts_total"_s, -5); // a counter never goes down
    m.set(u"t_info"_s, 1, {{u"station"_s, u"一号\"楼\"\\\n"_s}});
    m.add(u"t_results_total"_s, 0, {{u"result"_s, u"failed"_s}});
    m.add(u"t_results_total"_s, 1, {{u"result"_s, u"spoken"_s}});
    m.add(u"t_unknown"_s); // never declared: nothing
    EXPECT_EQ(m.text(), QByteArray("# HELP t_starts_total Starts \\\\ made\\nof tasks.\n"
                                   "# TYPE t_starts_total counter\n"
                                   "t_starts_total 3\n"
                                   "# HELP t_info Who.\n"
                                   "# TYPE t_info gauge\n"
                                   "t_info{station=\"一号\\\"楼\\\"\\\\\\n\"} 1\n"
                                   "# HELP t_results_total By result.\n"
                                   "# TYPE t_results_total counter\n"
                                   "t_results_total{result=\"failed\"} 0\n"
                                   "t_results_total{result=\"spoken\"} 1\n"));
}

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
