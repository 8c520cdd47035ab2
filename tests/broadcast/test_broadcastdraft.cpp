#include "broadcast/broadcastdraft.h"
#include "core/datadir.h"
#include "fakes/fakes.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::BroadcastDraft;

// One field changed from a task that passes: the first failing check's message, or none.
TEST(BroadcastDraftCheck, EachFieldOutsideItsRangeIsRefusedWithItsMessage)
{
    tav::test::DataFolder d;
    d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早操\n"_s);
    d.write(u"【TTS】.ini"_s, u"[TTS1]\nTTS_Name=早安\n"_s);
    const tav::DataDir dir(d.path());
    const QString interval = u"不允许间隔分钟超出0-1200之间"_s, frequency = u"不允许次数超出1-10之间"_s;
    const QString priority = u"不允许优先值超出0-9之间"_s, rate = u"不允许语速超出-10到10之间"_s;
    const QString empty = u"不允许任务名称或内容为空"_s;
    using D = BroadcastDraft;
    const struct { QString D::*field; QString value, message; } cases[] = {
        {&D::interval, u"1200"_s, {}},      {&D::interval, u"1201"_s, interval},
        {&D::interval, u"-1"_s, interval},  {&D::interval, u" 5"_s, interval},
        {&D::interval, u"五"_s, interval},  {&D::interval, {}, interval},
        {&D::frequency, u"0"_s, frequency}, {&D::frequency, u"11"_s, frequency},
        {&D::priority, u"10"_s, priority},  {&D::priority, u"a"_s, priority},
        {&D::rate, u"11"_s, rate},          {&D::rate, u"-11"_s, rate},
        {&D::rate, u"+5"_s, rate},          {&D::rate, u"-10"_s, {}},
        {&D::voiceVolume, u"101"_s, u"不允许朗读音量超出0-100之间"_s},
        {&D::musicVolume, u"-1"_s, u"不允许音乐音量超出0-100之间"_s},
        {&D::name, u"  "_s, empty},         {&D::content, {}, empty},
        {&D::name, u" 早操"_s, u"该名称已存在，请查看音乐列表和语音列表的内容！"_s},
        {&D::name, u"早安"_s, {}}, // its own name
        {&D::name, u"../外面"_s, u"任务名称不能包含“/”“\\”，也不能以“.”开头"_s},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.value.toStdString() + " → " + c.message.toStdString());
        BroadcastDraft draft = BroadcastDraft::fresh(tav::test::at("2026-11-23 08:00:00"));
        draft.name = u"新任务"_s;
        draft.content = u"请注意"_s;
        draft.*c.field = c.value;
        EXPECT_EQ(draft.check(dir, u"早安"_s), c.message);
    }
}

TEST(BroadcastDraftCheck, TimesComeFirstNoWeekdayIsRefusedAndAnOutOfRangeDelayBecomesZero)
{
    tav::test::DataFolder d;
    const tav::DataDir dir(d.path());
    BroadcastDraft draft = BroadcastDraft::fresh(tav::test::at("2026-11-23 08:00:00"));
    draft.name = u"新任务"_s; // no content yet: refused only after the times
    draft.timeEnd = draft.timeStart.addSecs(-1);
    EXPECT_EQ(draft.check(dir, {}), u"不许结束时间小于开始时间");
    draft.timeEnd = draft.timeStart;
    draft.content = u"请注意"_s;
    draft.week = QList<bool>(7, false);
    EXPECT_EQ(draft.check(dir, {}), u"不允许星期为空");
    draft.week[6] = true;
    draft.delay = u"1441"_s;
    EXPECT_EQ(draft.check(dir, {}), QString());
    EXPECT_EQ(draft.delay, u"0");
}
