#include "broadcast/broadcastscheduler.h"
#include "captions/captionstrip.h"
#include "captions/frmmovefont.h"
#include "core/datafaults.h"
#include "mainwindowfixture.h"
#include "pictures/frmtopmost.h"
#include "pictures/logocontrols.h"
#include "pictures/picturepanel.h"
#include "pictures/slideshow.h"
#include "playback/playbackcontroller.h"
#include "scheduler/taskgrid.h"
#include "shell/agendapage.h"
#include "shell/messageboxprompt.h"
#include "timesync/localdaytime.h"
#include "timesync/timekeeper.h"

#include <QApplication>
#include <QDir>
#include <QGroupBox>
#include <QMessageBox>
#include <QScreen>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTimer>

// The filter buttons show their spans; moving and deleting act on the selected
// task, the selection following the move and the file rewritten.
TEST_F(MainWindowTest, TaskListFiltersMovesAndDeletes)
{
    const QString tasks[][2] = {{u"下周"_s, u"指定 2026/11/30"_s}, {u"周二"_s, u"每周二"_s},
                                {u"每日"_s, u"每天"_s}, {u"下月"_s, u"指定 2026/12/24"_s}};
    for (const auto &t : tasks)
        addTask(t[0], u"11:00:00"_s, u"11:10:00"_s, {}, t[1]);
    d.write(u"每日.ini"_s, tav::test::mediaList({u"/m/广播体操.mp3"_s, u"/m/眼保健操.mp3"_s}));
    start();
    const struct { const char *button; QStringList shown; } filters[] = {
        {"cmdWeekOK", {u"每日"_s, u"周二"_s, u"下周"_s}},
        {"cmd_ShowAllTaskOK", {u"下周"_s, u"周二"_s, u"每日"_s, u"下月"_s}}};
    for (const auto &f : filters) {
        click(f.button);
        EXPECT_EQ(gridNames(), f.shown) << f.button;
    }

    click("cmdTaskUp");
    EXPECT_EQ(prompt.shown.last(), u"提示|请先在任务列表中选择要移动的任务");
    selectTask(u"每日"_s);
    click("cmdTaskUp");
    EXPECT_EQ(gridNames(), (QStringList{u"下周"_s, u"每日"_s, u"周二"_s, u"下月"_s}));
    EXPECT_EQ(get<QTableWidget>("MSHFlexGrid1")->currentRow(), 1);
    EXPECT_EQ(tav::IniFile(d.file(u"【SONG】.ini"_s)).value(u"FileInfo2"_s, u"Name"_s), u"每日");
    for (const char *menu : {"mnuTaskUp", "mnuDownTask", "mnuTaskDown"})
        get<QAction>(menu)->trigger();
    EXPECT_EQ(gridNames(), (QStringList{u"下周"_s, u"周二"_s, u"每日"_s, u"下月"_s}));

    auto *preview = get<QListWidget>("ListPreview");
    click("chkViewList");
    EXPECT_EQ(tav::test::texts(preview), (QStringList{u"/m/广播体操.mp3"_s, u"/m/眼保健操.mp3"_s}));
    click("chkViewList");
    EXPECT_TRUE(preview->isHidden());
    // 隐藏 hides the messages; the view menu brings them back.
    click("cmdTipsHide");
    EXPECT_TRUE(get<QGroupBox>("Frame11")->isHidden());
    get<QAction>("mnuTips")->trigger();
    EXPECT_FALSE(get<QGroupBox>("Frame11")->isHidden());

    // A No to deleting or to quitting changes nothing.
    selectTask(u"下月"_s);
    prompt.answers = {false, false};
    click("cmdDelTask");
    EXPECT_EQ(gridNames().size(), 4);
    get<QAction>("mnuPopExit")->trigger();
    EXPECT_EQ(prompt.shown.last(), u"提示|确定退出软件吗?");
    EXPECT_TRUE(station->ticker().isActive());
    prompt.answers = {true};
    click("cmdDelTask");
    EXPECT_EQ(gridNames(), (QStringList{u"下周"_s, u"周二"_s, u"每日"_s}));
}

