#include "shell/mainform1.h"

#include "remote/webconsolebox.h"
#include "core/named.h"

#include "core/datafaults.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "platform/prompt.h"
#include "playback/playbackcontroller.h"
#include "playback/frmplay.h"
#include "playback/playerwindowcontrols.h"
#include "pictures/logocontrols.h"
#include "scheduler/formaddtask.h"
#include "scheduler/taskeditor.h"
#include "scheduler/scheduler.h"
#include "scheduler/stopdates.h"
#include "scheduler/stopdatesbox.h"
#include "scheduler/taskfilter.h"
#include "scheduler/taskgrid.h"
#include "scheduler/timepicker.h"
#include "shell/autostart.h"
#include "shell/emergencycover.h"
#include "shell/emergencypanel.h"
#include "shell/helpwindow.h"
#include "shell/skins.h"
#include "backup/frmfilebak.h"
#include "broadcast/ttsappmain.h"
#include "captions/captionstrip.h"
#include "captions/frmmovefont.h"
#include "pictures/frmpic.h"
#include "pictures/overlaykeeper.h"
#include "pictures/picturepanel.h"
#include "shell/agendapage.h"
#include "timesync/timehealthbutton.h"
#include "shell/station.h"
#include "scheduler/taskagenda.h"
#include "shell/stopwatch.h"

#include <QActionGroup>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QSlider>
#include <QStatusBar>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTableWidget>
#include <QTimeEdit>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kTitle = u"Tavrel多媒体定时播放系统"_s;
const QString kTimeFormat = u"H:mm:ss"_s;
// Start-up delays offered, in seconds.
const QStringList kDelays{u"0"_s, u"5"_s, u"10"_s, u"15"_s, u"20"_s, u"30"_s,
                          u"45"_s, u"60"_s, u"90"_s, u"120"_s, u"180"_s, u"300"_s};

QPushButton *button(const char *name, const QString &text, const QString &tip = QString())
{
    auto *b = named(new QPushButton(text), name);
    if (!tip.isEmpty())
        b->setToolTip(tip);
    return b;
}

QTimeEdit *timeEdit(const char *name)
{
    return named(new TimePicker, name);
}

QTime timeOf(int seconds)
{
    return QTime(0, 0).addSecs(seconds);
}

} // namespace

MainForm1::MainForm1(Station &station, AutoStart &autoStart, frmPlay *videoWindow, QWidget *parent)
    : QMainWindow(parent), m_station(station), m_autoStart(autoStart), m_video(videoWindow)
{
    m_playerWindow = new PlayerWindowControls(videoWindow, station.playback(),
                                              station.settings(), station.prompt(), this);
    // The logo and clock overlay, kept above the player window and full screen.
    m_logo = new LogoControls(station.settings(), station.dataDir(), station.player(), station.ticker(),
                              station.clock(), station.prompt(), this);
    m_logo->watch(videoWindow);
    m_logo->watch(findChild<QWidget *>(u"frmFullMV"_s));
    m_logo->watch(this);
    setObjectName(u"MainForm1"_s);
    setWindowTitle(kTitle);
    resize(1024, 720);

    auto *central = new QWidget;
    auto *layout = new QVBoxLayout(central);
    auto *title = named(new QLabel(kTitle), "lblTitle");
    QFont titleFont = title->font();
    titleFont.setPointSize(titleFont.pointSize() + 8);
    titleFont.setBold(true);
    title->setFont(titleFont);
    m_clock = named(new QLabel, "lblClock");
    m_clock->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto *header = named(new QWidget, "picTitle");
    auto *headerRow = new QHBoxLayout(header);
    headerRow->addWidget(title, 1);
    headerRow->addWidget(m_clock);
    layout->addWidget(header);

    // Said now, and the emergency: one action from the main window.
    m_announceBar = new AnnounceBar(m_station);
    layout->addWidget(m_announceBar);

    m_tabs = named(new QTabWidget, "SSTab1");
    // Pages taller than the window scroll: a look with bigger controls
    // does not grow the window past the screen.
    const auto scrolling = [](QWidget *page) {
        auto *area = new QScrollArea;
        area->setWidget(page);
        area->setWidgetResizable(true);
        area->setFrameShape(QFrame::NoFrame);
        return area;
    };
    m_tabs->addTab(buildTaskPage(), u"定时任务"_s);
    m_tabs->addTab(buildPlayListPage(), u"播放列表"_s);
    m_tabs->addTab(scrolling(buildSettingsPage()), u"系统设置"_s);
    m_tabs->addTab(scrolling(buildStopPage()), u"停播与关机"_s);
    m_tabs->addTab(buildAgendaPage(), u"一周节目表"_s);
    layout->addWidget(m_tabs, 3);

    m_messages = named(new QGroupBox(u"消息"_s), "Frame11");
    auto *messageLayout = new QHBoxLayout(m_messages);
    m_information = named(new QPlainTextEdit, "txtInformation");
    m_information->setReadOnly(true);
    messageLayout->addWidget(m_information, 1);
    auto *messageButtons = new QVBoxLayout;
    auto *clear = button("cmdTipsClear", u"清空"_s);
    auto *hide = button("cmdTipsHide", u"隐藏"_s);
    messageButtons->addWidget(clear);
    messageButtons->addWidget(hide);
    messageButtons->addStretch();
    messageLayout->addLayout(messageButtons);
    connect(clear, &QPushButton::clicked, &m_station.log(), &MessageLog::clear);
    connect(hide, &QPushButton::clicked, m_messages, &QWidget::hide); // the view menu brings it back
    layout->addWidget(m_messages, 1);
    setCentralWidget(central);

    buildStatusBar(); // before the menus, which open its clock window
    buildMenus();
    buildTray();
    wireStation();

    connect(&m_station.scheduler(), &Scheduler::taskEnded, m_playerWindow, &PlayerWindowControls::resetVideo);
    // The slideshow's pictures show in the player window, which comes up with them.
    if (m_video) {
        new PictureScreen(m_station.slideshow(), m_station.playback(), *m_video);
        m_station.slideshow().setDisplay(true);
        connect(&m_station.slideshow(), &Slideshow::showingChanged, this, [this](bool showing) {
            if (showing)
                m_playerWindow->showVideo();
            m_logo->screenChanged(); // pictures on the screen keep the screen saver away
        });
        m_logo->setScreenBusy([this] { return m_station.slideshow().isShowing(); });
    }
    connect(m_playerWindow, &PlayerWindowControls::returnedToMain, this, &MainForm1::bringToFront);
    m_editor = new FormAddTask(m_station.dataDir(), m_station.prompt(), m_station.clock(), this);
    // The caption strip follows the scroller; the overlays' keeper puts it
    // back on top whenever a player window comes over it.
    m_captionStrip = new CaptionStrip(m_station.captionScroller(), m_station.captions(), m_station.settings(),
                                      m_station.log(), m_station.clock(), this);
    m_logo->keeper().addOverlay(m_captionStrip);
    // The red screen goes above the caption strip and the logo too.
    m_cover = new EmergencyCover(this);
    connect(m_cover, &EmergencyCover::windowShown, this, [this](QWidget *w) { m_logo->keeper().addOverlay(w); });
    connect(m_cover, &EmergencyCover::clearConfirmed, this, [this] {
        QString error;
        if (!m_station.clearEmergency(u"紧急画面"_s, &error))
            m_station.prompt().informLater(kTitle, error);
    });
    connect(&m_station, &Station::emergencyChanged, this, &MainForm1::showEmergency);
    connect(m_editor, &FormAddTask::saved, this, &MainForm1::reloadTasks);
}

