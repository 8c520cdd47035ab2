#include "broadcast/broadcastparts.h"
#include "broadcast/frmpresentation.h"
#include "broadcast/frmttsmodify.h"
#include "broadcast/scriptstore.h"
#include "broadcast/ttsappmain.h"
#include "core/ini.h"
#include "fakes/broadcastrig.h"
#include "widgets.h"

#include <QSignalSpy>
#include <QTextEdit>

namespace {

// The broadcast windows over fake players and a fake voice, on Monday 2026-11-23 at 08:00.
class BroadcastWindows : public ::testing::Test, protected tav::test::BroadcastRig, public tav::test::WindowDriver
{
protected:
    BroadcastWindows() : BroadcastRig("2026-11-23 08:00:00") {}
    tav::ScriptStore scripts{dir};
    tav::BroadcastParts parts{store, scripts, scheduler, broadcaster, voice, voices, synth, voicePlayer,
                              broadcastPlayer, dir, clock, log, prompt};
    std::unique_ptr<tav::TTSAppMain> window;
    QString answer; // what the file dialogs give

    void SetUp() override { voicePlayer.devices = {{u"auto"_s, u"Autoselect device"_s}, {u"pulse/sink1"_s, u"USB 音箱"_s}}; }
    void open()
    {
        scheduler.setEnabled(true);
        ASSERT_TRUE(built());
        window = std::make_unique<tav::TTSAppMain>(parts);
        window->setFileChooser([this](const QString &, const QString &, bool) { return answer; });
    }
    const QObject *root() const override { return window.get(); }
    // Fills a valid new task in the editor.
    tav::frmTTSModify *newTask(const QString &name)
    {
        tav::frmTTSModify *e = window->editor();
        click("cmdAddTTSTask");
        setText(e, "txtTTSName", name);
        setText(e, "txtTTSContent", u"请注意"_s);
        get<QTimeEdit>(e, "DTP_TTSTimeStart")->setTime(QTime(8, 30));
        get<QTimeEdit>(e, "DTP_TTSTimeEnd")->setTime(QTime(8, 30));
        return e;
    }
    QString lastShown() const { return prompt.shown.isEmpty() ? QString() : prompt.shown.last(); }
};

} // namespace

// The order of the checks, the names' and the weekdays' are WebServerTest's broadcast cases
// and StoreTest.OneNameForTasksOfEitherKind.
TEST_F(BroadcastWindows, EditorChecksComeWithTheirMessages)
{
    open();
    tav::frmTTSModify *e = newTask(u"早安"_s);
    EXPECT_EQ(get<QComboBox>(e, "cboSpeaker")->currentText(), u"VW Hui");
    struct Case { const char *field; QString value, message; /* "" = saved */ };
    const auto refuse = [&](std::initializer_list<Case> cases) {
        for (const Case &c : cases) {
            SCOPED_TRACE(c.field + (" " + c.value.toStdString()));
            tav::frmTTSModify *editor = newTask(u"早安%1"_s.arg(store.tasks().size()));
            setText(editor, c.field, c.value);
            prompt.shown.clear();
            EXPECT_EQ(editor->save(), c.message.isEmpty());
            if (!c.message.isEmpty()) {
                EXPECT_EQ(lastShown(), u"提示|"_s + c.message);
            }
        }
    };
    const QString interval = u"不允许间隔分钟超出0-1200之间"_s;
    refuse({{"txtInterval", u"1201"_s, interval}, {"txtInterval", u"-1"_s, interval}, {"txtInterval", u" 5"_s, interval},
            {"txtInterval", u"五"_s, interval}, {"txtInterval", QString(), interval},
            {"cboFrequency", u"0"_s, u"不允许次数超出1-10之间"_s}, {"cboFrequency", u"11"_s, u"不允许次数超出1-10之间"_s},
            {"cboPriority", u"10"_s, u"不允许优先值超出0-9之间"_s}, {"cboPriority", u"a"_s, u"不允许优先值超出0-9之间"_s},
            {"txtTTSName", u"  "_s, u"不允许任务名称或内容为空"_s}, {"txtTTSContent", QString(), u"不允许任务名称或内容为空"_s},
            {"txtVolume", u"101"_s, u"不允许朗读音量超出0-100之间"_s}, {"txtRate", u"11"_s, u"不允许语速超出-10到10之间"_s}});
    EXPECT_TRUE(store.tasks().isEmpty()); // nothing written so far
    refuse({{"txtInterval", u"1200"_s, QString()}, {"txtDelay", u"abc"_s, QString()}, {"txtRate", u"-10"_s, QString()}});
    ASSERT_EQ(store.tasks().size(), 3);
    EXPECT_EQ(store.tasks()[1].delay, u"0"); // no number: 0, silently

    // The time and date pickers reach the checks.
    e = newTask(u"时间"_s);
    get<QTimeEdit>(e, "DTP_TTSTimeEnd")->setTime(QTime(8, 29, 59));
    EXPECT_FALSE(e->save());
    EXPECT_EQ(lastShown(), u"提示|不许结束时间小于开始时间");
    get<QTimeEdit>(e, "DTP_TTSTimeEnd")->setTime(QTime(8, 30));
    get<QDateEdit>(e, "DTP_TTSDateEnd")->setDate(QDate(2026, 11, 22));
    EXPECT_FALSE(e->save());
    EXPECT_EQ(lastShown(), u"提示|不允许结束日期小于开始日期");
    EXPECT_EQ(store.tasks().size(), 3);
}