TEST_F(MainWindowTest, OptionsAreWrittenOnClickAndComeBackAtTheNextStart)
{
    start();
    click("chkNetTime");
    EXPECT_EQ(control(u"netTime"_s, u"netTimeOnOff"_s), u"1");
    click("ChkSaturday");
    get<QTimeEdit>("DTPCloseTime")->setTime(QTime(17, 45));
    click("chkCloseComputer");
    EXPECT_EQ(tav::IniFile(d.file(u"【TIMERSET】.ini"_s)).value(u"定时器时间设置"_s, u"关机时间"_s), u"17:45:00");
    auto *delay = get<QComboBox>("cboDelayRun");
    delay->setCurrentText(u"30"_s);
    emit delay->textActivated(u"30"_s);
    click("Optchannel1");

    start();
    for (const char *box : {"chkNetTime", "ChkSaturday", "chkCloseComputer"})
        EXPECT_TRUE(get<QCheckBox>(box)->isChecked()) << box;
    EXPECT_FALSE(get<QCheckBox>("chkMonday")->isChecked());
    EXPECT_EQ(get<QTimeEdit>("DTPCloseTime")->time(), QTime(17, 45));
    EXPECT_EQ(get<QComboBox>("cboDelayRun")->currentText(), u"30");
    EXPECT_TRUE(get<QAbstractButton>("Optchannel1")->isChecked());
    EXPECT_EQ(player.balance(), -10000);
}

// 滚动字幕 runs the strip at once and from the next start; a timed caption
// comes with the station's second.
TEST_F(MainWindowTest, CaptionSwitchRunsTheStripAndTheStationsSecondTimesIt)
{
    d.write(u"【SCROLL】.ini"_s, u"[Scroll1]\ncontent=欢迎\nstartTime=08:00:00\nendTime=09:00:00\nswicth=开\n"_s);
    start();
    auto *strip = window->findChild<tav::CaptionStrip *>();
    ASSERT_NE(strip, nullptr);
    EXPECT_FALSE(strip->isVisible());
    for (const bool on : {true, false, true}) {
        click("chkScrollOpen");
        EXPECT_EQ(control(u"复选控制"_s, u"滚动文字"_s), on ? u"1"_s : u"0"_s);
        EXPECT_EQ(strip->isVisible(), on);
    }
    EXPECT_EQ(strip->caption(), u"欢迎"_s);
    click("cmdScrollOpen");
    auto *editor = window->findChild<tav::frmMoveFont *>();
    ASSERT_NE(editor, nullptr);
    EXPECT_FALSE(editor->frameGeometry().intersects(strip->frameGeometry())) << "the editor opens clear of the strip";
    start();
    EXPECT_TRUE(window->findChild<tav::CaptionStrip *>()->isVisible());

    d.write(u"【SCROLL】.ini"_s, u"[Scroll1]\ncontent=课间操\nstartTime=10:05:00\nendTime=10:06:00\nswicth=开\n"_s);
    tav::IniFile(d.file(u"【CONTROL】.ini"_s)).setValue(u"字幕播放方式"_s, u"Manner"_s, u"2"_s);
    start();
    strip = window->findChild<tav::CaptionStrip *>();
    EXPECT_FALSE(strip->isVisible());
    tickAt("2026-11-23 10:05:01");
    EXPECT_TRUE(strip->isVisible());
    EXPECT_EQ(strip->caption(), u"课间操"_s);
}