MainForm1::~MainForm1() = default;

QWidget *MainForm1::buildTaskPage()
{
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    auto *filters = new QHBoxLayout;
    auto *day = button("cmdThis_task", u"本日"_s, u"显示当天内的任务"_s);
    auto *week = button("cmdWeekOK", u"本周"_s, u"显示未来7天内的任务"_s);
    auto *month = button("cmdMonth", u"本月"_s, u"显示未来30天内的任务"_s);
    auto *all = button("cmd_ShowAllTaskOK", u"全部"_s, u"显示全部任务"_s);
    for (QPushButton *b : {day, week, month, all})
        filters->addWidget(b);
    filters->addStretch();
    layout->addLayout(filters);
    connect(day, &QPushButton::clicked, this, [this] {
        showTasks(TaskFilter::thisDay(m_station.dataDir(), m_station.clock().now().date()));
    });
    connect(week, &QPushButton::clicked, this, [this] {
        showTasks(TaskFilter::thisWeek(m_station.dataDir(), m_station.clock().now().date()));
    });
    connect(month, &QPushButton::clicked, this, [this] {
        showTasks(TaskFilter::thisMonth(m_station.dataDir(), m_station.clock().now().date()));
    });
    connect(all, &QPushButton::clicked, this, &MainForm1::reloadTasks);

    m_grid = new TaskGrid;
    connect(m_grid, &QTableWidget::cellDoubleClicked, this, &MainForm1::modifyTask);
    layout->addWidget(m_grid, 1);
    m_preview = named(new QListWidget, "ListPreview");
    m_preview->setToolTip(u"选中任务的播放列表"_s);
    m_preview->setMaximumHeight(120);
    m_preview->hide();
    layout->addWidget(m_preview);
    connect(m_grid, &QTableWidget::itemSelectionChanged, this, &MainForm1::showPreview);

    auto *actions = new QHBoxLayout;
    auto *add = button("cmdNewAddTaskOK", u"新增任务"_s);
    auto *modify = button("cmd_mainModiOK", u"修改任务"_s);
    auto *remove = button("cmdDelTask", u"删除任务"_s);
    auto *play = button("cmdPlayOne", u"立即播放"_s);
    auto *up = button("cmdTaskUp", u"上移"_s, u"把选中的任务向上移一位"_s);
    auto *down = button("cmdTaskDown", u"下移"_s, u"把选中的任务向下移一位"_s);
    for (QPushButton *b : {add, modify, remove, play, up, down})
        actions->addWidget(b);
    actions->addStretch();
    auto *backup = button("cmdBackup", u"备份任务"_s, u"备份软件目录下的所有文件内容到指定的文件夹中"_s);
    actions->addWidget(backup);
    layout->addLayout(actions);
    connect(backup, &QPushButton::clicked, this, [this] { fileBackup()->openForBackup(); });
    connect(add, &QPushButton::clicked, this, &MainForm1::newTask);
    connect(modify, &QPushButton::clicked, this, &MainForm1::modifyTask);
    connect(remove, &QPushButton::clicked, this, &MainForm1::deleteTask);
    connect(play, &QPushButton::clicked, this, &MainForm1::playOne);
    connect(up, &QPushButton::clicked, this, [this] { moveTask(-1); });
    connect(down, &QPushButton::clicked, this, [this] { moveTask(1); });
    return page;
}

QWidget *MainForm1::buildPlayListPage()
{
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    m_playingName = named(new QLabel, "txtPlayingName");
    layout->addWidget(m_playingName);
    m_playList = named(new QListWidget, "ListManualPlayFile");
    layout->addWidget(m_playList, 1);
    connect(m_playList, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem *item) { playListDoubleClicked(m_playList->row(item)); });

    PlaybackController &playback = m_station.playback();
    auto *keys = new QHBoxLayout;
    auto *add = button("CommandAddFile", u"添加文件"_s);
    auto *remove = button("CommandDelete", u"删除"_s);
    auto *up = button("cmdPlayListUp", u"上移"_s);
    auto *down = button("cmdPlayListDown", u"下移"_s);
    m_playKey = button("CommandPlaykey", QString(), u"播放"_s);
    m_playKey->setIcon(style()->standardIcon(QStyle::SP_MediaPlay));
    m_pauseKey = button("CommandPuaseKey", u"〓"_s, u"暂停 / 继续"_s);
    auto *stop = button("CommandStopKey", QString(), u"停止"_s);
    stop->setIcon(style()->standardIcon(QStyle::SP_MediaStop));
    for (QPushButton *b : {add, remove, up, down})
        keys->addWidget(b);
    keys->addStretch();
    for (QPushButton *b : {m_playKey, m_pauseKey, stop})
        keys->addWidget(b);
    keys->addSpacing(24);
    keys->addWidget(m_playerWindow->openButton());
    keys->addWidget(m_playerWindow->narrowButton());
    layout->addLayout(keys);
    connect(add, &QPushButton::clicked, this, &MainForm1::addPlayFiles);
    connect(remove, &QPushButton::clicked, this,
            [this] { m_station.playback().removeItem(m_station.playback().selectedIndex()); });
    connect(up, &QPushButton::clicked, this,
            [this] { m_station.playback().moveItem(m_station.playback().selectedIndex(), -1); });
    connect(down, &QPushButton::clicked, this,
            [this] { m_station.playback().moveItem(m_station.playback().selectedIndex(), 1); });
    connect(m_playKey, &QPushButton::clicked, this, &MainForm1::playKey);
    connect(m_pauseKey, &QPushButton::clicked, this, &MainForm1::pauseKey);
    connect(stop, &QPushButton::clicked, this, &MainForm1::stopKey);
    connect(&playback, &PlaybackController::playKeyChanged, this, [this](bool playing) {
        m_playKey->setIcon(style()->standardIcon(playing ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay));
        if (playing)
            m_pauseKey->setText(u"〓"_s); // a new item is never paused
    });

    auto *controls = new QHBoxLayout;
    controls->addWidget(new QLabel(u"音量"_s));
    m_volume = named(new QSlider(Qt::Horizontal), "Slider1");
    m_volume->setRange(0, PlaybackController::kMaxSlider);
    m_volume->setPageStep(PlaybackController::kMaxSlider / 20);
    controls->addWidget(m_volume, 1);
    connect(m_volume, &QSlider::sliderMoved, &playback, &PlaybackController::setSlider);
    connect(m_volume, &QSlider::actionTriggered, this, [this](int action) {
        if (action != QAbstractSlider::SliderMove)
            m_station.playback().setSlider(m_volume->sliderPosition());
    });
    m_playMode = button("cmdPlayMode", playModeName(playback.mode()));
    connect(m_playMode, &QPushButton::clicked, &playback, &PlaybackController::cycleMode);
    controls->addWidget(m_playMode);
    auto *mute = button("cmdMute", u"静音"_s);
    m_muted = named(new QCheckBox(u"已静音"_s), "chkVolume");
    m_muted->setEnabled(false);
    connect(mute, &QPushButton::clicked, &playback, &PlaybackController::toggleMute);
    controls->addWidget(mute);
    controls->addWidget(m_muted);
    const QString channelNames[3] = {u"双声道"_s, u"左声道"_s, u"右声道"_s};
    for (int i = 0; i < 3; ++i) {
        m_channels[i] = new QRadioButton(channelNames[i]);
        m_channels[i]->setObjectName(u"Optchannel%1"_s.arg(i));
        connect(m_channels[i], &QRadioButton::clicked, this, [this, i] { m_station.playback().setChannel(i); });
        controls->addWidget(m_channels[i]);
    }
    layout->addLayout(controls);
    return page;
}

