#include "core/settings.h"

#include "core/zhtext.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

enum class File { Control, TimerSet, Image };

struct Place
{
    const char16_t *section;
    const char16_t *key;
    File file = File::Control;
};

constexpr const char16_t *kSwitchSection = u"复选控制";

Place placeOf(Switch s)
{
    switch (s) {
    case Switch::UseTaskVolume: return {kSwitchSection, u"是否使用设定的音量"};
    case Switch::AutoBackList: return {kSwitchSection, u"自动返回列表"};
    case Switch::ShutdownAtTime: return {kSwitchSection, u"是否执行关机时间"};
    case Switch::ShutdownOnStopDay: return {kSwitchSection, u"noPlayCloseComputer"};
    case Switch::StopMonday: return {kSwitchSection, u"周一"};
    case Switch::StopTuesday: return {kSwitchSection, u"周二"};
    case Switch::StopWednesday: return {kSwitchSection, u"周三"};
    case Switch::StopThursday: return {kSwitchSection, u"周四"};
    case Switch::StopFriday: return {kSwitchSection, u"周五"};
    case Switch::StopSaturday: return {kSwitchSection, u"周六"};
    case Switch::StopSunday: return {kSwitchSection, u"周日"};
    case Switch::Logo: return {kSwitchSection, u"台标LOGO"};
    case Switch::Pictures: return {kSwitchSection, u"显示图片"};
    case Switch::ScreenSaver: return {kSwitchSection, u"屏保"};
    case Switch::Captions: return {kSwitchSection, u"滚动文字"};
    case Switch::ClockShow: return {kSwitchSection, u"时间显示"};
    case Switch::Broadcast: return {kSwitchSection, u"播音"};
    case Switch::PreviewList: return {kSwitchSection, u"预览列表"};
    case Switch::FullScreen: return {kSwitchSection, u"是否播放时全屏"};
    case Switch::Aero: return {kSwitchSection, u"Aero"};
    case Switch::HideStatusBar: return {kSwitchSection, u"是否隐藏状态栏"};
    case Switch::WorkingHours: return {u"广告时间选项", u"runPic"};
    case Switch::NetTime: return {u"netTime", u"netTimeOnOff"};
    case Switch::SecondMonitor: return {u"设置", u"输出到第二显示器", File::Image};
    }
    Q_UNREACHABLE();
}

Place placeOf(Setting s)
{
    switch (s) {
    case Setting::WorkStart: return {u"广告时间选项", u"PicStartTime"};
    case Setting::WorkEnd: return {u"广告时间选项", u"PicEndTime"};
    case Setting::StartDelay: return {u"AppRunDelayl", u"AppRunDelayVal"};
    case Setting::LogoTop: return {u"LOGO顶边", u"LOGOTop"};
    case Setting::LogoLeft: return {u"LOGO左边", u"LOGOLeft"};
    case Setting::Channel: return {u"选择声道", u"Channel"};
    case Setting::PlayHeight: return {u"播放窗口尺寸", u"PlayHeight"};
    case Setting::PlayWidth: return {u"播放窗口尺寸", u"PlayWidth"};
    case Setting::PlayTop: return {u"播放窗口尺寸", u"PlayTop"};
    case Setting::PlayLeft: return {u"播放窗口尺寸", u"PlayLeft"};
    case Setting::ClockFontName: return {u"时间字体", u"Name"};
    case Setting::ClockFontSize: return {u"时间字体", u"Size"};
    case Setting::ClockFontBold: return {u"时间字体", u"Bold"};
    case Setting::ClockFontItalic: return {u"时间字体", u"Italic"};
    case Setting::ClockFontUnderline: return {u"时间字体", u"Underline"};
    case Setting::ClockFontStrikethru: return {u"时间字体", u"FontStrikethru"};
    case Setting::ClockForeColor: return {u"时间字体", u"ForeColor"};
    case Setting::Skin: return {kSwitchSection, u"skin"};
    case Setting::InterfaceColour: return {kSwitchSection, u"界面颜色值"};
    case Setting::ShutdownTime: return {u"定时器时间设置", u"关机时间", File::TimerSet};
    case Setting::ConsolePlace: return {u"主窗口位置", u"Place"};
    }
    Q_UNREACHABLE();
}