// Each tool window is made once: its menu item opens it, and closed it comes
// back, the same window, from its other way in; the backup window opens for
// one direction from each of its menus.
TEST_F(MainWindowTest, ToolWindowsOpenOnceAndComeBack)
{
    withBroadcasts = true;
    start();
    const struct { const char *window, *menu, *again; } cases[] = {
        {"frmMoveFont", "mnuCaption", "cmdScrollOpen"}, {"frmPic", "mnuPic", "cmdPicSet"},
        {"netTime", "mnuNetTime", "lblTimeHealth"}, {"TTSAppMain", "mnuTTSPop", "mnuTTSPop"},
        {"frmFileBak", "mnuBakTasks", "cmdBackup"}};
    for (const auto &c : cases) {
        for (const char *way : {c.menu, c.again}) {
            if (auto *action = window->findChild<QAction *>(QString::fromLatin1(way)))
                action->trigger();
            else
                click(way);
            EXPECT_EQ(window->findChildren<QWidget *>(QString::fromLatin1(c.window)).size(), 1) << way;
            EXPECT_TRUE(get<QWidget>(c.window)->isVisible()) << way;
            get<QWidget>(c.window)->close();
        }
    }
    for (bool backup : {true, false}) {
        get<QAction>(backup ? "mnuBakTasks" : "mnuImportTasks")->trigger();
        EXPECT_EQ(get<QPushButton>("Command4")->isEnabled(), backup);
        EXPECT_EQ(get<QPushButton>("Command5")->isEnabled(), !backup);
    }
}

TEST_F(MainWindowTest, OldAutoStartPathIsOfferedForUpdate)
{
    ASSERT_TRUE(autoStart.setEnabled(true, u"/opt/old place/tavplayer"_s, d.path()));
    prompt.answers = {true};
    start();
    ASSERT_FALSE(prompt.shown.isEmpty());
    EXPECT_TRUE(prompt.shown.first().startsWith(u"提示|发现旧自动启动路径，是否更新为"_s));
    EXPECT_EQ(autoStart.registeredPath(), QCoreApplication::applicationFilePath());
    EXPECT_TRUE(station->log().text().endsWith(u"]自动启动路径已更新"_s));
}

TEST_F(MainWindowTest, OperatorsPlayListAddsPlaysPausesAndStops)
{
    start();
    for (const char *name : {"a.mp3", "b.mp3", "c.mp3"})
        d.writeBytes(QString::fromLatin1(name), "x");
    window->setFileChooser([this](const QString &, const QString &) {
        return QStringList{d.file(u"a.mp3"_s), d.file(u"gone.mp3"_s), d.file(u"b.mp3"_s), d.file(u"c.mp3"_s)};
    });
    prompt.answers = {false};
    click("CommandPlaykey"); // empty list: asks, No changes nothing
    EXPECT_EQ(prompt.shown.last(), u"Tavrel多媒体定时播放系统|列表为空，是否添加媒体文件");
    EXPECT_TRUE(player.opened.isEmpty());

    click("CommandAddFile");
    auto *list = get<QListWidget>("ListManualPlayFile");
    ASSERT_EQ(list->count(), 3);
    EXPECT_EQ(list->item(2)->text(), d.file(u"c.mp3"_s));
    EXPECT_TRUE(get<QPlainTextEdit>("txtInformation")->toPlainText().endsWith(
        d.file(u"gone.mp3"_s) + u"，路径错误，已自动删除！"_s));

    list->setCurrentRow(2);
    click("CommandDelete");
    EXPECT_EQ(list->count(), 2);
    click("CommandPlaykey");
    EXPECT_EQ(player.currentUrl(), d.file(u"b.mp3"_s)); // the selection moved onto b
    click("CommandPuaseKey");
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Paused);
    EXPECT_EQ(get<QPushButton>("CommandPuaseKey")->text(), u"▲");
    click("CommandStopKey");
    EXPECT_EQ(player.state(), tav::MediaPlayer::State::Stopped);
    EXPECT_FALSE(station->playback().isNextStepArmed());
    EXPECT_EQ(get<QLabel>("Label2")->text(), u"Tavrel多媒体定时播放系统");
}

