#pragma once

#include "scheduler/taskstore.h"

#include <QMainWindow>

#include <functional>

class QAction;
class QActionGroup;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class QSlider;
class QSystemTrayIcon;
class QTabWidget;
class QTableWidget;
class QTimeEdit;

namespace tav {

class AgendaPage;
class CaptionStrip;
class frmMoveFont;
class frmFileBak;
class frmPic;
class TTSAppMain;
class AutoStart;
class FormAddTask;
class HelpWindow;
class AnnounceBar;
class EmergencyBox;
class EmergencyCover;
class LogoControls;
class Station;
class frmPlay;
class PlayerWindowControls;
class StopDatesBox;
class TimeHealthButton;
class StopWatch;
class TaskGrid;
enum class Switch;

// The station console. Thin: every control shows or sets the station's own
// state, and every option is written the moment it is clicked. Each control
// carries its name as objectName.
class MainForm1 : public QMainWindow
{
    Q_OBJECT
public:
    // videoWindow may be null where nothing is shown (tests without a player).
    MainForm1(Station &station, AutoStart &autoStart, frmPlay *videoWindow = nullptr,
              QWidget *parent = nullptr);
    ~MainForm1() override;

    // Start-up after the window exists: the auto-start path check, the
    // station's own start, then every control from the settings.
    void startUp();
    // A second copy asked for this one, or the tray's menu: the window comes
    // back where it was.
    void bringToFront();
    // Closing the window keeps the station running in the tray.
    void hideToTray();

    // The grid's task rows, as shown.
    void showTasks(const QList<TaskRecord> &rows);
    void reloadTasks(); // the whole task file, and today's list again
    // The web console changed tasks, stop dates or options: show them.
    void reloadFromRemote();

    // Toolbar and menu actions.
    void newTask();
    void modifyTask();
    void deleteTask();
    void playOne();
    // Moves the selected task one place up (-1) or down (+1) in the task file.
    void moveTask(int by);
    void requestExit();

    // The operator's own play list.
    void addPlayFiles();
    void playKey();
    void pauseKey();
    void stopKey();
    void playListDoubleClicked(int row);

    using FileChooser = std::function<QStringList(const QString &title, const QString &filter)>;
    void setFileChooser(FileChooser chooser);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    QWidget *buildTaskPage();
    QWidget *buildPlayListPage();
    QWidget *buildSettingsPage();
    QWidget *buildStopPage();
    QWidget *buildAgendaPage();
    void showEmergency(bool active, const QString &text);
    frmFileBak *fileBackup(); // made on first use, lives as long as the window
    void openBroadcasts(); // the broadcast window, made once
    void openCaptions();   // the caption editor, made once
    void openPictures();   // the slideshow's window, made once
    void buildMenus();
    void buildTray();
    void buildStatusBar();
    void wireStation();
    void loadControls();
    QCheckBox *switchBox(const char *name, const QString &text, Switch s);
    void onSecond();
    void showIdleStatus();
    void applySkin(int skin);
    void showLog();

    Station &m_station;
    AutoStart &m_autoStart;
    FormAddTask *m_editor = nullptr;
    HelpWindow *m_help = nullptr;
    StopWatch *m_stopWatch = nullptr;
    bool m_exiting = false;

    QTabWidget *m_tabs = nullptr;
    AgendaPage *m_agenda = nullptr;
    frmFileBak *m_fileBackup = nullptr;
    TTSAppMain *m_broadcastWindow = nullptr;
    frmMoveFont *m_captionEditor = nullptr;
    CaptionStrip *m_captionStrip = nullptr;
    frmPic *m_pictureWindow = nullptr;
    TimeHealthButton *m_timeHealth = nullptr;
    QLabel *m_dataFaults = nullptr;
    TaskGrid *m_grid = nullptr;
    QListWidget *m_playList = nullptr;
    QListWidget *m_preview = nullptr; // 预览列表: the selected task's media
    void showPreview();
    QLabel *m_playingName = nullptr;
    QSlider *m_volume = nullptr;
    QPushButton *m_playMode = nullptr;
    QCheckBox *m_muted = nullptr;
    QRadioButton *m_channels[3] = {};
    QGroupBox *m_messages = nullptr;
    QPlainTextEdit *m_information = nullptr;
    QComboBox *m_delay = nullptr;
    QTimeEdit *m_workStart = nullptr;
    QTimeEdit *m_workEnd = nullptr;
    QTimeEdit *m_closeTime = nullptr;
    QCheckBox *m_closeComputer = nullptr;
    QCheckBox *m_autoRun = nullptr;
    QSlider *m_colour = nullptr;
    StopDatesBox *m_stopDates = nullptr;
    QLabel *m_clock = nullptr;
    QLabel *m_status = nullptr;
    QLabel *m_nextTask = nullptr;
    QLabel *m_remaining = nullptr;
    QLabel *m_workHours = nullptr;
    QLabel *m_mediaName = nullptr;
    QRect m_shownGeometry; // where the window was (frame position, size) when it went to the tray
    // The console's place is kept over a restart and always put back on a
    // screen, whole when it fits.
    void keepPlace();
    void restorePlace(QRect place);
    QAction *m_autoRunAction = nullptr;
    QAction *m_statusBarAction = nullptr;
    QActionGroup *m_skins = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
    QList<QCheckBox *> m_switchBoxes;
    frmPlay *m_video = nullptr;
    PlayerWindowControls *m_playerWindow = nullptr;
    LogoControls *m_logo = nullptr;
    QPushButton *m_playKey = nullptr;
    QPushButton *m_pauseKey = nullptr;
    // "OK" once the operator chose to keep the running task's end time.
    QString m_listTag;
    FileChooser m_chooseFiles;
    AnnounceBar *m_announceBar = nullptr;
    EmergencyBox *m_emergencyBox = nullptr;
    QAction *m_trayEmergency = nullptr;
    EmergencyCover *m_cover = nullptr;
};

} // namespace tav
