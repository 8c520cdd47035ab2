#include "core/settings.h"
#include "fakes/fakes.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::Setting;
using tav::Settings;
using tav::Switch;

TEST(Settings, SwitchIsWrittenTheMomentItChangesAndReadBack)
{
    tav::test::DataFolder d;
    const tav::DataDir dir(d.path());
    Settings s(dir);
    s.load();
    QSignalSpy changed(&s, &Settings::switchChanged);
    s.setSwitch(Switch::NetTime, true);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(tav::IniFile(dir.control()).value(u"netTime"_s, u"netTimeOnOff"_s), u"1");
    s.setSwitch(Switch::StopSaturday, true);
    s.setSwitch(Switch::Pictures, true);
    s.setSwitch(Switch::Pictures, false);
    EXPECT_EQ(tav::IniFile(dir.control()).value(u"复选控制"_s, u"显示图片"_s), u"0");
    s.setText(Setting::StartDelay, u"30"_s);
    s.setSwitch(Switch::SecondMonitor, true);
    EXPECT_EQ(tav::IniFile(dir.file(u"【IMAGE】.ini"_s)).value(u"设置"_s, u"输出到第二显示器"_s), u"1");

    Settings again(dir);
    again.load();
    EXPECT_TRUE(again.isOn(Switch::NetTime) && again.isOn(Switch::SecondMonitor) && !again.isOn(Switch::Pictures));
    EXPECT_EQ(again.startDelaySeconds(), 30);
    EXPECT_TRUE(again.isWeekdayStopped(QDate(2026, 11, 21))); // a Saturday
    EXPECT_FALSE(again.isWeekdayStopped(QDate(2026, 11, 22)));
}

TEST(Settings, OriginalFileValuesAreHonoured)
{
    tav::test::DataFolder d;
    d.write(u"【CONTROL】.ini"_s,
            u"[复选控制]\n周日=1\n台标LOGO=0\n[广告时间选项]\nrunPic=1\nPicStartTime=7:30:00\n"
            "PicEndTime=21:00:00\n[AppRunDelayl]\nAppRunDelayVal=abc\n"_s);
    Settings s{tav::DataDir(d.path())};
    s.load();
    EXPECT_TRUE(s.isOn(Switch::StopSunday));
    EXPECT_FALSE(s.isOn(Switch::StopSaturday)); // missing reads as off
    EXPECT_EQ(s.shutdownTime(), Settings::kDefaultShutdown);
    EXPECT_TRUE(s.isOn(Switch::WorkingHours));
    EXPECT_EQ(s.workStart(), 7 * 3600 + 30 * 60);
    EXPECT_EQ(s.workEnd(), 21 * 3600);
    EXPECT_EQ(s.startDelaySeconds(), 0); // not a number
}