// A fresh station writes where its player window goes; the window comes up
// there when a picture is to be shown, not for sound alone; the operator's
// size is checked, kept and applied.
TEST_F(MainWindowTest, PlayerWindowComesUpWhereItsSettingsSay)
{
    addTask(u"铃声"_s, u"10:30:00"_s, u"10:40:00"_s, {u"/m/bell.mp3"_s});
    addTask(u"宣传片"_s, u"11:00:00"_s, u"11:10:00"_s, {u"/m/film.mp4"_s});
    start(true);
    const tav::Settings::PlayWindowPlace fresh = tav::frmPlay::freshPlace();
    EXPECT_EQ(control(u"播放窗口尺寸"_s, u"PlayWidth"_s), QString::number(fresh.width));
    EXPECT_EQ(control(u"复选控制"_s, u"是否使用设定的音量"_s), u"1");
    auto *show = get<QPushButton>("cmdOpenPlayWindow");
    EXPECT_EQ(show->text(), u"显示视窗");
    tickAt("2026-11-23 10:30:00");
    EXPECT_EQ(player.currentUrl(), u"/m/bell.mp3");
    EXPECT_FALSE(video->isVisible()); // sound alone
    tickAt("2026-11-23 11:00:00");
    EXPECT_TRUE(video->isVisible());
    EXPECT_EQ(video->geometry(), QRect(fresh.left, fresh.top, fresh.width, fresh.height));
    EXPECT_EQ(show->text(), u"隐藏视窗");

    get<QLineEdit>("txtPlayHeight")->setText(u"abc"_s);
    click("cmdSeveSize");
    EXPECT_EQ(prompt.shown.last(), u"提示|输入有误，请重新输入");
    EXPECT_EQ(control(u"播放窗口尺寸"_s, u"PlayHeight"_s), QString::number(fresh.height));
    for (const auto &[field, value] : {std::pair{"txtPlayHeight", u"600"_s}, {"txtPlayWidth", u"800"_s},
                                       {"txtPlayTop", u"10"_s}, {"txtPlayLeft", u"20"_s}})
        get<QLineEdit>(field)->setText(value);
    click("cmdSeveSize");
    EXPECT_EQ(control(u"播放窗口尺寸"_s, u"PlayWidth"_s), u"800");
    QCoreApplication::processEvents(); // the player window places itself once for the four values
    EXPECT_EQ(video->geometry(), QRect(20, 10, 800, 600));
    show->click();
    EXPECT_FALSE(video->isVisible());

    // A file with values keeps them at the next start.
    tav::IniFile(d.file(u"【CONTROL】.ini"_s)).setValue(u"播放窗口尺寸"_s, u"PlayWidth"_s, u"640"_s);
    start();
    EXPECT_EQ(control(u"播放窗口尺寸"_s, u"PlayWidth"_s), u"640");
}

// A time typed whole into a picker is the time that counts.
TEST_F(MainWindowTest, TypingAWholeTimeGivesThatTime)
{
    start();
    window->show();
    auto *picker = get<QTimeEdit>("DTPicStartTime");
    const struct { QString typed; QTime time; } cases[] = {
        {u"2:05:00"_s, {2, 5}}, {u"143015"_s, {14, 30, 15}}, {u"7:5"_s, {7, 5}},
        {u"29:61"_s, {2, 6}}}; // impossible digits are refused
    for (const auto &c : cases) {
        picker->setFocus();
        picker->selectAll();
        QTest::keyClicks(picker, c.typed);
        QTest::keyClick(picker, Qt::Key_Return);
        EXPECT_EQ(picker->time(), c.time) << c.typed.toStdString();
    }
    EXPECT_EQ(control(u"广告时间选项"_s, u"PicStartTime"_s), u"2:06:00");
}

