#pragma once

#include "core/datadir.h"
#include "scheduler/taskeditor.h"
#include "scheduler/taskstore.h"

#include <QDialog>
#include <QStringList>

#include <array>
#include <functional>

class QCheckBox;
class QComboBox;
class QDateEdit;
class QGridLayout;
class QGroupBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTimeEdit;

namespace tav {

class Clock;
class Prompt;

// The task editor: a modeless window the main window keeps for the whole
// run and opens for a new task or for modifying one. Nothing is written
// before the operator confirms; on a confirm that passes the checks the task
// is written, saved() is emitted and the window closes.
class FormAddTask : public QDialog
{
    Q_OBJECT

public:
    // Asks for files to open: returns the chosen paths, empty when cancelled.
    using FileChooser = std::function<QStringList(const QString &title, const QString &filter)>;

    FormAddTask(const DataDir &dir, Prompt &prompt, const Clock &clock, QWidget *parent = nullptr);

    // Clears the controls for a new task and shows the window. The task's
    // number is taken from "【SONG】.ini" when the operator confirms.
    void openNew();
    // Fills the controls from a task and its list file and shows the window;
    // the task is written back to "FileInfo<record.section>".
    void openModify(const TaskRecord &record);

    bool isModifying() const { return m_modify; }
    // The FileInfo number the window writes to; 0 for a new task before confirming.
    int taskNumber() const { return m_section; }

    // Replaces the open-files dialog (tests script it).
    void setFileChooser(FileChooser chooser) { m_chooseFiles = std::move(chooser); }

signals:
    // A task was written; the task list is to be loaded again.
    void saved();

private:
    void buildControls();
    QListWidget *editableList(QGroupBox *box, QGridLayout *grid, const QString &listName,
                              const std::array<QString, 6> &buttonNames, const QString &addCaption,
                              void (FormAddTask::*add)());
    void updateDateControls();
    void selectDateRule(const DateRule &rule);
    DateRule dateRule() const;
    QString playMode() const;
    TaskDraft draft() const;
    void confirm(bool modify);
    void addMediaFiles();
    void addPictures();
    void addUrl();
    void setOnTop(bool on);
    void clearForm();

    TaskEditor m_editor;
    const Clock &m_clock;
    FileChooser m_chooseFiles;
    bool m_modify = false;
    int m_section = 0;

    QLineEdit *m_name = nullptr;         // TxtTaskName
    QLineEdit *m_previousName = nullptr; // txtNameTempSong, hidden
    QTimeEdit *m_start = nullptr;        // DTPaddStarTime
    QTimeEdit *m_end = nullptr;          // DTPaddEndTime
    QLineEdit *m_volume = nullptr;       // txtVolume
    QRadioButton *m_everyDay = nullptr;  // optEveryDay
    QRadioButton *m_weekly = nullptr;    // OptWeek
    QRadioButton *m_oneDate = nullptr;   // OptDayLight
    std::array<QCheckBox *, 7> m_weekdays{}; // ChkMondas … ChkSunday
    QDateEdit *m_date = nullptr;         // DTP_add_Date_one
    std::array<QRadioButton *, 3> m_playModes{}; // OptAddPlayMode0..2
    QComboBox *m_remind = nullptr;       // cboNoteValue
    QListWidget *m_media = nullptr;      // ListPlayAdd
    QLineEdit *m_url = nullptr;          // TextUrlAdd
    QListWidget *m_pictures = nullptr;   // ListPicAdd
    QRadioButton *m_picModeOne = nullptr; // OptPicModeOne
    QRadioButton *m_picModeTwo = nullptr; // OptPicModeTwo
    QComboBox *m_interval = nullptr;     // cboTimeOne
    QCheckBox *m_onTop = nullptr;        // tayontop
    QPushButton *m_newOk = nullptr;      // CmdOK
    QPushButton *m_modifyOk = nullptr;   // cmd_ModiOK
};

} // namespace tav
