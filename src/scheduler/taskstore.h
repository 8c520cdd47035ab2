#pragma once

#include "core/datadir.h"

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

namespace tav {

class Prompt;
class Settings;

// One section "FileInfo<n>" of "【SONG】.ini". The key names do not say what
// they hold (Type is the volume, Device the play days, Duration the end
// time); that mapping is the file format.
struct TaskRecord
{
    int section = 0;      // n of "FileInfo<n>" the record was loaded from
    QString name;         // Name
    QString start;        // Time, "9:00:00"
    QString end;          // Duration, an end time of day
    QString volume;       // Type, 0 to 65535
    QString days;         // Device: "每天", "每…" with weekday characters, or "指定 <date>"
    QString mode;         // Recurrence: "顺序", "循环" or "随机"
    QString remind;       // Remind: "开" = timed

    // Grid columns 1 to 7.
    QStringList columns() const { return {name, start, end, volume, days, mode, remind}; }
};

// A task due today, as the scheduler walks it: the grid row's columns 0 to 7
// joined with "<分>", split once, with its times in seconds (-1 when not a time).
struct TodayTask
{
    QStringList fields; // 0 row number, 1 name, 2 start, 3 end, 4 volume, 5 days, 6 mode, 7 timed
    int start = -1;
    int end = -1;

    const QString &name() const { return fields.at(1); }
    const QString &days() const { return fields.at(5); }
};

struct PictureList
{
    QStringList paths;
    QString mode;         // "1" or "0"
    int intervalSeconds;  // 3 when the file leaves it empty
};

// The scheduled tasks: "【SONG】.ini" loaded as the task grid's rows, and
// from them the list of tasks due today.
class TaskStore
{
public:
    static const QString kFieldSeparator;  // "<分>"
    static const QString kRecordSeparator; // "<分隔>"

    TaskStore(const DataDir &dir, const Settings &settings);

    // Fills the rows from the file and rebuilds today's list for `today`.
    // The file is rewritten gapless when `rewrite` is set or a section
    // number within the count was empty.
    void load(QDate today, bool rewrite = false);
    // load() in two halves: reading the file, which may run on any thread,
    // and taking its rows in.
    struct TaskFile
    {
        QList<TaskRecord> rows;
        bool gap = false;     // a section number within the count was empty
        bool readable = true; // false: the file exists but could not be read
    };
    static TaskFile readTaskFile(const DataDir &dir);
    // Why the task file, changed by another program, is not taken in (see
    // IniFile::notWholeReason); empty when it can be.
    static QString incompleteReason(const DataDir &dir);
    void apply(TaskFile file, QDate today, bool rewrite = false);
    // Only reads: load() leaves the file as it is (for reports on a folder
    // a station may be running on).
    void setReadOnly(bool on) { m_readOnly = on; }

    // How many times load() has read the file on this thread: a read begun
    // on another thread before the latest load() may be older than the rows.
    quint64 loads() const { return m_loads; }

    const QList<TaskRecord> &rows() const { return m_rows; }
    const QList<TodayTask> &today() const { return m_today; }
    // Today's list as the record array: every record followed by "<分隔>",
    // split again, so the array ends with one empty element.
    const QStringList &todayRecords() const { return m_todayRecords; }
    QDate listDate() const { return m_listDate; }
    // False when the last load found "【SONG】.ini" there but could not read
    // it: then nothing writes it until it reads again.
    bool fileReadable() const { return m_readable; }

    // Whether a task goes into the list of `date`, and if not, why.
    enum class Due { Yes, NotThatDay, Untimed, OutsideWorkingHours };
    static Due dueOn(const TaskRecord &r, QDate date, const Settings &settings);

    // The play days include the date: "每天", its weekday character or its date text.
    static bool playsOn(const QString &days, QDate date);
    static bool playsOn(const QString &days, const QString &weekdayChar, const QString &dateText);

    static TaskRecord defaultRecord();
    // The sample task and its own list file (empty), unless one exists.
    bool writeDefaultRecord();
    // Moves the task of row `row` one place up (-1) or down (+1): the whole
    // file is rewritten in the new order in one atomic replace and today's
    // list is rebuilt. False when there is no such place or the write failed.
    bool moveTask(qsizetype row, int by, QDate today);
    // Rewrites "【SONG】.ini" from the rows in their order, one atomic replace.
    bool rewrite();

    enum class DeleteResult { KeepOne, Declined, Deleted };
    // Deletes the task of row `row` after the operator confirms, then reloads.
    DeleteResult deleteTask(qsizetype row, Prompt &prompt, QDate today);

    // A list holds at most what a list box can; items past that are dropped
    // and counted in *dropped. Reads only the task's list file, in time
    // linear in its size, and may run on any thread.
    static constexpr int kMaxListItems = 32767;
    static QStringList readMediaList(const DataDir &dir, const QString &taskName, int *dropped = nullptr);
    QStringList readMediaList(const QString &taskName) const { return readMediaList(m_dir, taskName); }
    const DataDir &dataDir() const { return m_dir; }
    QString listFileOf(const QString &taskName) const { return m_dir.taskListFile(taskName); }
    PictureList readPictureList(const QString &taskName) const;

private:
    DataDir m_dir;
    const Settings &m_settings;
    QList<TaskRecord> m_rows;
    QList<TodayTask> m_today;
    QStringList m_todayRecords;
    QDate m_listDate;
    bool m_readOnly = false;
    bool m_readable = true;
    quint64 m_loads = 0;
};

} // namespace tav
