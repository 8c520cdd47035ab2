#include "broadcast/broadcastdraft.h"
#include "core/datadir.h"

#include "core/tasknames.h"
#include "core/zhtext.h"

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// Digits only, within the bounds.
bool inRange(const QString &text, int low, int high)
{
    if (text.isEmpty() || text.size() > 6)
        return false;
    for (const QChar c : text)
        if (c < u'0' || c > u'9')
            return false;
    const int n = text.toInt();
    return n >= low && n <= high;
}

bool signedInRange(const QString &text, int low, int high)
{
    return text.startsWith(u'-') ? inRange(text.mid(1), 0, -low) : inRange(text, 0, high);
}

} // namespace

BroadcastDraft BroadcastDraft::fresh(const QDateTime &now)
{
    BroadcastDraft d;
    // The next whole minute, which has not begun to pass (on the next day
    // after 23:59).
    const QDateTime next = QDateTime(now.date(), QTime(now.time().hour(), now.time().minute())).addSecs(60);
    d.timeStart = next.time();
    const QTime end = d.timeStart.addSecs(120);
    d.timeEnd = end < d.timeStart ? QTime(23, 59, 59) : end; // not past midnight
    d.dateStart = next.date();
    // To the end of the year, or of the next one when that is within a month.
    d.dateEnd = QDate(d.dateStart.year(), 12, 31);
    if (d.dateStart.daysTo(d.dateEnd) < 31)
        d.dateEnd = QDate(d.dateStart.year() + 1, 12, 31);
    d.week = QList<bool>(7, true);
    return d;
}

BroadcastDraft BroadcastDraft::from(const BroadcastTask &task, const QString &content)
{
    BroadcastDraft d;
    d.name = task.name;
    d.content = content;
    const int start = zh::secondsOfDay(task.timeStart), end = zh::secondsOfDay(task.timeEnd);
    // The picker shows the time without the priority in its seconds.
    d.timeStart = QTime(0, 0).addSecs(qMax(0, start - start % 10));
    d.timeEnd = QTime(0, 0).addSecs(qMax(0, end));
    d.dateStart = zh::parseShortDate(task.dateStart);
    d.dateEnd = zh::parseShortDate(task.dateEnd);
    static const QString days = u"一二三四五六日"_s;
    for (int i = 0; i < 7; ++i)
        d.week[i] = task.week.contains(days[i]);
    d.interval = task.interval;
    d.onOff = task.onOff;
    d.musicVolume = task.musicVolume;
    d.tone = task.tone.trimmed() == u"1";
    d.speaker = task.speaker;
    d.rate = task.rate;
    d.voiceVolume = task.voiceVolume;
    d.music = task.music;
    d.delay = task.delay;
    d.frequency = task.frequency;
    d.priority = QString::number(task.priority());
    return d;
}

QString BroadcastDraft::check(const DataDir &dir, const QString &ownName)
{
    if (timeStart.toString(u"HH:mm:ss"_s) > timeEnd.toString(u"HH:mm:ss"_s))
        return u"不许结束时间小于开始时间"_s;
    if (dateEnd < dateStart)
        return u"不允许结束日期小于开始日期"_s;
    if (name.trimmed().isEmpty() || content.isEmpty())
        return u"不允许任务名称或内容为空"_s;
    if (!inRange(interval, 0, 1200))
        return u"不允许间隔分钟超出0-1200之间"_s;
    if (!inRange(frequency, 1, 10))
        return u"不允许次数超出1-10之间"_s;
    if (!inRange(priority, 0, 9))
        return u"不允许优先值超出0-9之间"_s;
    if (!signedInRange(rate, -10, 10))
        return u"不允许语速超出-10到10之间"_s;
    if (!inRange(voiceVolume, 0, 100))
        return u"不允许朗读音量超出0-100之间"_s;
    if (!inRange(musicVolume, 0, 100))
        return u"不允许音乐音量超出0-100之间"_s;
    if (!inRange(delay, 0, 1440))
        delay = u"0"_s;
    if (!week.contains(true))
        return u"不允许星期为空"_s;
    const QString n = name.trimmed();
    if (!n.isEmpty() && !DataDir::isSafeName(n))
        return DataDir::nameProblem(n, u"任务名称"_s);
    if (TaskNames::isTaken(dir, n, {}, ownName))
        return u"该名称已存在，请查看音乐列表和语音列表的内容！"_s;
    return {};
}

BroadcastTask BroadcastDraft::toTask() const
{
    BroadcastTask t;
    t.name = name.trimmed();
    t.timeStart = BroadcastStore::withPriority(timeStart.toString(u"HH:mm:ss"_s), priority.toInt());
    t.timeEnd = timeEnd.toString(u"HH:mm:ss"_s);
    t.dateStart = zh::shortDate(dateStart);
    t.dateEnd = zh::shortDate(dateEnd);
    t.week = BroadcastStore::weekToStr(week);
    t.interval = interval;
    t.onOff = onOff;
    t.musicVolume = musicVolume;
    t.tone = tone ? u"1"_s : u"0"_s;
    t.speaker = speaker;
    t.rate = rate;
    t.voiceVolume = voiceVolume;
    t.music = music;
    t.delay = delay;
    t.frequency = frequency;
    return t;
}

} // namespace tav
