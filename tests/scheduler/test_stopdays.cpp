#include "core/ini.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "scheduler/stopdates.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::StopDates;

TEST(StopDates, AddAsksRefusesDuplicatesAndSavesWhole)
{
    tav::test::DataFolder d;
    const tav::DataDir dir(d.path());
    tav::test::ScriptedPrompt prompt;
    StopDates dates(dir);
    dates.load();
    prompt.answers = {false, true, true};
    EXPECT_EQ(dates.add(QDate(2027, 1, 1), prompt), StopDates::AddResult::Declined);
    EXPECT_EQ(prompt.shown.last(), u"添加不需要定时播放的日期|确实要添加2027/1/1这个日期为不播放的日期吗？");
    EXPECT_EQ(dates.add(QDate(2027, 1, 1), prompt), StopDates::AddResult::Added);
    EXPECT_EQ(dates.add(QDate(2027, 10, 1), prompt), StopDates::AddResult::Added);
    EXPECT_EQ(dates.add(QDate(2027, 1, 1), prompt), StopDates::AddResult::Duplicate);
    EXPECT_EQ(prompt.shown.last(), u"提示|日期有重复，无法添加！");
    EXPECT_EQ(d.text(u"【DATE】.ini"_s),
              u"[Holiday]\r\nDate0=2027/1/1\r\nDate1=2027/10/1\r\n[The number of Date]\r\nquantity=2\r\n");

    dates.remove(0);
    StopDates again(dir);
    again.load();
    EXPECT_EQ(again.dates(), QStringList{u"2027/10/1"_s});
    tav::Settings settings(dir);
    EXPECT_TRUE(again.isStopDay(QDate(2027, 10, 1), settings));
    EXPECT_FALSE(again.isStopDay(QDate(2027, 1, 1), settings));
}
