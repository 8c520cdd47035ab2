#pragma once

#include "core/datadir.h"
#include "core/ini.h"

#include <QDate>
#include <QHash>
#include <QObject>
#include <QString>

namespace tav {

// On/off options, each stored as "0"/"1" ("【CONTROL】.ini" unless noted).
enum class Switch {
    UseTaskVolume,     // 复选控制/是否使用设定的音量  checkVoiceValue
    AutoBackList,      // 复选控制/自动返回列表        chkAutoBackList
    ShutdownAtTime,    // 复选控制/是否执行关机时间    chkCloseComputer
    ShutdownOnStopDay, // 复选控制/noPlayCloseComputer chkclsRetime
    StopMonday,        // 复选控制/周一 … 周日         chkMonday … chkSund
    StopTuesday,
    StopWednesday,
    StopThursday,
    StopFriday,
    StopSaturday,
    StopSunday,
    Logo,              // 复选控制/台标LOGO   chkLogo
    Pictures,          // 复选控制/显示图片   chkPic
    ScreenSaver,       // 复选控制/屏保       chkPingBao
    Captions,          // 复选控制/滚动文字   chkScrollOpen
    ClockShow,         // 复选控制/时间显示   chkTimeShow
    Broadcast,         // 复选控制/播音       chkTTS
    PreviewList,       // 复选控制/预览列表   chkViewList
    FullScreen,        // 复选控制/是否播放时全屏
    Aero,              // 复选控制/Aero
    HideStatusBar,     // 复选控制/是否隐藏状态栏
    WorkingHours,      // 广告时间选项/runPic  chkWorkTime
    NetTime,           // netTime/netTimeOnOff chkNetTime
    SecondMonitor,     // 【IMAGE】.ini 设置/输出到第二显示器  chkdisplayTwo
};

// Options kept as text.
enum class Setting {
    WorkStart,      // 广告时间选项/PicStartTime  DTPicStartTime
    WorkEnd,        // 广告时间选项/PicEndTime    DTPicEndTime
    StartDelay,     // AppRunDelayl/AppRunDelayVal cboDelayRun, seconds
    LogoTop,        // LOGO顶边/LOGOTop
    LogoLeft,       // LOGO左边/LOGOLeft
    Channel,        // 选择声道/Channel
    PlayHeight,     // 播放窗口尺寸/PlayHeight … PlayLeft, pixels
    PlayWidth,
    PlayTop,
    PlayLeft,
    ClockFontName,  // 时间字体/Name … ForeColor
    ClockFontSize,
    ClockFontBold,
    ClockFontItalic,
    ClockFontUnderline,
    ClockFontStrikethru,
    ClockForeColor,
    Skin,           // 复选控制/skin
    InterfaceColour, // 复选控制/界面颜色值
    ShutdownTime,   // 【TIMERSET】.ini 定时器时间设置/关机时间  DTPCloseTime
    ConsolePlace,   // 主窗口位置/Place: "left,top,width,height" of the console, pixels
};

// The operator's options as the station is running with them: read once at
// start-up, written to their file the moment one changes. A missing switch
// reads as off; missing times read as the defaults below.
class Settings : public QObject
{
    Q_OBJECT
public:
    static constexpr int kDefaultWorkStart = 8 * 3600;
    static constexpr int kDefaultWorkEnd = 18 * 3600;
    static constexpr int kDefaultShutdown = 18 * 3600;

    // Where the player window goes on a fresh station.
    struct PlayWindowPlace
    {
        int height = 600;
        int width = 800;
        int top = 0;
        int left = 0;
        bool secondMonitor = false;
    };

    explicit Settings(const DataDir &dir, QObject *parent = nullptr);

    void load();
    // load() again after another program changed the files: every option
    // whose value changed is told as if it had been set here.
    void reload();
    // No "【CONTROL】.ini" existed at the last load: a fresh station.
    bool isFresh() const { return m_fresh; }
    // Writes a fresh station's defaults, so that its files say what is in
    // force: every switch (each task at its own volume, back to the task
    // list after playback, the rest off), the working hours, the shutdown
    // time, no start delay, both channels and the player window's place.
    // A key that already has a value keeps it. One write per file.
    bool writeFreshDefaults(const PlayWindowPlace &place, QString *error = nullptr);

    bool isOn(Switch s) const { return m_switches.value(s, false); }
    void setSwitch(Switch s, bool on);
    QString text(Setting s) const { return m_texts.value(s); }
    // False when the file could not be written (the value is in force all the same).
    bool setText(Setting s, const QString &value);
    // Decimal value of a text option; 0 when missing or not a number.
    int number(Setting s) const;

    // Working hours and the daily shutdown as seconds of the day.
    int workStart() const;
    int workEnd() const;
    int shutdownTime() const;
    // The operator ticks chkCloseComputer: the switch and the time are written together.
    void setShutdownAtTime(bool on, int timeOfDay);
    int startDelaySeconds() const { return qMax(0, number(Setting::StartDelay)); }
    // The weekday switch ("周一" … "周日") of the date's weekday is on.
    bool isWeekdayStopped(QDate date) const;

    static QString keyOf(Switch s);
    static QString keyOf(Setting s);

signals:
    void switchChanged(tav::Switch s, bool on);
    void textChanged(tav::Setting s, const QString &value);

private:
    int timeSetting(Setting s, int fallback) const;
    const IniFile &fileOf(int file) const;

    IniFile m_control;
    IniFile m_timerSet;
    IniFile m_image;
    QHash<Switch, bool> m_switches;
    QHash<Setting, QString> m_texts;
    bool m_fresh = false;
};

} // namespace tav