QCheckBox *MainForm1::switchBox(const char *name, const QString &text, Switch s)
{
    auto *box = named(new QCheckBox(text), name);
    box->setProperty("switch", int(s));
    connect(box, &QCheckBox::clicked, this, [this, s](bool on) {
        m_station.settings().setSwitch(s, on);
        if (s == Switch::WorkingHours)
            reloadTasks(); // today's list leaves out tasks outside the hours
        if (s == Switch::SecondMonitor)
            m_playerWindow->applyPlacement();
        if (s == Switch::PreviewList)
            showPreview();
        if (s == Switch::Captions) {
            if (on)
                m_station.captionScroller().cmdStartNow_Click();
            else
                m_station.captionScroller().cmdSRstop_Click();
        }
    });
    m_switchBoxes.append(box);
    return box;
}

QWidget *MainForm1::buildSettingsPage()
{
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    auto *play = new QGroupBox(u"播放选项"_s);
    auto *grid = new QGridLayout(play);
    const QList<QCheckBox *> boxes{
        switchBox("checkVoiceValue", u"按任务设定的音量播放"_s, Switch::UseTaskVolume),
        switchBox("chkAutoBackList", u"播放结束后返回任务列表"_s, Switch::AutoBackList),
        switchBox("chkPic", u"任务间隔显示图片"_s, Switch::Pictures),
        switchBox("chkLogo", u"显示台标"_s, Switch::Logo),
        switchBox("chkPingBao", u"屏保图片"_s, Switch::ScreenSaver),
        switchBox("chkScrollOpen", u"滚动字幕"_s, Switch::Captions),
        switchBox("chkTimeShow", u"显示时间"_s, Switch::ClockShow),
        switchBox("chkTTS", u"语音播报"_s, Switch::Broadcast),
        switchBox("chkViewList", u"预览列表"_s, Switch::PreviewList),
        switchBox("CheckFullSelect", u"播放时全屏"_s, Switch::FullScreen),
        switchBox("chkdisplayTwo", u"输出到第二显示器"_s, Switch::SecondMonitor),
        switchBox("chkNetTime", u"网络校时"_s, Switch::NetTime)};
    for (int i = 0; i < boxes.size(); ++i)
        grid->addWidget(boxes[i], i / 3, i % 3);
    boxes[5]->setToolTip(u"如果字幕不是定时的时间内，则不会显示，需要进入字幕编辑进行手动播放"_s);
    auto *captions = button("cmdScrollOpen", u"字幕编辑..."_s, u"可添加广告语，通知信息等等一些提示信息在屏幕上显示"_s);
    connect(captions, &QPushButton::clicked, this, &MainForm1::openCaptions);
    grid->addWidget(captions, int(boxes.size() + 2) / 3, 0);
    auto *pictures = button("cmdPicSet", u"图片广告设置..."_s);
    connect(pictures, &QPushButton::clicked, this, &MainForm1::openPictures);
    grid->addWidget(pictures, int(boxes.size() + 2) / 3, 1);
    layout->addWidget(play);

    auto *start = new QGroupBox(u"启动"_s);
    auto *startRow = new QHBoxLayout(start);
    m_autoRun = named(new QCheckBox(u"开机自动启动"_s), "chkAutoRun");
    startRow->addWidget(m_autoRun);
    startRow->addSpacing(24);
    startRow->addWidget(new QLabel(u"启动延时（秒）"_s));
    m_delay = named(new QComboBox, "cboDelayRun");
    m_delay->addItems(kDelays);
    startRow->addWidget(m_delay);
    startRow->addStretch();
    connect(m_delay, &QComboBox::textActivated, this,
            [this](const QString &text) { m_station.settings().setText(Setting::StartDelay, text); });
    layout->addWidget(start);

    layout->addWidget(m_playerWindow->sizeBox());
    layout->addWidget(m_logo->placeBox());

    auto *look = new QGroupBox(u"界面"_s);
    auto *lookRow = new QHBoxLayout(look);
    lookRow->addWidget(new QLabel(u"界面颜色"_s));
    m_colour = named(new QSlider(Qt::Horizontal), "Slider3");
    m_colour->setRange(-180, 180);
    lookRow->addWidget(m_colour, 1);
    // Re-skinning polishes every widget: while the slider is dragged, apply
    // (and store) the colour once it rests.
    auto *recolour = new QTimer(this);
    recolour->setSingleShot(true);
    recolour->setInterval(150);
    connect(m_colour, &QSlider::valueChanged, recolour, qOverload<>(&QTimer::start));
    connect(recolour, &QTimer::timeout, this, [this] {
        m_station.settings().setText(Setting::InterfaceColour, QString::number(m_colour->value()));
        Skins::apply(*qApp, Skins::fromSetting(m_station.settings().text(Setting::Skin)), m_colour->value());
    });
    layout->addWidget(look);
    m_emergencyBox = new EmergencyBox(m_station);
    connect(m_tabs, &QTabWidget::currentChanged, m_emergencyBox, &EmergencyBox::load);
    layout->addWidget(m_emergencyBox);
    layout->addWidget(new WebConsoleBox(m_station.dataDir(), m_station.prompt()));
    layout->addStretch();
    return page;
}