constexpr Switch kAllSwitches[] = {
    Switch::UseTaskVolume, Switch::AutoBackList, Switch::ShutdownAtTime, Switch::ShutdownOnStopDay,
    Switch::StopMonday, Switch::StopTuesday, Switch::StopWednesday, Switch::StopThursday,
    Switch::StopFriday, Switch::StopSaturday, Switch::StopSunday, Switch::Logo, Switch::Pictures,
    Switch::ScreenSaver, Switch::Captions, Switch::ClockShow, Switch::Broadcast,
    Switch::PreviewList, Switch::FullScreen, Switch::Aero, Switch::HideStatusBar,
    Switch::WorkingHours, Switch::NetTime, Switch::SecondMonitor};

constexpr Setting kAllSettings[] = {
    Setting::WorkStart, Setting::WorkEnd, Setting::StartDelay, Setting::LogoTop, Setting::LogoLeft,
    Setting::Channel, Setting::PlayHeight, Setting::PlayWidth, Setting::PlayTop, Setting::PlayLeft,
    Setting::ClockFontName, Setting::ClockFontSize, Setting::ClockFontBold, Setting::ClockFontItalic,
    Setting::ClockFontUnderline, Setting::ClockFontStrikethru, Setting::ClockForeColor,
    Setting::Skin, Setting::InterfaceColour, Setting::ShutdownTime, Setting::ConsolePlace};

// Monday first, as QDate::dayOfWeek counts.
constexpr Switch kWeekdayStops[] = {Switch::StopMonday, Switch::StopTuesday, Switch::StopWednesday,
                                    Switch::StopThursday, Switch::StopFriday, Switch::StopSaturday,
                                    Switch::StopSunday};

} // namespace

Settings::Settings(const DataDir &dir, QObject *parent)
    : QObject(parent), m_control(dir.control()), m_timerSet(dir.timerSet()),
      m_image(dir.file(u"【IMAGE】.ini"_s))
{
}

const IniFile &Settings::fileOf(int file) const
{
    switch (File(file)) {
    case File::TimerSet: return m_timerSet;
    case File::Image: return m_image;
    case File::Control: break;
    }
    return m_control;
}

QString Settings::keyOf(Switch s)
{
    return QString::fromUtf16(placeOf(s).key);
}

QString Settings::keyOf(Setting s)
{
    return QString::fromUtf16(placeOf(s).key);
}

void Settings::load()
{
    m_fresh = !QFileInfo::exists(m_control.path());
    // Each file is read once: its parsed form serves all its keys.
    const std::shared_ptr<const IniDocument> docs[] = {m_control.read(), m_timerSet.read(), m_image.read()};
    const auto read = [&docs](const Place &p) {
        return docs[int(p.file)]->value(QString::fromUtf16(p.section), QString::fromUtf16(p.key));
    };
    for (Switch s : kAllSwitches)
        m_switches[s] = read(placeOf(s)) == u"1";
    for (Setting s : kAllSettings)
        m_texts[s] = read(placeOf(s));
}

void Settings::reload()
{
    const QHash<Switch, bool> switches = m_switches;
    const QHash<Setting, QString> texts = m_texts;
    load();
    for (Switch s : kAllSwitches)
        if (switches.value(s, false) != isOn(s))
            emit switchChanged(s, isOn(s));
    for (Setting s : kAllSettings)
        if (texts.value(s) != text(s))
            emit textChanged(s, text(s));
}