// The operator's real message boxes: a message or question raised by the
// clockwork stays open while the seconds go on and later tasks start.
TEST_F(MainWindowTest, OpenQuestionsNeverHoldTheClockwork)
{
    addTask(u"早操"_s, u"11:00:00"_s, u"11:00:30"_s); // nothing to play: a message
    addTask(u"课间"_s, u"11:00:02"_s, u"11:00:30"_s, {u"/m/bell.mp3"_s});
    d.write(u"【TIMERSET】.ini"_s, u"[定时器时间设置]\n关机时间=11:00:35\n"_s);
    d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n是否执行关机时间=1\n"_s);
    tav::MessageBoxPrompt boxes(nullptr);
    station = std::make_unique<tav::Station>(d.path(), player, boxes, clock, shutdown);
    window = std::make_unique<tav::MainForm1>(*station, autoStart);
    window->startUp();

    // A box that waited would still be waiting when this fires inside the tick.
    bool insideTick = false, waited = false;
    for (const char *when : {"2026-11-23 11:00:00", "2026-11-23 11:00:02", "2026-11-23 11:00:35"}) {
        QTimer::singleShot(100, [&] {
            waited = waited || insideTick;
            for (QWidget *w : QApplication::topLevelWidgets())
                if (auto *box = qobject_cast<QMessageBox *>(w); box && box->isModal())
                    box->done(QMessageBox::No);
        });
        insideTick = true;
        tickAt(when);
        insideTick = false;
        QTest::qWait(150);
    }
    EXPECT_FALSE(waited);
    EXPECT_EQ(player.currentUrl(), u"/m/bell.mp3"); // started on its second, the message still open
    EXPECT_EQ(shutdown.scheduled, 1);
    QMap<QString, QMessageBox *> open; // the message, and the daily shutdown's question
    for (QWidget *w : QApplication::topLevelWidgets())
        if (auto *box = qobject_cast<QMessageBox *>(w); box && box->isVisible())
            open.insert(box->text().left(4), box);
    ASSERT_EQ(open.keys(), (QStringList{u"“是”表"_s, u"早操：/"_s}));
    open.first()->button(QMessageBox::No)->click();
    QCoreApplication::processEvents();
    EXPECT_EQ(shutdown.cancelled, 1);
    open.last()->close();
}

// Slider1 shows the volume in force and sets it; the mute button and its box
// follow the player.
TEST_F(MainWindowTest, VolumeSliderShowsWhatSounds)
{
    start();
    auto *slider = get<QSlider>("Slider1");
    auto *muted = get<QCheckBox>("chkVolume");
    station->playback().setPlayerVolume(46);
    EXPECT_EQ(slider->value(), 30146);
    slider->triggerAction(QAbstractSlider::SliderPageStepSub); // a click on the track to the left
    EXPECT_LT(player.volume(), 46);

    click("cmdMute");
    EXPECT_TRUE(muted->isChecked());
    EXPECT_EQ(slider->value(), 0);
    station->playback().setPlayerVolume(20); // set while muted, for an announcement
    EXPECT_FALSE(muted->isChecked());
    EXPECT_EQ(slider->value(), tav::PlaybackController::unitsFor(20));
}

TEST_F(MainWindowTest, StopDayWithAStartDelayStillSaysSo)
{
    d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n周一=1\n[AppRunDelayl]\nAppRunDelayVal=5\n"_s);
    start();
    EXPECT_EQ(get<QLabel>("Label2")->text(), u"今天停播节目");
    EXPECT_TRUE(get<QLabel>("lblNextTask")->text().isEmpty());
    click("chkMonday"); // unticked: today plays after all
    EXPECT_EQ(get<QLabel>("Label2")->text(), u"Tavrel多媒体定时播放系统");
    EXPECT_TRUE(station->scheduler().isEnabled());
}