void MainForm1::showEmergency(bool active, const QString &text)
{
    m_trayEmergency->setText(active ? u"解除紧急广播"_s : u"紧急广播"_s);
    if (active)
        m_cover->showText(text, m_station.clock().now());
    else
        m_cover->hideAll();
}

frmFileBak *MainForm1::fileBackup()
{
    if (!m_fileBackup)
        m_fileBackup = new frmFileBak(m_station.dataDir().root(), m_station.prompt(), m_station.clock(), this);
    return m_fileBackup;
}

void MainForm1::openBroadcasts()
{
    if (!m_broadcastWindow) {
        const std::optional<BroadcastParts> parts = m_station.broadcastParts();
        if (!parts) {
            m_station.prompt().inform(u"提示"_s, u"语音播报不可用：没有语音引擎或播放器，详见消息区"_s);
            return;
        }
        m_broadcastWindow = new TTSAppMain(*parts, this);
    }
    m_broadcastWindow->show();
    m_broadcastWindow->raise();
}

void MainForm1::openCaptions()
{
    if (!m_captionEditor) {
        m_captionEditor = new frmMoveFont(m_station.captions(), m_station.captionScroller(), m_captionStrip,
                                          m_station.prompt(), m_station.clock(), this);
        connect(m_captionEditor, &frmMoveFont::returned, this, &MainForm1::bringToFront);
    }
    m_captionEditor->show();
    m_captionEditor->raise();
    m_captionStrip->keepClear(*m_captionEditor); // the strip stays above every window
}

void MainForm1::openPictures()
{
    if (!m_pictureWindow) {
        m_pictureWindow = new frmPic(m_station.slideshow(), m_station.prompt(), this);
        if (m_chooseFiles)
            m_pictureWindow->setFileChooser(m_chooseFiles);
    }
    m_pictureWindow->show();
    m_pictureWindow->raise();
}

// The week ahead; a click on a block opens that start's editor.
QWidget *MainForm1::buildAgendaPage()
{
    m_agenda = new AgendaPage(m_station.weekAhead(), m_station.clock());
    connect(m_agenda, &AgendaPage::itemActivated, this, [this](const AgendaItem &item) {
        if (item.lane != TaskAgendaLane::kTitle)
            return;
        for (const TaskRecord &r : m_station.tasks().rows()) {
            if (r.name == item.name) {
                m_editor->openModify(r);
                return;
            }
        }
    });
    Scheduler &scheduler = m_station.scheduler();
    connect(&scheduler, &Scheduler::taskStarted, m_agenda,
            [this](const QString &name) { m_agenda->setRunningTask(TaskAgendaLane::kTitle, name); });
    connect(&scheduler, &Scheduler::taskEnded, m_agenda, [this] { m_agenda->setRunningTask({}, {}); });
    return m_agenda;
}

QWidget *MainForm1::buildStopPage()
{
    auto *page = new QWidget;
    auto *layout = new QGridLayout(page);

    m_stopDates = new StopDatesBox(m_station.stopDates(), m_station.scheduler(), m_station.prompt());
    layout->addWidget(m_stopDates, 0, 0, 3, 1);

    auto *weekdays = new QGroupBox(u"每周停播"_s);
    auto *weekRow = new QHBoxLayout(weekdays);
    weekRow->addWidget(switchBox("chkMonday", u"周一"_s, Switch::StopMonday));
    weekRow->addWidget(switchBox("ChkTuesday", u"周二"_s, Switch::StopTuesday));
    weekRow->addWidget(switchBox("ChkWednesday", u"周三"_s, Switch::StopWednesday));
    weekRow->addWidget(switchBox("ChkThursday", u"周四"_s, Switch::StopThursday));
    weekRow->addWidget(switchBox("ChkFriday", u"周五"_s, Switch::StopFriday));
    weekRow->addWidget(switchBox("ChkSaturday", u"周六"_s, Switch::StopSaturday));
    weekRow->addWidget(switchBox("chkSund", u"周日"_s, Switch::StopSunday));
    layout->addWidget(weekdays, 0, 1);

    auto *hours = new QGroupBox(u"工作时段"_s);
    auto *hoursRow = new QHBoxLayout(hours);
    hoursRow->addWidget(switchBox("chkWorkTime", u"启用工作时段"_s, Switch::WorkingHours));
    m_workStart = timeEdit("DTPicStartTime");
    m_workEnd = timeEdit("DTPicEndTime");
    hoursRow->addWidget(new QLabel(u"从"_s));
    hoursRow->addWidget(m_workStart);
    hoursRow->addWidget(new QLabel(u"至"_s));
    hoursRow->addWidget(m_workEnd);
    hoursRow->addStretch();
    for (auto [edit, setting] : {std::pair{m_workStart, Setting::WorkStart}, {m_workEnd, Setting::WorkEnd}}) {
        connect(edit, &QTimeEdit::editingFinished, this, [this, edit = edit, setting = setting] {
            m_station.settings().setText(setting, edit->time().toString(kTimeFormat));
            reloadTasks();
        });
    }
    layout->addWidget(hours, 1, 1);

    auto *shutdown = new QGroupBox(u"关机"_s);
    auto *shutdownRow = new QHBoxLayout(shutdown);
    m_closeComputer = named(new QCheckBox(u"定时关机"_s), "chkCloseComputer");
    m_closeTime = timeEdit("DTPCloseTime");
    auto *stopDayOff = switchBox("chkclsRetime", u"停播日立即关机"_s, Switch::ShutdownOnStopDay);
    stopDayOff->setToolTip(u"当天是停播日期立即关机"_s);
    shutdownRow->addWidget(m_closeComputer);
    shutdownRow->addWidget(m_closeTime);
    shutdownRow->addSpacing(24);
    shutdownRow->addWidget(stopDayOff);
    shutdownRow->addStretch();
    const auto saveShutdown = [this] {
        m_station.settings().setShutdownAtTime(m_closeComputer->isChecked(),
                                               zh::secondsOfDay(m_closeTime->time()));
    };
    connect(m_closeComputer, &QCheckBox::clicked, this, saveShutdown);
    connect(m_closeTime, &QTimeEdit::editingFinished, this, saveShutdown);
    layout->addWidget(shutdown, 2, 1);
    layout->setColumnStretch(0, 1);
    layout->setColumnStretch(1, 2);
    return page;
}