TEST_F(BroadcastWindows, PriorityRoundTripAndTheWaitingListFollows)
{
    open();
    tav::frmTTSModify *e = newTask(u"早操"_s);
    setText(e, "cboPriority", u"7"_s);
    get<QCheckBox>(e, "chkTTSWeek5")->setChecked(false);
    get<QCheckBox>(e, "chkTTSWeek6")->setChecked(false);
    ASSERT_TRUE(e->save()) << lastShown().toStdString();
    ASSERT_EQ(store.tasks().size(), 1);
    EXPECT_EQ(store.tasks()[0].timeStart, u"08:30:07");
    EXPECT_EQ(store.tasks()[0].week, u"一二三四五");
    auto *tasks = get<QTableWidget>("HFGd_TTS");
    ASSERT_EQ(tasks->rowCount(), 1);
    EXPECT_EQ(tasks->item(0, 1)->text(), u"08:30:07");

    tasks->setCurrentCell(0, 1);
    click("cmdModifyTTSTask");
    EXPECT_EQ(get<QComboBox>(e, "cboPriority")->currentText(), u"7");
    EXPECT_EQ(get<QTimeEdit>(e, "DTP_TTSTimeStart")->time(), QTime(8, 30)); // the priority is not part of the time
    setText(e, "cboPriority", u"2"_s);
    ASSERT_TRUE(e->save()) << lastShown().toStdString(); // its own name is no clash
    EXPECT_EQ(store.tasks()[0].timeStart, u"08:30:02");
    click("cmdViewTTSTask");
    EXPECT_FALSE(get<QPushButton>(e, "cmdOK")->isEnabled());

    // Today's list (its count is MainWindowTest.BroadcastWindowOpensFromTheMenuAndTheSwitchRunsTheList):
    // waiting, then overdue in red once its minute passed unspoken.
    ASSERT_TRUE(built());
    auto *wait = get<QTableWidget>("HF_WaitList");
    ASSERT_EQ(wait->rowCount(), 1);
    EXPECT_EQ(wait->item(0, 3)->text(), u"待播");
    clock.set(at("2026-11-23 08:29:59"));
    scheduler.tick();
    clock.set(at("2026-11-23 11:30:00")); // three hours without a tick
    scheduler.tick();
    EXPECT_EQ(wait->item(0, 3)->text(), u"超时");
    EXPECT_EQ(wait->item(0, 0)->foreground().color(), QColor(255, 0, 0));
}

