#pragma once

#include "broadcast/broadcaststore.h"

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QTime>

namespace tav {

class DataDir;

// One broadcast task as the editor holds it. check() runs the editor's
// checks in their order and returns the first message, or "" when the
// task may be saved:
// 1 start later than end "不许结束时间小于开始时间" (equal passes);
// 2 end date before start date "不允许结束日期小于开始日期";
// 3 name or content empty "不允许任务名称或内容为空";
// 4 interval not 0 … 1200 "不允许间隔分钟超出0-1200之间";
// 5 frequency not 1 … 10 "不允许次数超出1-10之间";
// 6 priority not 0 … 9 "不允许优先值超出0-9之间";
//   (numbers are digits only: a leading blank or sign is refused)
// 7 rate -10 … 10, voice and music volume 0 … 100, with their own messages;
// 8 a delay that is not a number becomes "0";
// 9 no weekday "不允许星期为空";
// 10 name taken by a media task or another broadcast
//   "该名称已存在，请查看音乐列表和语音列表的内容！".
struct BroadcastDraft
{
    QString name;
    QString content;
    QTime timeStart;
    QTime timeEnd;
    QDate dateStart;
    QDate dateEnd;
    QList<bool> week = QList<bool>(7, false); // Monday first
    QString interval = QStringLiteral("0");
    QString onOff = QStringLiteral("开");
    QString musicVolume = QStringLiteral("30");
    bool tone = true;
    QString speaker = QStringLiteral("VW Hui");
    QString rate = QStringLiteral("0");
    QString voiceVolume = QStringLiteral("100");
    QString music;
    QString delay = QStringLiteral("0");
    QString frequency = QStringLiteral("1");
    QString priority = QStringLiteral("0");

    // A new task: starting at the next whole minute, ending two minutes
    // later (at the latest 23:59:59), every day of the week, from that
    // minute's date to the end of the year (of the next year in December).
    static BroadcastDraft fresh(const QDateTime &now);
    static BroadcastDraft from(const BroadcastTask &task, const QString &content);

    QString check(const DataDir &dir, const QString &ownName);
    // With the priority in the units digit of the start time's seconds.
    BroadcastTask toTask() const;
};

} // namespace tav