void MainForm1::buildMenus()
{
    const auto action = [this](QMenu *menu, const char *name, const QString &text) {
        QAction *a = menu->addAction(text);
        a->setObjectName(QString::fromLatin1(name));
        return a;
    };
    QMenu *tasks = menuBar()->addMenu(u"任务(&T)"_s);
    connect(action(tasks, "mnuTaskAdd", u"新增任务"_s), &QAction::triggered, this, &MainForm1::newTask);
    connect(action(tasks, "mnuTaskModi", u"修改任务"_s), &QAction::triggered, this, &MainForm1::modifyTask);
    connect(action(tasks, "mnuTaskDele", u"删除任务"_s), &QAction::triggered, this, &MainForm1::deleteTask);
    connect(action(tasks, "mnuTaskUp", u"上移任务"_s), &QAction::triggered, this, [this] { moveTask(-1); });
    connect(action(tasks, "mnuTaskDown", u"下移任务"_s), &QAction::triggered, this, [this] { moveTask(1); });
    tasks->addSeparator();
    connect(action(tasks, "mnuPlayOne", u"立即播放"_s), &QAction::triggered, this, &MainForm1::playOne);
    tasks->addSeparator();
    connect(action(tasks, "mnuBakTasks", u"备份所有任务"_s), &QAction::triggered, this, [this] { fileBackup()->openForBackup(); });
    connect(action(tasks, "mnuImportTasks", u"导入所有任务"_s), &QAction::triggered, this,
            [this] { fileBackup()->openForRestore(); });

    QMenu *settings = menuBar()->addMenu(u"设置(&S)"_s);
    m_autoRunAction = action(settings, "mnuAutoRun", u"开机自动启动"_s);
    m_autoRunAction->setCheckable(true);
    QMenu *skins = settings->addMenu(u"界面风格"_s);
    skins->setObjectName(u"mnuSkin"_s);
    m_skins = new QActionGroup(this);
    const std::pair<const char *, QString> skinItems[] = {{"mnuWindow", u"系统默认"_s},
                                                          {"mnuQQ08", u"经典蓝"_s},
                                                          {"mnuQQ09", u"夜色"_s},
                                                          {"mnuVista", u"玻璃"_s}};
    for (int i = 0; i < 4; ++i) {
        QAction *a = action(skins, skinItems[i].first, skinItems[i].second);
        a->setCheckable(true);
        a->setData(i);
        m_skins->addAction(a);
        connect(a, &QAction::triggered, this, [this, i] { applySkin(i); });
    }
    settings->addSeparator();
    connect(action(settings, "mnuSetAero", u"开启透明效果"_s), &QAction::triggered, this, [this] {
        Skins::setAero(*this, true);
        m_station.settings().setSwitch(Switch::Aero, true);
    });
    connect(action(settings, "mnuNoAero", u"关闭透明效果"_s), &QAction::triggered, this, [this] {
        Skins::setAero(*this, false);
        m_station.settings().setSwitch(Switch::Aero, false);
    });
    m_statusBarAction = action(settings, "mnuStatusBar", u"显示状态栏"_s);
    m_statusBarAction->setCheckable(true);
    connect(m_statusBarAction, &QAction::triggered, this, [this](bool shown) {
        statusBar()->setVisible(shown);
        m_station.settings().setSwitch(Switch::HideStatusBar, !shown);
    });

    const auto setAutoRun = [this](bool on) {
        const bool ok = m_autoStart.setEnabled(on, QCoreApplication::applicationFilePath(),
                                               m_station.dataDir().root());
        if (!ok)
            m_station.prompt().inform(u"提示"_s, u"无法设置开机自动启动："_s + m_autoStart.errorString());
        const bool now = m_autoStart.isEnabled();
        m_autoRun->setChecked(now);
        m_autoRunAction->setChecked(now);
    };
    connect(m_autoRun, &QCheckBox::clicked, this, setAutoRun);
    connect(m_autoRunAction, &QAction::triggered, this, setAutoRun);

    QMenu *view = menuBar()->addMenu(u"视窗(&V)"_s);
    // The message pane: 隐藏 hides it, this brings it back.
    QAction *tips = action(view, "mnuTips", u"显示消息区"_s);
    tips->setCheckable(true);
    tips->setChecked(true);
    connect(tips, &QAction::toggled, m_messages, &QWidget::setVisible);
    connect(findChild<QPushButton *>(u"cmdTipsHide"_s), &QPushButton::clicked, tips,
            [tips] { tips->setChecked(false); });
    view->addSeparator();
    connect(action(view, "mnuMini", u"迷你视窗"_s), &QAction::triggered, this, [this] {
        if (!m_playerWindow->isMini())
            m_playerWindow->toggleMiniView();
    });
    connect(action(view, "mnuReset", u"还原视窗"_s), &QAction::triggered, this, [this] {
        if (m_playerWindow->isMini())
            m_playerWindow->toggleMiniView();
    });

    QMenu *tools = menuBar()->addMenu(u"工具(&O)"_s);
    connect(action(tools, "mnuTTSPop", u"语音播报..."_s), &QAction::triggered, this, &MainForm1::openBroadcasts);
    connect(action(tools, "mnuCaption", u"滚动字幕..."_s), &QAction::triggered, this, &MainForm1::openCaptions);
    connect(action(tools, "mnuPic", u"图片广告..."_s), &QAction::triggered, this, &MainForm1::openPictures);
    connect(action(tools, "mnuNetTime", u"网络校时"_s), &QAction::triggered, m_timeHealth, &TimeHealthButton::openWindow);
    connect(action(tools, "mnuTimeShow", u"时间字体..."_s), &QAction::triggered, m_logo, &LogoControls::openTimeShow);
    connect(action(tools, "mnuStopWatch", u"秒表"_s), &QAction::triggered, this, [this] {
        if (!m_stopWatch)
            m_stopWatch = new StopWatch(this);
        m_stopWatch->show();
        m_stopWatch->raise();
    });

    QMenu *help = menuBar()->addMenu(u"帮助(&H)"_s);
    connect(action(help, "mnuSoftwareInstructions", u"帮助说明"_s), &QAction::triggered, this, [this] {
        if (!m_help)
            m_help = new HelpWindow(m_station.dataDir().root(), this);
        m_help->show();
        m_help->raise();
    });

    // The grid's own menu.
    auto *popup = new QMenu(this);
    connect(action(popup, "mnuAddTast", u"新增任务"_s), &QAction::triggered, this, &MainForm1::newTask);
    connect(action(popup, "mnuChange", u"修改任务"_s), &QAction::triggered, this, &MainForm1::modifyTask);
    connect(action(popup, "mnuDelTask", u"删除任务"_s), &QAction::triggered, this, &MainForm1::deleteTask);
    popup->addSeparator();
    connect(action(popup, "mnuUpTask", u"上移任务"_s), &QAction::triggered, this, [this] { moveTask(-1); });
    connect(action(popup, "mnuDownTask", u"下移任务"_s), &QAction::triggered, this, [this] { moveTask(1); });
    connect(m_grid, &QWidget::customContextMenuRequested, this,
            [this, popup](const QPoint &at) { popup->popup(m_grid->viewport()->mapToGlobal(at)); });
}