// The running task is marked in the grid until it ends; a double click in its
// list asks once a run whether its end still counts; the stop key clears the
// marks.
TEST_F(MainWindowTest, RunningTaskIsMarkedAndItsEndIsAskedAboutOnce)
{
    addTask(u"早操"_s, u"11:00:00"_s, u"11:00:20"_s, {u"/m/广播体操.mp3"_s});
    addTask(u"课间"_s, u"11:01:00"_s, u"11:10:00"_s, {u"/m/1.mp3"_s, u"/m/2.mp3"_s});
    start();
    auto *grid = get<tav::TaskGrid>("MSHFlexGrid1");
    tickAt("2026-11-23 11:00:00");
    EXPECT_TRUE(grid->isColoured(0));
    tickAt("2026-11-23 11:00:21"); // ends
    EXPECT_FALSE(grid->isColoured(0));

    tickAt("2026-11-23 11:01:00");
    EXPECT_TRUE(grid->isColoured(1));
    EXPECT_EQ(get<QLabel>("txtPlayingName")->text(), u"正在播放：课间");
    prompt.answers = {false};
    window->playListDoubleClicked(1);
    EXPECT_EQ(prompt.shown.last(), u"提示|正在定时播放,结束时间在：11:10:00，要取消结束时间吗");
    EXPECT_EQ(player.currentUrl(), u"/m/2.mp3");
    const qsizetype asked = prompt.shown.size();
    window->playListDoubleClicked(0); // kept the end: not asked again for this task
    EXPECT_EQ(prompt.shown.size(), asked);
    EXPECT_EQ(station->scheduler().runningEnd(), u"11:10:00");
    click("CommandStopKey");
    EXPECT_TRUE(get<QLabel>("txtPlayingName")->text().isEmpty());
    EXPECT_FALSE(grid->isColoured(1));

    tickAt("2026-11-24 11:01:00"); // the next day's start asks again
    prompt.shown.clear();
    prompt.answers = {true};
    window->playListDoubleClicked(1);
    EXPECT_EQ(prompt.shown, QStringList{u"提示|正在定时播放,结束时间在：11:10:00，要取消结束时间吗"_s});
    EXPECT_TRUE(station->scheduler().runningEnd().isEmpty()); // its end no longer stops the list

    click("CommandStopKey");
    selectTask(u"早操"_s);
    click("cmdPlayOne"); // 立即播放 says so until its list is over
    EXPECT_EQ(get<QLabel>("Label2")->text(), u"正在播放：早操");
    EXPECT_TRUE(station->log().text().contains(u"立即播放：早操"_s));
    player.begin();
    player.finish();
    EXPECT_TRUE(QTest::qWaitFor([&] { return get<QLabel>("Label2")->text() == u"Tavrel多媒体定时播放系统"; }, 3000));
}

// The console keeps its place and size over the tray, the looks and a
// restart, and comes back whole on the screen.
TEST_F(MainWindowTest, WindowKeepsItsPlaceOnTheScreen)
{
    start();
    const QRect screen = window->screen()->availableGeometry();
    window->setGeometry(screen.x() + 30, screen.y() + 20, screen.width() - 100, screen.height() - 80);
    window->show();
    const QRect was = window->geometry();
    window->hideToTray();
    window->setGeometry(0, 0, 300, 200); // the window manager's idea
    window->bringToFront();
    EXPECT_EQ(window->geometry(), was);
    for (const char *look : {"mnuQQ09", "mnuVista", "mnuWindow"}) {
        get<QAction>(look)->trigger();
        QCoreApplication::processEvents();
        EXPECT_EQ(window->size(), was.size()) << look;
    }
    window->move(screen.right() - 100, screen.bottom() - 50);
    window->hideToTray();
    window->bringToFront();
    EXPECT_TRUE(screen.contains(window->frameGeometry()));
    window->move(screen.x() + 10, screen.y() + 10);
    const QRect kept(window->pos(), window->size());
    window->hideToTray();
    start();
    EXPECT_EQ(QRect(window->pos(), window->size()), kept);
}