bool Settings::writeFreshDefaults(const PlayWindowPlace &place, QString *error)
{
    // In the files' own order, so that a fresh file reads like the settings pages.
    QList<std::pair<Switch, bool>> switches;
    for (Switch s : kAllSwitches)
        switches.append({s, s == Switch::UseTaskVolume || s == Switch::AutoBackList
                                || (s == Switch::SecondMonitor && place.secondMonitor)});
    const QList<std::pair<Setting, QString>> texts{
        {Setting::WorkStart, zh::timeText(kDefaultWorkStart)},
        {Setting::WorkEnd, zh::timeText(kDefaultWorkEnd)},
        {Setting::ShutdownTime, zh::timeText(kDefaultShutdown)},
        {Setting::StartDelay, u"0"_s},
        {Setting::Channel, u"0"_s},
        {Setting::Skin, u"0"_s},
        {Setting::InterfaceColour, u"0"_s},
        {Setting::PlayHeight, QString::number(place.height)},
        {Setting::PlayWidth, QString::number(place.width)},
        {Setting::PlayTop, QString::number(place.top)},
        {Setting::PlayLeft, QString::number(place.left)},
    };

    const IniFile *files[] = {&m_control, &m_timerSet, &m_image};
    IniDocument docs[3];
    bool changed[3] = {};
    for (int f = 0; f < 3; ++f) {
        bool readable = true;
        docs[f] = *files[f]->read(&readable);
        if (!readable) {
            if (error)
                *error = files[f]->path();
            return false; // never replace a file that could not be read
        }
    }
    const auto put = [&](const Place &p, const QString &value) {
        IniDocument &doc = docs[int(p.file)];
        const QString section = QString::fromUtf16(p.section), key = QString::fromUtf16(p.key);
        if (doc.find(section, key))
            return false;
        doc.setValue(section, key, value);
        changed[int(p.file)] = true;
        return true;
    };
    for (const auto &[s, on] : switches)
        if (put(placeOf(s), on ? u"1"_s : u"0"_s))
            m_switches[s] = on;
    for (const auto &[s, value] : texts)
        if (put(placeOf(s), value))
            m_texts[s] = value;
    for (int f = 0; f < 3; ++f)
        if (changed[f] && !files[f]->write(docs[f], error))
            return false;
    m_fresh = false;
    return true;
}

void Settings::setSwitch(Switch s, bool on)
{
    m_switches[s] = on;
    const Place p = placeOf(s);
    fileOf(int(p.file)).setValue(QString::fromUtf16(p.section), QString::fromUtf16(p.key), on ? u"1"_s : u"0"_s);
    emit switchChanged(s, on);
}

bool Settings::setText(Setting s, const QString &value)
{
    m_texts[s] = value;
    const Place p = placeOf(s);
    const bool written =
        fileOf(int(p.file)).setValue(QString::fromUtf16(p.section), QString::fromUtf16(p.key), value);
    emit textChanged(s, value);
    return written;
}

int Settings::number(Setting s) const
{
    bool ok = false;
    const int v = text(s).trimmed().toInt(&ok);
    return ok ? v : 0;
}

int Settings::timeSetting(Setting s, int fallback) const
{
    const int t = zh::secondsOfDay(text(s));
    return t < 0 ? fallback : t;
}

int Settings::workStart() const { return timeSetting(Setting::WorkStart, kDefaultWorkStart); }
int Settings::workEnd() const { return timeSetting(Setting::WorkEnd, kDefaultWorkEnd); }
int Settings::shutdownTime() const { return timeSetting(Setting::ShutdownTime, kDefaultShutdown); }

void Settings::setShutdownAtTime(bool on, int timeOfDay)
{
    setSwitch(Switch::ShutdownAtTime, on);
    setText(Setting::ShutdownTime, zh::timeText(timeOfDay));
}

bool Settings::isWeekdayStopped(QDate date) const
{
    return date.isValid() && isOn(kWeekdayStops[date.dayOfWeek() - 1]);
}

} // namespace tav