void MainForm1::buildStatusBar()
{
    QStatusBar *bar = statusBar();
    bar->setObjectName(u"StatusBar1"_s);
    m_status = named(new QLabel(kTitle), "Label2");
    m_nextTask = named(new QLabel, "lblNextTask");
    m_remaining = named(new QLabel, "lblRemain");
    m_workHours = named(new QLabel, "lblWorkHours");
    m_mediaName = named(new QLabel, "lblMediaName");
    m_mediaName->setToolTip(u"正在播放的媒体"_s);
    bar->addWidget(m_status, 2);
    bar->addWidget(m_mediaName, 2);
    bar->addWidget(m_nextTask, 2);
    bar->addWidget(m_remaining, 1);
    bar->addPermanentWidget(m_workHours);
    // How far the clock can be trusted; a click opens the network time window.
    m_timeHealth = new TimeHealthButton(m_station.timeKeeper(), m_station.clock(), this);
    bar->addPermanentWidget(m_timeHealth);
    // Data files that cannot be read or saved, until they can.
    m_dataFaults = named(new QLabel, "lblDataFaults");
    Skins::markWarning(*m_dataFaults, true);
    const auto showDataFaults = [this] {
        const QStringList faults = DataFaults::instance().outstanding();
        m_dataFaults->setText(faults.isEmpty() ? QString() : u"数据文件故障：%1"_s.arg(faults.join(u'；')));
        m_dataFaults->setToolTip(faults.join(u'\n'));
        m_dataFaults->setVisible(!faults.isEmpty());
    };
    connect(&DataFaults::instance(), &DataFaults::changed, this, showDataFaults, Qt::QueuedConnection);
    showDataFaults();
    bar->insertWidget(0, m_dataFaults, 3);
}

void MainForm1::buildTray()
{
    m_tray = new QSystemTrayIcon(style()->standardIcon(QStyle::SP_MediaPlay), this);
    m_tray->setObjectName(u"trayIcon"_s);
    m_tray->setToolTip(kTitle);
    auto *menu = new QMenu(this);
    QAction *show = menu->addAction(u"显示主窗口"_s);
    show->setObjectName(u"mnuPopShow"_s);
    m_trayEmergency = menu->addAction(u"紧急广播"_s);
    m_trayEmergency->setObjectName(u"mnuPopEmergency"_s);
    connect(m_trayEmergency, &QAction::triggered, this, [this] { m_announceBar->toggleEmergency(u"托盘"_s); });
    QAction *exit = menu->addAction(u"退出"_s);
    exit->setObjectName(u"mnuPopExit"_s);
    connect(show, &QAction::triggered, this, &MainForm1::bringToFront);
    connect(exit, &QAction::triggered, this, &MainForm1::requestExit);
    m_tray->setContextMenu(menu);
    connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason why) {
        if (why == QSystemTrayIcon::Trigger || why == QSystemTrayIcon::DoubleClick)
            bringToFront();
    });
    if (QSystemTrayIcon::isSystemTrayAvailable())
        m_tray->show();
}

void MainForm1::wireStation()
{
    MessageLog &log = m_station.log();
    connect(&log, &MessageLog::changed, this, &MainForm1::showLog);

    Scheduler &scheduler = m_station.scheduler();
    connect(&scheduler, &Scheduler::statusChanged, m_status, &QLabel::setText);
    connect(&scheduler, &Scheduler::taskStarted, this, [this](const QString &name) {
        m_listTag.clear(); // a new task: its end time may be asked about again
        m_tabs->setCurrentIndex(1);
        m_playingName->setText(u"正在播放："_s + name);
        m_grid->PlayTaskColor(name);
    });
    connect(&scheduler, &Scheduler::taskEnded, this, [this] {
        m_playingName->clear();
        m_mediaName->clear();
        m_grid->PlayTaskColor(QString());
        if (m_station.settings().isOn(Switch::AutoBackList))
            m_tabs->setCurrentIndex(0);
    });
    connect(&m_station, &Station::startDelayed, this, [this](const QString &text) {
        m_status->setText(text);
        // The notice goes once the first ticks run, unless something else was said meanwhile.
        QTimer::singleShot(m_station.settings().startDelaySeconds() * 1000, this, [this, text] {
            if (m_status->text() == text)
                showIdleStatus();
        });
    });
    connect(&m_station.ticker(), &SecondTicker::second, this, &MainForm1::onSecond);

    PlaybackController &playback = m_station.playback();
    // The list's selection is the play list's selected item, both ways.
    connect(&playback, &PlaybackController::listChanged, this, [this] {
        const QSignalBlocker quiet(m_playList);
        m_playList->clear();
        m_playList->addItems(m_station.playback().items());
        m_playList->setCurrentRow(m_station.playback().selectedIndex());
    });
    connect(m_playList, &QListWidget::currentRowChanged, &playback, &PlaybackController::select);
    connect(&playback, &PlaybackController::selectionChanged, this, [this](int index) {
        const QSignalBlocker quiet(m_playList);
        m_playList->setCurrentRow(index);
    });
    // The slider shows the volume in force, whoever set it; moving it by
    // hand is the only way back from it to the player.
    connect(&playback, &PlaybackController::volumeChanged, this, [this](int units) {
        const QSignalBlocker quiet(m_volume);
        m_volume->setValue(units);
    });
    connect(&playback, &PlaybackController::mutedChanged, m_muted, &QCheckBox::setChecked);
    connect(&playback, &PlaybackController::itemPlaying, m_mediaName, &QLabel::setText);
    connect(&playback, &PlaybackController::idle, this, [this] {
        m_mediaName->clear();
        showIdleStatus();
        if (m_station.scheduler().runningEnd().isEmpty()) // a task started by hand is over
            m_grid->PlayTaskColor(QString());
    });
    connect(&playback, &PlaybackController::modeChanged, this,
            [this](PlayMode mode) { m_playMode->setText(playModeName(mode)); });
}