// The week ahead on its page: warnings shown and logged, the running and next
// starts marked, a stop date added on the console redrawing it.
TEST_F(MainWindowTest, WeekAheadPageFollowsTheScheduleAndTheStopDates)
{
    d.write(u"铃.mp3"_s, u"x"_s);
    addTask(u"早操"_s, u"11:00:00"_s, u"11:20:00"_s, {d.file(u"铃.mp3"_s)});
    addTask(u"午休"_s, u"12:00:00"_s, u"12:30:00"_s, {u"/m/不在.mp3"_s});
    start();
    auto *tabs = get<QTabWidget>("SSTab1");
    auto *agenda = get<tav::AgendaPage>("pageAgenda");
    auto *chart = get<tav::AgendaChart>("agendaChart");
    tabs->setCurrentWidget(agenda);
    ASSERT_EQ(agenda->items().size(), 14); // two a day for seven days
    const auto indexOf = [&](int day, const QString &name) {
        for (int i = 0; i < agenda->items().size(); ++i)
            if (agenda->items()[i].date == QDate(2026, 11, 23 + day) && agenda->items()[i].name == name)
                return i;
        return -1;
    };
    auto *warnings = get<QLabel>("lblAgendaWarnings");
    EXPECT_FALSE(warnings->isHidden());
    EXPECT_TRUE(warnings->text().contains(u"定时任务“午休”：文件缺失：不在.mp3"_s)) << warnings->text().toStdString();
    EXPECT_TRUE(QTest::qWaitFor([&] { return station->log().text().contains(u"注意：定时任务“午休”"_s); }, 3000));
    tickAt("2026-11-23 11:00:00");
    EXPECT_EQ(chart->running(), indexOf(0, u"早操"_s));
    EXPECT_EQ(chart->next(), indexOf(1, u"早操"_s)); // 午休 will not play

    // A stop date added on its page: its list, its file and the week follow.
    auto *date = get<QDateEdit>("DTPNoPlayDate");
    EXPECT_EQ(date->date(), QDate(2026, 11, 23));
    date->setDate(QDate(2026, 11, 24));
    prompt.answers = {true};
    click("cmdAddNoPlayDate");
    auto *stops = get<QListWidget>("ListDateNoPlay");
    EXPECT_EQ(tav::test::texts(stops), QStringList{u"2026/11/24"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] {
        const int i = indexOf(1, u"早操"_s);
        return i >= 0 && agenda->items()[i].reason == u"停播日期";
    }, 3000));

    stops->setCurrentRow(0);
    click("cmdDelNoPlayDate");
    EXPECT_EQ(stops->count(), 0);
    EXPECT_EQ(tav::IniFile(d.file(u"【DATE】.ini"_s)).value(u"The number of Date"_s, u"quantity"_s), u"0");

    // The warning is logged once a day, over a restart too.
    start();
    QSignalSpy checked(station.get(), &tav::Station::weekChecked);
    for (const char *day : {"2026-11-23 12:40:00", "2026-11-24 09:00:00"}) {
        clock.set(at(day));
        emit station->weekAhead().changed();
        ASSERT_TRUE(checked.wait(3000));
    }
    EXPECT_EQ(station->log().text().count(u"注意：定时任务“午休”"_s), 2) << station->log().text().toStdString();
}

// The network time switch lets the station keep its clock; the health
// button says how it stands, red when it was never set.
TEST_F(MainWindowTest, NetworkTimeSwitchLetsTheStationKeepItsClock)
{
    start();
    tav::test::LocalDaytime server{{tav::test::nist("26-11-23 02:00:07")}}; // 10:00:07 China time
    station->setClockSetter(&setter);
    station->timeKeeper().setServers({server.address()});
    auto *health = get<QPushButton>("lblTimeHealth");
    EXPECT_EQ(health->text(), u"时钟：从未校时"_s);
    EXPECT_TRUE(health->property("warning").toBool()); // red, in every look

    click("chkNetTime");
    station->timeKeeper().recheck(); // never checked: due at once
    ASSERT_TRUE(QTest::qWaitFor([&] { return setter.set.size() == 1; }, 5000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return station->timeKeeper().current() == nullptr; }, 5000));
    EXPECT_TRUE(health->text().endsWith(u"已校时"_s)) << health->text().toStdString();
    EXPECT_FALSE(health->property("warning").toBool());
}

