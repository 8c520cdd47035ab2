#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTime>

namespace tav {

class DataDir;

// One voice broadcast: the seventeen keys of its "TTSn" section, as text.
struct BroadcastTask
{
    int section = 0; // n of "TTSn"
    QString name;      // TTS_Name
    QString timeStart; // TTS_TimeStart "HH:mm:ss"; the units digit of the seconds is the priority
    QString timeEnd;   // TTS_TimeEnd
    QString dateStart; // TTS_DateStart "yyyy/M/d"
    QString dateEnd;   // TTS_DateEnd
    QString week;      // TTS_Week "一二三四五"
    QString interval;  // TTS_Interval minutes, 0 = once
    QString onOff = QStringLiteral("开"); // TTS_Switch "开"/"关"
    QString musicVolume = QStringLiteral("30"); // TTS_BGVolume percent
    QString tone = QStringLiteral("1");         // TTS_Tone
    QString speaker = QStringLiteral("VW Hui"); // TTS_Speaker
    QString rate = QStringLiteral("0");         // TTS_Rate -10 … 10
    QString voiceVolume = QStringLiteral("100"); // TTS_txtVolume percent
    QString music;     // TTS_BG_Music path
    QString index;     // TTS_Index: the section number
    QString delay = QStringLiteral("0");     // TTS_Delay minutes
    QString frequency = QStringLiteral("1"); // TTS_Frequency readings 1 … 10

    int priority() const;        // 0 … 9
    bool isOn() const { return onOff == QStringLiteral("开"); }
    QStringList fields() const;  // the seventeen values in key order
};

// "【TTS】.ini" and the broadcasts' text files. Rules:
// - sections "TTS1", "TTS2" … hold the seventeen keys in their order; a new
//   task takes the section after the last one there is;
// - the text of a task is in "<name>.ini" beside it: GBK with a closing line
//   break (a file in UTF-8 is read as such and said so);
// - load() writes back "1" for an empty TTS_Frequency and "0" for an empty
//   TTS_Delay, never rejecting the task;
// - saving a list rewrites the whole file in that order, renumbered from
//   "TTS1", TTS_Index following;
// - the last task is never deleted ("至少保留一条任务");
// - a name belongs to one task of either kind (media task or broadcast).
class BroadcastStore
{
public:
    static const QStringList kKeys; // the seventeen keys, in order

    explicit BroadcastStore(const DataDir &dir);

    // What one reading of "【TTS】.ini" found. Safe on any thread.
    struct Reading
    {
        QList<BroadcastTask> tasks;
        QHash<QString, int> byName; // a name's first task in `tasks`
        QStringList dropped; // one line per section left out, and why
        QString error;       // the file could not be read or repaired
        bool readable = true;
    };
    // Sections without a name are left out (and said in `dropped`), as is
    // everything in a file without one "TTSn" section; repairs are written
    // back.
    static Reading read(const DataDir &dir);
    void apply(Reading reading);

    // False with the reason when the file exists but cannot be read or a
    // repair cannot be written (the tasks read are kept either way).
    bool load(QString *error = nullptr);
    const QList<BroadcastTask> &tasks() const { return m_tasks; }
    const DataDir &dir() const { return m_dir; }
    // The first task of that name, found by its name at any size of the file.
    const BroadcastTask *find(const QString &name) const;

    // The text of a task; empty when the file is missing. `note` tells of a
    // file that was not GBK. Bytes that are neither GBK nor UTF-8 set
    // `unreadable` (the text then holds them as stand-ins, not as words).
    QString content(const QString &name, QString *note = nullptr, bool *unreadable = nullptr) const;

    // Each refuses with the operator's message in `error` and changes nothing.
    bool add(BroadcastTask task, const QString &text, QString *error);
    bool modify(int section, const QString &oldName, BroadcastTask task, const QString &text, QString *error);
    bool remove(int section, QString *error);
    bool saveList(const QList<BroadcastTask> &inOrder, QString *error);

    static QList<BroadcastTask> sortedByStart(QList<BroadcastTask> tasks);
    // Positions (in tasks()) of the tasks any of whose fields contains the
    // keyword; `message` is "关键字不允许为空" or "没有查找到任务" when none.
    QList<int> search(const QString &keyword, QString *message) const;

    // "08:30:07" with priority 3 → "08:30:03".
    static QString withPriority(const QString &time, int priority);
    // Monday first: {true,true,true,true,true,false,false} → "一二三四五".
    static QString weekToStr(const QList<bool> &days);

private:
    bool writeText(const QString &name, const QString &text, QString *error) const;
    bool checkName(const QString &name, const QString &own, QString *error) const;

    static QHash<QString, int> indexByName(const QList<BroadcastTask> &tasks);

    const DataDir &m_dir;
    QList<BroadcastTask> m_tasks;
    QHash<QString, int> m_byName;
};

} // namespace tav