void MainForm1::startUp()
{
    // An auto-start entry left by an older copy of the program elsewhere.
    const QString exe = QCoreApplication::applicationFilePath();
    const QString registered = m_autoStart.registeredPath();
    if (!registered.isEmpty() && registered != exe
        && m_station.prompt().ask(u"提示"_s, u"发现旧自动启动路径，是否更新为"_s + exe, true)) {
        m_autoStart.setEnabled(false, exe, m_station.dataDir().root());
        m_autoStart.setEnabled(true, exe, m_station.dataDir().root());
        m_station.log().append(zh::datedLine(m_station.clock().now().date(), u"自动启动路径已更新"_s));
    }
    if (m_video)
        m_station.setFreshPlayWindow(frmPlay::freshPlace());
    m_station.start();
    loadControls();
    // Where the console was at the last exit or trip to the tray.
    const QStringList place = m_station.settings().text(Setting::ConsolePlace).split(u',');
    if (place.size() == 4) {
        int v[4];
        bool ok = true;
        for (int i = 0; i < 4 && ok; ++i)
            v[i] = place[i].trimmed().toInt(&ok);
        if (ok && v[2] > 0 && v[3] > 0)
            restorePlace(QRect(v[0], v[1], v[2], v[3]));
    }
    m_logo->start();
    if (m_station.settings().isOn(Switch::Captions))
        m_station.captionScroller().cmdStartNow_Click();
    showTasks(m_station.tasks().rows());
    m_stopDates->refresh();
    m_stopDates->setDate(m_station.clock().now().date());
    showLog();
    onSecond();
    m_playerWindow->applyPlacement(); // the stored size is known only now; shown when needed

    // The station's own background picture, when the operator put one in.
    if (const QString path = m_station.dataDir().fixedFile(DataDir::kTitlePicture); QFileInfo::exists(path))
        findChild<QWidget *>(u"picTitle"_s)->setStyleSheet(
            u"#picTitle { border-image: url(\"%1\") 0 0 0 0 stretch stretch; }"_s.arg(path));
}

void MainForm1::loadControls()
{
    const Settings &s = m_station.settings();
    for (QCheckBox *box : std::as_const(m_switchBoxes))
        box->setChecked(s.isOn(Switch(box->property("switch").toInt())));
    const int delay = m_delay->findText(QString::number(s.startDelaySeconds()));
    m_delay->setCurrentIndex(delay >= 0 ? delay : 0);
    m_workStart->setTime(timeOf(s.workStart()));
    m_workEnd->setTime(timeOf(s.workEnd()));
    m_closeComputer->setChecked(s.isOn(Switch::ShutdownAtTime));
    showPreview();
    m_closeTime->setTime(timeOf(s.shutdownTime()));
    m_channels[m_station.playback().channel()]->setChecked(true);
    m_volume->setValue(m_station.playback().slider());
    m_playerWindow->loadSizeFields();
    m_playMode->setText(playModeName(m_station.playback().mode()));
    m_autoRun->setChecked(m_autoStart.isEnabled());
    m_autoRunAction->setChecked(m_autoStart.isEnabled());

    const int skin = int(Skins::fromSetting(s.text(Setting::Skin)));
    m_colour->blockSignals(true);
    m_colour->setValue(s.number(Setting::InterfaceColour));
    m_colour->blockSignals(false);
    m_skins->actions().at(skin)->setChecked(true);
    Skins::apply(*qApp, Skins::Skin(skin), m_colour->value());
    m_colour->setEnabled(Skins::hueAdjustable(Skins::Skin(skin)));
    Skins::setAero(*this, s.isOn(Switch::Aero));
    statusBar()->setVisible(!s.isOn(Switch::HideStatusBar));
    m_statusBarAction->setChecked(!s.isOn(Switch::HideStatusBar));
}

void MainForm1::applySkin(int skin)
{
    const QSize before = size();
    Skins::apply(*qApp, Skins::Skin(skin), m_colour->value());
    resize(before); // a look changes the controls, not the window
    m_station.settings().setText(Setting::Skin, Skins::toSetting(Skins::Skin(skin)));
    // The plain look follows the desktop's colours.
    m_colour->setEnabled(Skins::hueAdjustable(Skins::Skin(skin)));
}

void MainForm1::showTasks(const QList<TaskRecord> &rows)
{
    m_grid->showTasks(rows);
}

void MainForm1::reloadTasks()
{
    m_station.tasks().load(m_station.clock().now().date());
    showTasks(m_station.tasks().rows());
}

void MainForm1::reloadFromRemote()
{
    showTasks(m_station.tasks().rows());
    m_stopDates->refresh();
    const Settings &s = m_station.settings();
    for (QCheckBox *box : std::as_const(m_switchBoxes))
        box->setChecked(s.isOn(Switch(box->property("switch").toInt())));
    m_workStart->setTime(timeOf(s.workStart()));
    m_workEnd->setTime(timeOf(s.workEnd()));
    m_closeComputer->setChecked(s.isOn(Switch::ShutdownAtTime));
    m_closeTime->setTime(timeOf(s.shutdownTime()));
}

void MainForm1::newTask()
{
    m_editor->openNew();
}

void MainForm1::modifyTask()
{
    const int section = m_grid->selectedSection();
    const auto &rows = m_station.tasks().rows();
    if (section < 0 && rows.size() <= 1) {
        // A fresh station: start it with the sample task.
        m_station.prompt().inform(u"提示"_s, u"任务标题为空，开始初始化列表内容！"_s);
        m_station.tasks().writeDefaultRecord();
        reloadTasks();
        return;
    }
    for (const TaskRecord &r : rows) {
        if (r.section == section) {
            m_editor->openModify(r);
            return;
        }
    }
}

void MainForm1::deleteTask()
{
    const int section = m_grid->selectedSection();
    const auto &rows = m_station.tasks().rows();
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (rows[i].section == section) {
            if (m_station.tasks().deleteTask(i, m_station.prompt(), m_station.clock().now().date())
                == TaskStore::DeleteResult::Deleted)
                showTasks(m_station.tasks().rows());
            return;
        }
    }
}

void MainForm1::playOne()
{
    const int section = m_grid->selectedSection();
    for (const TaskRecord &r : m_station.tasks().rows()) {
        if (r.section != section)
            continue;
        PlaybackController &playback = m_station.playback();
        playback.setSlider(r.volume.toInt());
        playback.startTask(r.mode, m_station.tasks().readMediaList(r.name));
        m_station.scheduler().startedByHand(r.name);
        m_playingName->setText(u"正在播放："_s + r.name);
        m_grid->PlayTaskColor(r.name);
        m_tabs->setCurrentIndex(1);
        playback.checkPaths(r.name, m_station.prompt(), m_station.tasks().listFileOf(r.name));
        return;
    }
    m_station.prompt().inform(u"提示"_s, u"请先在任务列表中选择要播放的任务"_s);
}

void MainForm1::moveTask(int by)
{
    const int section = m_grid->selectedSection();
    const auto &rows = m_station.tasks().rows();
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (rows[i].section != section)
            continue;
        const qsizetype to = i + by;
        if (to < 0 || to >= rows.size())
            return; // already first or last
        if (!m_station.tasks().moveTask(i, by, m_station.clock().now().date()))
            m_station.log().append(zh::stampedLine(m_station.clock().now(),
                                                   u"写文件时出错："_s + m_station.dataDir().song()));
        showTasks(m_station.tasks().rows());
        m_grid->selectSection(int(to + 1)); // sections are numbered in order after the rewrite
        return;
    }
    m_station.prompt().inform(u"提示"_s, u"请先在任务列表中选择要移动的任务"_s);
}

