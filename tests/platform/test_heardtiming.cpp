// When an item's sound is heard, from what the engine tells.

#include "platform/heardtiming.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Step
{
    enum Op { Reset, Flow, Stall, Heard } op;
    qint64 at = 0;
    qint64 position = 0;
};

struct Case
{
    const char *name;
    std::vector<Step> steps;
    qint64 latency;    // expected
    qint64 duration;   // of the item, -1 unknown
    qint64 handedOver; // when the engine said it ended
    qint64 heardEnd;   // expected
};

} // namespace

TEST(HeardTiming, TheEndIsWhenTheLastSampleSounds)
{
    using S = Step;
    const Case cases[] = {
        {"quick output: a second's item ends as heard, not when handed over; late reports count least",
         {{S::Flow, 1000, 0}, {S::Heard, 1100, 88}, {S::Heard, 1700, 698}, {S::Heard, 1800, 780}}, 2, 1000, 1700, 2002},
        {"a sink two seconds deep",
         {{S::Flow, 1000, 0}, {S::Heard, 1500, 0}, {S::Heard, 3100, 100}}, 2000, 1850, 1005, 4850},
        {"a short item all buffered at once: the latency of the item before holds",
         {{S::Flow, 0, 0}, {S::Heard, 2100, 100}, {S::Reset}, {S::Flow, 5000, 0}}, 2000, 300, 5002, 7300},
        {"nothing known: the end is when it was handed over", {{S::Flow, 1000, 0}}, -1, -1, 1700, 1700},
        {"no duration: handed over plus the latency",
         {{S::Flow, 1000, 0}, {S::Heard, 1250, 200}}, 50, -1, 1700, 1750},
        {"paused and let go mid-item: timed from where it went on",
         {{S::Flow, 1000, 0}, {S::Heard, 1110, 100}, {S::Stall, 1400}, {S::Flow, 9000, 390}, {S::Heard, 9100, 480}},
         10, 1000, 9200, 9620},
        {"a jump of position (a seek) is no latency",
         {{S::Flow, 1000, 0}, {S::Heard, 1100, 5000}, {S::Heard, 1200, 5090}}, -1, 6000, 1300, 7000},
        {"never before it was handed over", {{S::Flow, 1000, 0}, {S::Heard, 1100, 100}}, 0, 100, 3000, 3000},
        {"stalled: not going on", {{S::Flow, 1000, 0}, {S::Stall, 1200}}, -1, 1000, 1300, -1},
    };
    for (const Case &c : cases) {
        tav::HeardTiming timing;
        for (const Step &s : c.steps) {
            switch (s.op) {
            case Step::Reset: timing.reset(); break;
            case Step::Flow: timing.flowing(s.at, s.position); break;
            case Step::Stall: timing.stalled(s.at); break;
            case Step::Heard: timing.heardAt(s.at, s.position); break;
            }
        }
        EXPECT_EQ(timing.latencyMs(), c.latency) << c.name;
        EXPECT_EQ(timing.heardEnd(c.duration, c.handedOver), c.heardEnd) << c.name;
    }
}
