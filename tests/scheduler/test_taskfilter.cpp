#include "fakes/fakes.h"
#include "scheduler/taskfilter.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::TaskFilter;

namespace {

QStringList names(const QList<tav::TaskRecord> &rows)
{
    QStringList n;
    for (const auto &r : rows)
        n.append(r.name);
    return n;
}

} // namespace

// On Monday 2026/11/23: today's tasks first, then weekly tasks of other days,
// then specified dates ahead within the span.
TEST(TaskFilter, PassesOrderAndSpans)
{
    tav::test::DataFolder d;
    QString song;
    const QStringList tasks{u"后天|指定 2026/11/25"_s, u"周二|每周二"_s,   u"每日|每天"_s,
                            u"周一|每周一三"_s,        u"今日|指定 2026/11/23"_s, u"月末|指定 2026/12/24"_s,
                            u"过远|指定 2026/12/25"_s, u"昨日|指定 2026/11/22"_s, u"坏日期|指定 明天"_s};
    for (int i = 0; i < tasks.size(); ++i) {
        const QStringList nd = tasks[i].split(u'|');
        song += tav::test::taskSection(i + 1, {.name = nd[0], .end = u"9:10:00"_s, .days = nd[1]});
    }
    d.write(u"【SONG】.ini"_s, song);
    const tav::DataDir dir(d.path());
    const QDate monday(2026, 11, 23);

    EXPECT_EQ(names(TaskFilter::thisDay(dir, monday)), (QStringList{u"每日"_s, u"周一"_s, u"今日"_s}));
    EXPECT_EQ(names(TaskFilter::thisWeek(dir, monday)),
              (QStringList{u"每日"_s, u"周一"_s, u"今日"_s, u"周二"_s, u"后天"_s}));
    // 31 days ahead is shown, 32 days ahead is not.
    EXPECT_EQ(names(TaskFilter::thisMonth(dir, monday)),
              (QStringList{u"每日"_s, u"周一"_s, u"今日"_s, u"周二"_s, u"后天"_s, u"月末"_s}));
    EXPECT_EQ(TaskFilter::thisMonth(dir, monday).at(1).section, 4);
}