void MainForm1::addPlayFiles()
{
    if (!m_chooseFiles) {
        m_chooseFiles = [this](const QString &title, const QString &filter) {
            // The dialog opens on the second entry, "媒体文件 (所有类型)".
            QString second = filter.section(u";;"_s, 1, 1);
            return QFileDialog::getOpenFileNames(this, title, QString(), filter, &second,
                                                 QFileDialog::HideNameFilterDetails);
        };
    }
    const QStringList files = m_chooseFiles(u"打开多个文件"_s, qtFileFilter(kMediaFileFilter));
    if (files.isEmpty())
        return;
    PlaybackController &playback = m_station.playback();
    playback.appendItems(files);
    playback.removeMissing();
    m_tabs->setCurrentIndex(1);
    m_playingName->setText(u"【手动播放列表】"_s);
}

void MainForm1::playKey()
{
    PlaybackController &playback = m_station.playback();
    if (playback.items().isEmpty()) {
        if (m_station.prompt().ask(kTitle, u"列表为空，是否添加媒体文件"_s, true))
            addPlayFiles();
        return;
    }
    if (playback.selectedIndex() < 0)
        playback.select(0);
    playback.playSong();
}

void MainForm1::pauseKey()
{
    if (m_pauseKey->text() == u"▲") {
        m_station.playback().resume();
        m_pauseKey->setText(u"〓"_s);
    } else {
        m_station.playback().pause();
        m_pauseKey->setText(u"▲"_s);
    }
}

void MainForm1::stopKey()
{
    m_station.playback().stopByOperator();
    m_status->setText(kTitle);
    m_playingName->clear();
    m_mediaName->clear();
    m_grid->PlayTaskColor(QString());
}

void MainForm1::playListDoubleClicked(int row)
{
    Scheduler &scheduler = m_station.scheduler();
    if (m_listTag != u"OK" && !scheduler.runningEnd().isEmpty()) {
        if (m_station.prompt().ask(u"提示"_s,
                                   u"正在定时播放,结束时间在："_s + scheduler.runningEnd() + u"，要取消结束时间吗"_s,
                                   false))
            scheduler.cancelRunningEnd();
        else
            m_listTag = u"OK"_s;
    }
    m_station.playback().select(row);
    m_station.playback().playSong();
    m_status->setText(kTitle);
}

void MainForm1::setFileChooser(FileChooser chooser)
{
    m_chooseFiles = std::move(chooser);
    m_emergencyBox->setFileChooser(m_chooseFiles);
}

void MainForm1::showLog()
{
    const MessageLog &log = m_station.log();
    m_messages->setTitle(log.caption());
    if (m_information->toPlainText() != log.text()) {
        m_information->setPlainText(log.text());
        m_information->verticalScrollBar()->setValue(m_information->verticalScrollBar()->maximum());
    }
}

// 预览列表: the selected task's media under the grid, while the switch is on.
void MainForm1::showPreview()
{
    const bool on = m_station.settings().isOn(Switch::PreviewList);
    m_preview->setVisible(on);
    m_preview->clear();
    if (!on)
        return;
    const int section = m_grid->selectedSection();
    for (const TaskRecord &r : m_station.tasks().rows()) {
        if (r.section != section)
            continue;
        const QStringList media = m_station.tasks().readMediaList(r.name);
        m_preview->addItems(media);
        if (media.isEmpty())
            m_preview->addItem(u"（“%1”的列表为空）"_s.arg(r.name));
        return;
    }
}

// The status label's resting text: what the schedule says, else the title.
void MainForm1::showIdleStatus()
{
    const QString &status = m_station.scheduler().status();
    m_status->setText(status.isEmpty() ? kTitle : status);
}

void MainForm1::onSecond()
{
    m_clock->setText(zh::dateTime(m_station.clock().now()) + u"  "_s
                     + zh::weekdayName(m_station.clock().now().date()));
    const Scheduler &scheduler = m_station.scheduler();
    NextTaskStatus status = scheduler.nextTaskStatus();
    if (!scheduler.isEnabled())
        status = NextTaskStatus{{}, {}, false, status.workHours}; // no next task while the schedule rests
    m_nextTask->setText(status.next);
    m_remaining->setText(status.remaining);
    Skins::markWarning(*m_remaining, status.lastTen);
    m_workHours->setText(status.workHours);
}

void MainForm1::bringToFront()
{
    // Back where it was when it went to the tray, whatever the window manager chooses.
    if (!isVisible() && m_shownGeometry.isValid())
        restorePlace(m_shownGeometry);
    m_logo->dismissScreenSaver();
    showNormal();
    raise();
    activateWindow();
}

void MainForm1::hideToTray()
{
    keepPlace();
    hide();
}

void MainForm1::keepPlace()
{
    if (!isVisible())
        return;
    m_shownGeometry = QRect(pos(), size()); // pos() is the frame's, as move() takes it
    // The frame's own size, for placing the window while it is hidden.
    setProperty("frameExtra", frameGeometry().size() - size());
    const QString text = u"%1,%2,%3,%4"_s.arg(m_shownGeometry.x())
                             .arg(m_shownGeometry.y())
                             .arg(m_shownGeometry.width())
                             .arg(m_shownGeometry.height());
    if (text != m_station.settings().text(Setting::ConsolePlace))
        m_station.settings().setText(Setting::ConsolePlace, text);
}

void MainForm1::restorePlace(QRect place)
{
    const QScreen *screen = QGuiApplication::screenAt(place.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (screen) {
        const QRect area = screen->availableGeometry();
        // The frame around the client area, as far as it is known yet.
        const QSize frame = isVisible() ? frameGeometry().size() - size() : property("frameExtra").toSize();
        place.setSize(place.size().boundedTo(area.size() - frame).expandedTo(minimumSizeHint()));
        const QSize outer = place.size() + frame;
        place.moveLeft(qBound(area.left(), place.x(), qMax(area.left(), area.right() + 1 - outer.width())));
        place.moveTop(qBound(area.top(), place.y(), qMax(area.top(), area.bottom() + 1 - outer.height())));
    }
    resize(place.size());
    move(place.topLeft());
}

void MainForm1::requestExit()
{
    if (!m_station.prompt().ask(u"提示"_s, u"确定退出软件吗?"_s, false))
        return;
    keepPlace();
    m_exiting = true;
    m_tray->hide();
    m_station.shutDown();
    QCoreApplication::quit();
}

void MainForm1::closeEvent(QCloseEvent *event)
{
    // Closing the window keeps the station running in the tray; exit asks first.
    if (m_exiting) {
        event->accept();
        return;
    }
    event->ignore();
    if (m_tray->isVisible())
        hideToTray();
    else
        requestExit();
}

} // namespace tav
