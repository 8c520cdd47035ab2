#include "core/agenda.h"
#include "core/zhtext.h"
#include "fakes/rig.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskagenda.h"
#include "scheduler/taskstore.h"

#include <array>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::AgendaItem;
using tav::Setting;
using tav::Switch;
using tav::test::at;

namespace {

// A week of tasks meeting every rule that keeps one silent: a stop date
// (Wednesday), a weekday stop (Saturday), working hours 8:00 to 18:00, a
// daily shutdown at 16:30, a switched-off task, missing and partly missing
// files, an empty list and two tasks starting in the same second.
class AgendaWeek : public ::testing::Test, protected tav::test::PlaybackRig
{
protected:
    AgendaWeek() : PlaybackRig("2026-11-23 00:00:00") {}
    tav::TaskStore store{dir, settings};
    tav::StopDates stopDates{dir};
    tav::TaskAgendaLane lane{store, settings, stopDates};
    QString songs;
    int sections = 0;

    void task(const QString &name, const QString &start, const QString &end, const QString &days,
              const QStringList &media, const QString &timed = u"开"_s)
    {
        ++sections;
        songs += tav::test::taskSection(
            sections, {.name = name, .start = start, .end = end, .days = days, .order = u"顺序"_s, .timed = timed});
        d.write(name + u".ini"_s, tav::test::mediaList(media));
    }
    QString present(const QString &file)
    {
        d.write(file, u"x"_s);
        return d.file(file);
    }

    void SetUp() override
    {
        const QString a = present(u"a.mp3"_s), b = present(u"b.mp3"_s);
        task(u"早读"_s, u"7:50:00"_s, u"8:10:00"_s, u"每天"_s, {a});
        task(u"晨会"_s, u"8:30:00"_s, u"9:00:00"_s, u"每天"_s, {a, b});
        task(u"关着"_s, u"9:00:00"_s, u"9:30:00"_s, u"每天"_s, {a}, u"关"_s);
        task(u"缺文件"_s, u"10:00:00"_s, u"10:30:00"_s, u"每天"_s, {d.file(u"无.mp3"_s)});
        task(u"缺一个"_s, u"10:40:00"_s, u"10:50:00"_s, u"每天"_s, {a, d.file(u"丢.mp3"_s)});
        task(u"甲"_s, u"11:00:00"_s, u"11:30:00"_s, u"每天"_s, {a});
        task(u"乙"_s, u"11:00:00"_s, u"11:20:00"_s, u"每天"_s, {b});
        task(u"空单"_s, u"12:00:00"_s, u"12:10:00"_s, u"每天"_s, {});
        task(u"一三"_s, u"13:00:00"_s, u"13:10:00"_s, u"每一三"_s, {a});
        task(u"指定"_s, u"14:00:00"_s, u"14:10:00"_s, u"指定 2026/11/27"_s, {a});
        task(u"晚间"_s, u"17:00:00"_s, u"17:30:00"_s, u"每天"_s, {a});
        d.write(u"【SONG】.ini"_s, songs);
        d.write(u"【DATE】.ini"_s, u"[The number of Date]\nquantity=1\n[Holiday]\nDate0=2026/11/25\n"_s);
        settings.load();
        settings.setSwitch(Switch::StopSaturday, true);
        settings.setSwitch(Switch::WorkingHours, true);
        settings.setText(Setting::WorkStart, u"8:00:00"_s);
        settings.setText(Setting::WorkEnd, u"18:00:00"_s);
        settings.setShutdownAtTime(true, 16 * 3600 + 30 * 60);
        stopDates.load();
        store.load(clock.now().date());
    }

    QList<AgendaItem> week() { return tav::agenda::compute({&lane}, clock.now(), 7); }
    static QString reasonOf(const QList<AgendaItem> &items, const QString &day, const QString &name)
    {
        for (const AgendaItem &i : items)
            if (tav::zh::shortDate(i.date) == day && i.name == name)
                return i.plays() ? u"播放"_s : i.reason;
        return u"（无）"_s;
    }
};

} // namespace

TEST_F(AgendaWeek, EachStartHasItsReason)
{
    const QList<AgendaItem> items = week();
    const std::array<const char16_t *, 3> cases[] = {
        {u"2026/11/23", u"早读", u"不在工作时段"}, {u"2026/11/23", u"晨会", u"播放"},
        {u"2026/11/23", u"关着", u"定时=关"},      {u"2026/11/23", u"缺文件", u"文件缺失：无.mp3"},
        {u"2026/11/23", u"缺一个", u"播放"},       {u"2026/11/23", u"甲", u"与“乙”同时开始，被替换"},
        {u"2026/11/23", u"乙", u"播放"},           {u"2026/11/23", u"空单", u"列表为空"},
        {u"2026/11/23", u"一三", u"播放"},         {u"2026/11/23", u"晚间", u"关机后"},
        {u"2026/11/24", u"一三", u"（无）"},       {u"2026/11/25", u"晨会", u"停播日期"},
        {u"2026/11/25", u"一三", u"停播日期"},     {u"2026/11/27", u"指定", u"播放"},
        {u"2026/11/26", u"指定", u"（无）"},       {u"2026/11/28", u"晨会", u"停播星期"},
        {u"2026/11/29", u"晨会", u"播放"},
    };
    for (const auto &[day, name, reason] : cases)
        EXPECT_EQ(reasonOf(items, QString::fromUtf16(day), QString::fromUtf16(name)), QStringView(reason))
            << QString::fromUtf16(day).toStdString() << ' ' << QString::fromUtf16(name).toStdString();

    // Ordered by day and time.
    for (qsizetype i = 1; i < items.size(); ++i)
        EXPECT_TRUE(std::pair(items[i - 1].date, items[i - 1].start) <= std::pair(items[i].date, items[i].start));
}

TEST_F(AgendaWeek, LinesSayWhatPlaysAndWhyNotAndWarningsNameEachProblemOnceFromItsFirstDay)
{
    clock.set(at("2026-11-23 10:20:00")); // 缺文件 is past today
    const QList<AgendaItem> items = week();
    EXPECT_EQ(tav::agenda::warnings(items),
              (QStringList{u"定时任务“缺一个”：文件缺失：丢.mp3（2026/11/23 起）"_s,
                           u"定时任务“空单”：列表为空（2026/11/23 起）"_s,
                           u"定时任务“缺文件”：文件缺失：无.mp3（2026/11/24 起）"_s}));
    QStringList lines;
    for (const AgendaItem &i : items)
        if (i.date == clock.now().date())
            lines.append(tav::agenda::line(i));
    EXPECT_EQ(lines.value(0), u"2026/11/23 星期一 07:50:00-08:10:00 定时任务 早读 已过（不播放：不在工作时段）");
    EXPECT_EQ(lines.value(4), u"2026/11/23 星期一 10:40:00-10:50:00 定时任务 缺一个 播放  注意：文件缺失：丢.mp3");
}
