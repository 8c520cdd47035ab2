#pragma once

#include "core/datadir.h"
#include "scheduler/taskstore.h"

#include <QDate>
#include <QString>
#include <QStringList>

#include <array>

namespace tav {

class Prompt;

// The logic behind the task editor window (FormAddTask): the checks run when
// the operator confirms, the texts written into "【SONG】.ini" and the task's
// list file, and the editing of the two file lists. No widgets here; the
// window hands its controls' values over as a TaskDraft.

// Play orders in the order of the option buttons OptAddPlayMode0..2, which
// is also the order of the player's own play-order options. A task stores
// the caption.
const QStringList &playModes(); // "顺序", "循环", "随机"

// The play days of a task, as the three date-rule options show them.
struct DateRule
{
    enum class Kind { EveryDay, Weekly, OneDate };
    Kind kind = Kind::EveryDay;
    std::array<bool, 7> weekdays{}; // Monday (0) … Sunday (6), the weekly rule's boxes
    QDate date;                     // the one-date rule's date
};

// The "Device" text of a rule:
//   every day   "每天"
//   weekly      "每周" + the weekday characters of the ticked days in Monday-to-
//               Sunday order, e.g. "每周一三五", "每周六日"; "每周" alone when
//               no day is ticked (a task that never plays)
//   one date    "指定 " + the short date, e.g. "指定 2026/11/21"
// The task list finds a weekday by its character and a date by its text, so
// these forms are read back by TaskStore::playsOn.
QString DateSelect(const DateRule &rule);

// Reads a "Device" text back into the options. "每…" is every day when it
// holds "每天", else weekly with the box of every weekday character found;
// "指…" is one date, the text without "指定" (an unreadable date stays
// invalid). Texts of neither form, written by hand, keep what they mean to
// the task list as far as the options can: a bare date becomes the one-date
// rule, anything else the weekly rule with the weekday characters it holds.
DateRule parseDateRule(const QString &device);

// The task-name check of the editor, with its message: refuses the file-name
// characters " \ / : * ? < > (the vertical bar is named in the message but
// passes) and names of 100 GBK bytes or more. True when the name is fine.
bool checkTaskName(const QString &name, Prompt &prompt);

// The open dialogs' filters, written as "Text|patterns|Text|patterns…", and
// their Qt form.
extern const QString kMediaFileFilter;
extern const QString kPictureFileFilter;
QString qtFileFilter(const QString &pairs);

// The shared reordering of the media and the picture list: swap the selected
// entry with a neighbour or move it to index 0. Returns the entry's new index,
// -1 when no entry is selected.
enum class MoveTo { Up, Down, Top };
int reorder(QStringList &items, int selected, MoveTo where);

// What the editor window holds when the operator confirms.
struct TaskDraft
{
    QString name;         // TxtTaskName
    QString previousName; // txtNameTempSong: the name when opened, empty for a new task
    QString start;        // "H:mm:ss"
    QString end;          // "H:mm:ss"
    QString volume;       // the volume box's text
    DateRule days;
    QString mode;         // a caption of playModes()
    QString remind;       // cboNoteValue: "开" or "关"
    QStringList media;    // ListPlayAdd, in play order
    QStringList pictures; // ListPicAdd, in show order
    bool pictureModeOne = true; // OptPicModeOne chosen: "1", else "0"
    QString pictureInterval;    // cboTimeOne, seconds
};

class TaskEditor
{
public:
    static const QString kDefaultVolume; // "50000"

    TaskEditor(const DataDir &dir, Prompt &prompt);

    // The checks of confirming, in order, stopping at the first failure with
    // its message: volume (a refused volume text is reset to "50000" in the
    // draft), empty name, checkTaskName, chkSameNameSong.
    bool check(TaskDraft &draft) const;

    // True when no task other than the one named `previousName` and no voice
    // broadcast is called `name`; letter case does not count.
    bool chkSameNameSong(const QString &name, const QString &previousName) const;

    // The section number a new task is written to: the section count of
    // "【SONG】.ini" plus one (the section listing's last index plus two), or
    // the next number after it when that section exists already.
    int newTaskNumber() const;

    // Writes a checked draft as task "FileInfo<section>" and its list file.
    // In modify mode the list file of the previous name goes. Each file that
    // cannot be written is reported and the rest is still written; true when
    // everything was written.
    bool save(const TaskDraft &draft, int section, bool modify) const;

    // OpenFileAdd: appends a path unless the list has it already.
    bool OpenFileAdd(QStringList &media, const QString &file) const;
    // Command6: appends a web address and empties the text; refuses an empty text.
    bool addUrl(QStringList &media, QString &text) const;

    // The media and picture lists of a task's list file, for modifying it.
    struct Lists
    {
        QStringList media;
        PictureList pictures;
    };
    Lists readLists(const QString &taskName) const;

private:
    bool checkVolume(QString &volume) const;
    bool writeRecord(const TaskDraft &draft, int section) const;
    bool writeListFile(const TaskDraft &draft) const; // newPlaytext + newPicList
    void delziINI(const QString &previousName, const QString &newName) const;
    void writeFailed() const;

    DataDir m_dir;
    Prompt &m_prompt;
};

} // namespace tav
