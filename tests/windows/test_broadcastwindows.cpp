#include "broadcast/broadcastparts.h"
#include "broadcast/frmpresentation.h"
#include "broadcast/frmttsmodify.h"
#include "broadcast/scriptstore.h"
#include "broadcast/ttsappmain.h"
#include "core/ini.h"
#include "fakes/broadcastrig.h"
#include "widgets.h"

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

    void SetUp() override
    {
        voicePlayer.devices = {{u"auto"_s, u"Autoselect device"_s}, {u"pulse/sink1"_s, u"USB 音箱"_s}};
    }
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

// The rules of the checks and their order are BroadcastDraftCheck's: here each control reaches its check.
TEST_F(BroadcastWindows, EachControlReachesItsCheckAndARefusalSavesNothing)
{
    open();
    const struct { const char *field, *value, *message; } cases[] = {
        {"txtInterval", "1201", "不允许间隔分钟超出0-1200之间"}, {"cboFrequency", "0", "不允许次数超出1-10之间"},
        {"cboPriority", "10", "不允许优先值超出0-9之间"},      {"txtTTSContent", "", "不允许任务名称或内容为空"},
        {"txtVolume", "101", "不允许朗读音量超出0-100之间"}, {"txtRate", "11", "不允许语速超出-10到10之间"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.field);
        tav::frmTTSModify *e = newTask(u"早安"_s);
        setText(e, c.field, QString::fromUtf8(c.value));
        EXPECT_FALSE(e->save());
        EXPECT_EQ(lastShown(), u"提示|"_s + QString::fromUtf8(c.message));
    }
    tav::frmTTSModify *e = newTask(u"时间"_s);
    get<QTimeEdit>(e, "DTP_TTSTimeEnd")->setTime(QTime(8, 29, 59));
    EXPECT_FALSE(e->save());
    EXPECT_EQ(lastShown(), u"提示|不许结束时间小于开始时间");
    get<QTimeEdit>(e, "DTP_TTSTimeEnd")->setTime(QTime(8, 30));
    get<QDateEdit>(e, "DTP_TTSDateEnd")->setDate(QDate(2026, 11, 22));
    EXPECT_FALSE(e->save());
    EXPECT_EQ(lastShown(), u"提示|不允许结束日期小于开始日期");
    EXPECT_TRUE(store.tasks().isEmpty());
}

TEST_F(BroadcastWindows, PriorityRoundTripAndTheWaitingListFollows)
{
    open();
    tav::frmTTSModify *e = newTask(u"早操"_s);
    setText(e, "cboPriority", u"7"_s);
    setText(e, "txtDelay", u"abc"_s);
    get<QCheckBox>(e, "chkTTSWeek5")->setChecked(false);
    get<QCheckBox>(e, "chkTTSWeek6")->setChecked(false);
    ASSERT_TRUE(e->save()) << lastShown().toStdString();
    ASSERT_EQ(store.tasks().size(), 1);
    EXPECT_EQ(store.tasks()[0].timeStart, u"08:30:07");
    EXPECT_EQ(store.tasks()[0].week, u"一二三四五");
    EXPECT_EQ(store.tasks()[0].delay, u"0"); // no number: 0, silently
    auto *tasks = get<QTableWidget>("HFGd_TTS");
    ASSERT_EQ(tasks->rowCount(), 1);

    tasks->setCurrentCell(0, 1);
    click("cmdModifyTTSTask");
    EXPECT_EQ(get<QComboBox>(e, "cboPriority")->currentText(), u"7");
    setText(e, "cboPriority", u"2"_s);
    ASSERT_TRUE(e->save()) << lastShown().toStdString(); // its own name is no clash
    EXPECT_EQ(store.tasks()[0].timeStart, u"08:30:02");

    // Today's list: waiting, then overdue and not spoken late once three hours passed without a tick.
    ASSERT_TRUE(built());
    auto *wait = get<QTableWidget>("HF_WaitList");
    ASSERT_EQ(wait->rowCount(), 1);
    EXPECT_EQ(wait->item(0, 3)->text(), u"待播");
    clock.set(at("2026-11-23 08:29:59"));
    scheduler.tick();
    clock.set(at("2026-11-23 11:30:00"));
    scheduler.tick();
    EXPECT_EQ(wait->item(0, 3)->text(), u"超时");
    EXPECT_FALSE(broadcaster.isBusy());
}

TEST_F(BroadcastWindows, SpeakingPanelReadsTheFilledInTextOnTheChosenDevice)
{
    open();
    get<QComboBox>("AudioOutputCB")->setCurrentIndex(1);
    EXPECT_EQ(voicePlayer.device, u"pulse/sink1");
    EXPECT_EQ(broadcastPlayer.device, u"pulse/sink1");

    get<QTextEdit>("MainTxtBox")->setPlainText(u"现在%Time到"_s);
    get<QCheckBox>("chkMTone")->setChecked(false);
    click("SpeakBtn");
    // The text shown is the one being read, placeholders filled in.
    EXPECT_EQ(get<QTextEdit>("MainTxtBox")->toPlainText(), u"现在上午8:00到");
    ASSERT_TRUE(QTest::qWaitFor([&] { return voicePlayer.state() == tav::MediaPlayer::State::Loading; }, 3000));
    voicePlayer.sound();
    click("StopBtn");
    EXPECT_FALSE(broadcaster.isBusy());
}

TEST_F(BroadcastWindows, NoOutputDeviceIsSaidAndTheWindowGoesOn)
{
    voicePlayer.devices.clear();
    open();
    EXPECT_TRUE(prompt.shown.contains(u"提示|No audio ouput object available"_s));
    EXPECT_TRUE(get<QPushButton>("SpeakBtn")->isEnabled());
}

TEST_F(BroadcastWindows, ScriptsAddRenameAndDelete)
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

    setText(p, "txtPstnText", u"防汛通知"_s);
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

    prompt.answers = {true};
    grid->setCurrentCell(1, 0);
    click("cmdDelPstn");
    EXPECT_EQ(grid->rowCount(), 1);
    EXPECT_FALSE(QFile::exists(d.file(u"防汛.txt"_s)));
}

TEST_F(BroadcastWindows, TaskListSortsAndDeletesButNeverTheLastTask)
{
    d.write(u"【TTS】.ini"_s, u"[TTS1]\nTTS_Name=午餐\nTTS_TimeStart=11:50:00\nTTS_Week=一\nTTS_Delay=0\nTTS_Frequency=1\n"
                              u"[TTS2]\nTTS_Name=早安\nTTS_TimeStart=08:30:00\nTTS_Week=一\nTTS_Delay=0\nTTS_Frequency=1\n"_s);
    open();
    auto *grid = get<QTableWidget>("HFGd_TTS");
    ASSERT_EQ(grid->rowCount(), 2);
    prompt.answers = {true};
    click("cmdSaveTTSList");
    EXPECT_TRUE(prompt.shown.contains(u"提示|是否按开始时间排序及保存列表"_s));
    EXPECT_EQ(grid->item(0, 4)->text(), u"早安");
    EXPECT_EQ(tav::IniFile(dir.tts()).value(u"TTS1"_s, u"TTS_Name"_s), u"早安");

    grid->setCurrentCell(1, 0);
    prompt.answers = {true};
    click("cmdDelTTSTask");
    ASSERT_EQ(grid->rowCount(), 1);
    grid->setCurrentCell(0, 0);
    click("cmdDelTTSTask");
    EXPECT_EQ(lastShown(), u"提示|至少保留一条任务");
    EXPECT_EQ(store.tasks().size(), 1);
}