TEST_F(BroadcastWindows, SpeakingPanelHighlightsTheWordAndKeepsTheOldNamesAndMenus)
{
    open();
    EXPECT_EQ(get<QComboBox>("FormatCB")->currentText(), u"SAFT22kHz16BitStereo");
    get<QComboBox>("AudioOutputCB")->setCurrentIndex(1);
    EXPECT_EQ(voicePlayer.device, u"pulse/sink1");
    EXPECT_EQ(broadcastPlayer.device, u"pulse/sink1");

    get<QTextEdit>("MainTxtBox")->setPlainText(u"现在%Time到"_s);
    get<QCheckBox>("chkMTone")->setChecked(false);
    click("SpeakBtn");
    // The text shown is the one being read, placeholders filled in.
    EXPECT_EQ(get<QTextEdit>("MainTxtBox")->toPlainText(), u"现在上午8:00到");
    EXPECT_EQ(get<QLabel>("Label14")->text(), u" 字数:9");
    ASSERT_TRUE(QTest::qWaitFor([&] { return voicePlayer.state() == tav::MediaPlayer::State::Loading; }, 3000));
    voicePlayer.sound();
    // "现在上午八点整到": the last word is "到", the ninth character shown.
    ASSERT_TRUE(QTest::qWaitFor([&] {
        const auto sel = get<QTextEdit>("MainTxtBox")->extraSelections();
        return !sel.isEmpty() && sel.first().cursor.selectionStart() == 8;
    }, 3000));
    click("PauseBtn");
    EXPECT_EQ(get<QPushButton>("PauseBtn")->text(), u"Resume");
    click("PauseBtn");
    EXPECT_EQ(get<QPushButton>("PauseBtn")->text(), u"Pause");
    click("StopBtn");
    EXPECT_FALSE(broadcaster.isBusy());
    EXPECT_TRUE(get<QTextEdit>("MainTxtBox")->extraSelections().isEmpty());

    // The reading, on request, as the chosen voice will get it.
    auto *reading = get<QPlainTextEdit>("ReadingTxtBox");
    EXPECT_FALSE(reading->isVisibleTo(window.get()));
    get<QTextEdit>("MainTxtBox")->setPlainText(u"请到银行3号窗口"_s);
    click("ReadingBtn");
    ASSERT_TRUE(QTest::qWaitFor([&] { return reading->isVisibleTo(window.get()); }, 5000));
    EXPECT_EQ(reading->toPlainText(), u"qing3 dao4 yin2 hang2 san1 hao4 chuang1 kou3");

    // An empty text is refused with its message.
    get<QTextEdit>("MainTxtBox")->clear();
    click("SpeakBtn");
    EXPECT_EQ(lastShown(), u"提示|朗读内容不能为空");

    // The menus' dialogs.
    answer = d.file(u"广播.wav"_s);
    get<QTextEdit>("MainTxtBox")->setPlainText(u"测试"_s);
    get<QComboBox>("FormatCB")->setCurrentText(u"SAFT8kHz8BitMono"_s);
    QSignalSpy saved(window.get(), &tav::TTSAppMain::waveSaved);
    get<QAction>("mnuSaveToWav")->trigger();
    ASSERT_TRUE(saved.wait(5000));
    EXPECT_EQ(lastShown(), u"文件保存|合成语音文件成功保存!");
    const QByteArray wav = d.bytes(u"广播.wav"_s);
    ASSERT_GT(wav.size(), 44);
    EXPECT_EQ(quint8(wav[24]) | quint8(wav[25]) << 8, 8000); // the chosen format's sample rate
    get<QAction>("mnuSpeakWav")->trigger();
    EXPECT_EQ(voicePlayer.currentUrl(), answer);
    voice.stop();
    answer = d.file(u"稿.txt"_s);
    d.write(u"稿.txt"_s, u"从文件来的稿子"_s);
    get<QAction>("mnuOpenText")->trigger();
    EXPECT_EQ(get<QTextEdit>("MainTxtBox")->toPlainText(), u"从文件来的稿子");
}

TEST_F(BroadcastWindows, NoOutputDeviceIsSaidAndTheWindowGoesOn)
{
    voicePlayer.devices.clear();
    open();
    EXPECT_TRUE(prompt.shown.contains(u"提示|No audio ouput object available"_s));
    EXPECT_FALSE(get<QComboBox>("AudioOutputCB")->isEnabled());
    EXPECT_TRUE(get<QPushButton>("SpeakBtn")->isEnabled());
}