// Without broadcast devices 语音播报 says why and opens nothing; with them the
// 播音 switch is kept and runs the list.
TEST_F(MainWindowTest, BroadcastsNeedTheirDevicesAndTheSwitchRunsTheList)
{
    start();
    get<QAction>("mnuTTSPop")->trigger();
    EXPECT_TRUE(prompt.shown.last().startsWith(u"提示|语音播报不可用"_s));
    EXPECT_EQ(window->findChild<QWidget *>(u"TTSAppMain"_s), nullptr);

    withBroadcasts = true;
    start();
    tav::BroadcastScheduler *list = station->broadcastScheduler();
    EXPECT_EQ(list->mode(), tav::BroadcastScheduler::Mode::SwitchedOff);
    click("chkTTS");
    EXPECT_EQ(control(u"复选控制"_s, u"播音"_s), u"1");
    EXPECT_EQ(list->mode(), tav::BroadcastScheduler::Mode::Running);
}

// Between tasks 显示图片 runs the pictures in the player window, and they keep
// the screen saver away; switched off, the pictures stop.
TEST_F(MainWindowTest, ThePictureSwitchRunsTheIdleContentInThePlayerWindow)
{
    d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n屏保=1\n"_s);
    d.writeBytes(u"一.jpg"_s, "jpeg");
    d.write(u"【IMAGE】.ini"_s, u"[图片文件数量]\n数量=1\n[图片]\n图片路径0=%1\n[设置]\n图片切换时间=5\n"_s.arg(d.file(u"一.jpg"_s)));
    start(true);
    click("chkPic");
    EXPECT_EQ(control(u"复选控制"_s, u"显示图片"_s), u"1");
    EXPECT_EQ(station->slideshow().source(), tav::Slideshow::Source::Idle);
    QCoreApplication::processEvents();
    EXPECT_TRUE(video->isVisible());
    auto *panel = video->findChild<tav::PicturePanel *>();
    ASSERT_NE(panel, nullptr);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_FALSE(video->isVideoVisible());
    const auto saver = [this] { return window->findChild<tav::LogoControls *>()->overlay()->isScreenSaver(); };
    tickRun("2026-11-23 10:00:01", 9);
    EXPECT_FALSE(saver());
    click("chkPic");
    EXPECT_FALSE(station->slideshow().isRunning());
    tickRun("2026-11-23 10:00:10", 6); // the quiet spell counts again
    EXPECT_TRUE(saver());
}

// A task file that cannot be read: the status bar says so in red and the
// message log tells why, until the file reads again.
TEST_F(MainWindowTest, StatusBarShowsADataFileThatCannotBeRead)
{
    tav::DataFaults::instance().reset();
    QDir(d.path()).mkdir(u"【SONG】.ini"_s); // root reads any file: a folder stands in its place
    start();
    QCoreApplication::processEvents();
    auto *label = get<QLabel>("lblDataFaults");
    ASSERT_NE(label, nullptr);
    EXPECT_FALSE(label->isHidden());
    EXPECT_TRUE(label->text().startsWith(u"数据文件故障：无法读取“"_s + d.file(u"【SONG】.ini"_s)))
        << label->text().toStdString();
    QDir(d.path()).rmdir(u"【SONG】.ini"_s);
    d.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早操\nTime=9:00:00\nDuration=9:30:00\nDevice=每天\nRemind=开\n"_s);
    station->tasks().load(clock.now().date());
    QCoreApplication::processEvents();
    EXPECT_TRUE(label->isHidden());
    tav::DataFaults::instance().reset();
}
