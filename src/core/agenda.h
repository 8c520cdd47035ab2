#pragma once

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>

namespace tav {

// One start in the week ahead: a timed media task, a broadcast or a caption
// on one day, and whether it will play that day or why not.
struct AgendaItem
{
    QDate date;
    int start = -1; // seconds of the day
    int end = -1;   // seconds of the day; -1 when it has no end of its own
    QString lane;   // the lane's title: "定时任务", "语音播报", "滚动字幕"
    QString name;
    QString reason;  // empty: it will play; otherwise why it will not, in words
    QString warning; // it plays, but something the operator must fix ("文件缺失：…")
    bool past = false; // today, before now
    bool attention = false; // the reason or warning is something to fix (a file, a voice)

    bool plays() const { return reason.isEmpty(); }
    bool operator==(const AgendaItem &) const = default;
};

// One kind of timed thing. A lane answers for any day with the same rules
// its subsystem applies at run time, without side effects.
class AgendaLane
{
public:
    virtual ~AgendaLane() = default;
    virtual QString title() const = 0;
    // Called once before a run of itemsOn(): reread what the answers need.
    virtual void refresh() {}
    // The starts of the day, in the order the subsystem would meet them.
    virtual QList<AgendaItem> itemsOn(QDate date) const = 0;
};

namespace agenda {

// The starts of `days` days from now's date on, over the lanes, ordered by
// day, time and lane; today's starts before now are marked past.
QList<AgendaItem> compute(const QList<AgendaLane *> &lanes, const QDateTime &now, int days);

// "2026/11/24 星期二 08:30:00-09:00:00 定时任务 早操音乐 播放", or "不播放：" + the
// reason; a warning follows after "  注意：".
QString line(const AgendaItem &item);

// The warnings and the reasons an operator has to act on (a missing file,
// a voice that is not installed), one line per thing to fix, earliest day first.
QStringList warnings(const QList<AgendaItem> &items);
// The same lines, each with the key that stays the same while the problem
// does (its kind, its start and its problem, not the date it is first seen on).
QList<std::pair<QString, QString>> keyedWarnings(const QList<AgendaItem> &items);

} // namespace agenda
} // namespace tav