// Titles that would leave the folder are StoreTest.TheProgramsOwnFileNamesAreNoTaskOrScriptNames and DataDir's.
TEST_F(BroadcastWindows, ScriptsAddRenameDeleteSearchImportAndMakeATask)
{
    open();
    tav::frmPresentation *p = window->scriptEditor();
    click("cmdAddPstn");
    setText(p, "txtPstnTitle", u"防火"_s);
    EXPECT_FALSE(p->save());
    EXPECT_EQ(lastShown(), u"提示|不允许标题内容为空");
    setText(p, "txtPstnText", u"注意用火安全"_s);
    ASSERT_TRUE(p->save());
    EXPECT_EQ(tav::IniFile(d.file(u"【PRESENTATION】.ini"_s)).value(u"Presentation1"_s, u"PresentationName"_s),
              u"防火");
    EXPECT_EQ(d.bytes(u"防火.txt"_s), tav::toGbk(u"注意用火安全\r\n"_s));
    click("cmdAddPstn");
    setText(p, "txtPstnTitle", u"防火"_s);
    setText(p, "txtPstnText", u"x"_s);
    EXPECT_FALSE(p->save());
    EXPECT_EQ(lastShown(), u"提示|该名称已存在，请重新输入");

    // Import: GBK as it is; UTF-8 read and said; binary refused.
    answer = d.file(u"外来.txt"_s);
    d.writeBytes(u"外来.txt"_s, u"防汛通知"_s.toUtf8());
    get<QPushButton>(p, "cmdImportPstn")->click();
    EXPECT_EQ(get<QPlainTextEdit>(p, "txtPstnText")->toPlainText(), u"防汛通知");
    d.writeBytes(u"外来.txt"_s, QByteArray("\x00\x01\x02", 3));
    get<QPushButton>(p, "cmdImportPstn")->click();
    EXPECT_EQ(get<QPlainTextEdit>(p, "txtPstnText")->toPlainText(), u"防汛通知");
    EXPECT_TRUE(lastShown().startsWith(u"提示|无法导入"_s));
    setText(p, "txtPstnTitle", u"防汛"_s);
    ASSERT_TRUE(p->save());

    auto *grid = get<QTableWidget>("HFGd_Presentation");
    ASSERT_EQ(grid->rowCount(), 2);
    grid->setCurrentCell(0, 0);
    click("cmdEditPstn"); // a rename leaves no file under the old title
    setText(p, "txtPstnTitle", u"冬季防火"_s);
    ASSERT_TRUE(p->save());
    EXPECT_FALSE(QFile::exists(d.file(u"防火.txt"_s)));
    EXPECT_EQ(scripts.text(u"冬季防火"_s), u"注意用火安全");

    setText(window.get(), "txtFindPstn", QString());
    click("cmdFindPstn");
    EXPECT_EQ(lastShown(), u"提示|关键字不允许为空");
    setText(window.get(), "txtFindPstn", u"地震"_s);
    click("cmdFindPstn");
    EXPECT_EQ(lastShown(), u"提示|没有查找到任务");

    prompt.answers = {true}; // delete, never the last one
    grid->setCurrentCell(1, 0);
    click("cmdDelPstn");
    EXPECT_EQ(grid->rowCount(), 1);
    EXPECT_FALSE(QFile::exists(d.file(u"防汛.txt"_s)));
    grid->setCurrentCell(0, 0);
    click("cmdDelPstn");
    EXPECT_EQ(lastShown(), u"提示|至少保留一条任务");
    EXPECT_EQ(grid->rowCount(), 1);

    click("cmdViewPstn"); // a script becomes a new broadcast task with its text
    get<QPushButton>(p, "cmdMakeTask")->click();
    EXPECT_EQ(window->editor()->windowTitle(), u"新增播音任务");
    EXPECT_EQ(get<QPlainTextEdit>(window->editor(), "txtTTSContent")->toPlainText(), u"注意用火安全");
}

TEST_F(BroadcastWindows, TaskListSortsDeletesAndSearches)
{
    d.write(u"【TTS】.ini"_s, u"[TTS1]\nTTS_Name=午餐\nTTS_TimeStart=11:50:00\nTTS_Week=一\nTTS_Delay=0\nTTS_Frequency=1\n"
                              u"[TTS2]\nTTS_Name=早安\nTTS_TimeStart=08:30:00\nTTS_Week=一\nTTS_Delay=0\nTTS_Frequency=1\n"_s);
    open();
    auto *grid = get<QTableWidget>("HFGd_TTS");
    ASSERT_EQ(grid->rowCount(), 2);
    prompt.answers = {true};
    click("cmdSaveTTSList");
    EXPECT_TRUE(prompt.shown.contains(u"提示|是否按开始时间排序及保存列表"_s));
    EXPECT_EQ(lastShown(), u"提示|保存已完成");
    EXPECT_EQ(grid->item(0, 4)->text(), u"早安");
    EXPECT_EQ(tav::IniFile(dir.tts()).value(u"TTS1"_s, u"TTS_Name"_s), u"早安");

    setText(window.get(), "txtFindTTSTask", u"午"_s);
    click("cmdFindTTSTask");
    EXPECT_TRUE(grid->item(1, 4)->isSelected());
    EXPECT_FALSE(grid->item(0, 4)->isSelected());

    grid->setCurrentCell(1, 0);
    prompt.answers = {true};
    click("cmdDelTTSTask");
    ASSERT_EQ(grid->rowCount(), 1);
    grid->setCurrentCell(0, 0);
    click("cmdDelTTSTask");
    EXPECT_EQ(lastShown(), u"提示|至少保留一条任务");
    EXPECT_EQ(store.tasks().size(), 1);
}
