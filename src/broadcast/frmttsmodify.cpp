#include "broadcast/frmttsmodify.h"
#include "core/named.h"

#include "broadcast/broadcastparts.h"
#include "broadcast/broadcastscheduler.h"
#include "broadcast/broadcaststore.h"
#include "broadcast/voices.h"
#include "core/clock.h"
#include "platform/prompt.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimeEdit>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

const QString frmTTSModify::kMusicFilter =
    u"WAV Files (*.WAV)|*.WAV|mp3 Files (*.mp3)|*.mp3|MID Files (*.MID)|*.MID|Wma Files (*.wma)|*.wma|"_s;
const QString frmTTSModify::kWaveFilter = u"WAV Files (*.WAV)|*.WAV"_s;

namespace {

} // namespace

frmTTSModify::frmTTSModify(BroadcastParts &parts, QWidget *parent) : QDialog(parent), m_parts(parts)
{
    setObjectName(u"frmTTSModify"_s);
    m_choose = qtFileChooser(this);
    auto *form = new QFormLayout;
    m_name = named(new QLineEdit, "txtTTSName");
    form->addRow(u"任务名称"_s, m_name);
    m_content = named(new QPlainTextEdit, "txtTTSContent");
    auto *contentButtons = new QHBoxLayout;
    auto *wav = named(new QPushButton(u"选择声音文件..."_s), "cmdWavContent");
    auto *clearContent = named(new QPushButton(u"清空内容"_s), "cmdClearContent");
    contentButtons->addWidget(wav);
    contentButtons->addWidget(clearContent);
    contentButtons->addStretch();
    auto *contentBox = new QVBoxLayout;
    contentBox->addWidget(m_content);
    contentBox->addLayout(contentButtons);
    form->addRow(u"播音内容"_s, contentBox);

    m_timeStart = named(new QTimeEdit, "DTP_TTSTimeStart");
    m_timeEnd = named(new QTimeEdit, "DTP_TTSTimeEnd");
    m_priority = named(new QComboBox, "cboPriority");
    for (int i = 0; i <= 9; ++i)
        m_priority->addItem(QString::number(i));
    m_priority->setEditable(true);
    m_priority->setToolTip(u"0表示最优先（0～9），多个播音任务产生在相同时间，按优先级别排序播出。"_s);
    for (QTimeEdit *t : {m_timeStart, m_timeEnd})
        t->setDisplayFormat(u"HH:mm:ss"_s);
    auto *times = new QHBoxLayout;
    times->addWidget(m_timeStart);
    times->addWidget(new QLabel(u"至"_s));
    times->addWidget(m_timeEnd);
    times->addWidget(new QLabel(u"优先级"_s));
    times->addWidget(m_priority);
    form->addRow(u"开始时间"_s, times);

    m_dateStart = named(new QDateEdit, "DTP_TTSDateStart");
    m_dateEnd = named(new QDateEdit, "DTP_TTSDateEnd");
    auto *dates = new QHBoxLayout;
    for (QDateEdit *d : {m_dateStart, m_dateEnd}) {
        d->setDisplayFormat(u"yyyy/M/d"_s);
        d->setCalendarPopup(true);
    }
    dates->addWidget(m_dateStart);
    dates->addWidget(new QLabel(u"至"_s));
    dates->addWidget(m_dateEnd);
    form->addRow(u"开始日期"_s, dates);

    auto *week = new QHBoxLayout;
    static const char *days[] = {"星期一", "星期二", "星期三", "星期四", "星期五", "星期六", "星期日"};
    for (int i = 0; i < 7; ++i) {
        m_week[i] = new QCheckBox(QString::fromUtf8(days[i]));
        m_week[i]->setObjectName(u"chkTTSWeek%1"_s.arg(i));
        week->addWidget(m_week[i]);
    }
    form->addRow(u"每周"_s, week);

    m_interval = named(new QLineEdit, "txtInterval");
    m_interval->setToolTip(u"每隔多少分钟重新朗读一次,直到结束时间到了为止"_s);
    m_delay = named(new QLineEdit, "txtDelay");
    m_delay->setToolTip(u"如果正在播音时,则延后多少分钟等待,再播放"_s);
    m_frequency = named(new QComboBox, "cboFrequency");
    for (int i = 1; i <= 10; ++i)
        m_frequency->addItem(QString::number(i));
    m_frequency->setEditable(true);
    m_switch = named(new QComboBox, "cboTTSSwitch");
    m_switch->addItems({u"开"_s, u"关"_s});
    auto *repeat = new QHBoxLayout;
    repeat->addWidget(new QLabel(u"间隔(分钟)"_s));
    repeat->addWidget(m_interval);
    repeat->addWidget(new QLabel(u"延时(分钟)"_s));
    repeat->addWidget(m_delay);
    repeat->addWidget(new QLabel(u"次数"_s));
    repeat->addWidget(m_frequency);
    repeat->addWidget(new QLabel(u"定时"_s));
    repeat->addWidget(m_switch);
    form->addRow(u"重复"_s, repeat);

    m_speaker = named(new QComboBox, "cboSpeaker");
    m_speaker->addItems(m_parts.voices.names());
    m_speakerLabel = named(new QLabel, "lblSpeaker");
    m_rate = named(new QLineEdit, "txtRate");
    m_volume = named(new QLineEdit, "txtVolume");
    auto *voice = new QHBoxLayout;
    voice->addWidget(m_speaker, 1);
    voice->addWidget(m_speakerLabel);
    voice->addWidget(new QLabel(u"语速"_s));
    voice->addWidget(m_rate);
    voice->addWidget(new QLabel(u"音量"_s));
    voice->addWidget(m_volume);
    form->addRow(u"朗读引擎"_s, voice);
    connect(m_speaker, &QComboBox::currentTextChanged, this,
            [this](const QString &name) { m_speakerLabel->setText(VoiceCatalog::labelOf(name)); });

    m_music = named(new QLineEdit, "txtTTS_BGmusic");
    auto *musicButton = named(new QPushButton(u"..."_s), "cmdBGMusic");
    auto *clearMusic = named(new QPushButton(u"清空"_s), "cmdClearBGMusic");
    m_musicVolume = named(new QLineEdit, "txtSMscVlm");
    m_tone = named(new QCheckBox(u"提示音"_s), "chkSTone");
    auto *music = new QHBoxLayout;
    music->addWidget(m_music, 1);
    music->addWidget(musicButton);
    music->addWidget(clearMusic);
    music->addWidget(new QLabel(u"音乐音量"_s));
    music->addWidget(m_musicVolume);
    music->addWidget(m_tone);
    form->addRow(u"背景音乐"_s, music);

    m_ok = named(new QPushButton(u"确定"_s), "cmdOK");
    auto *cancel = named(new QPushButton(u"取消"_s), "cmdCancel");
    auto *play = named(new QPushButton(u"试听"_s), "cmdPlayNow");
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(play);
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(cancel);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);
    resize(720, 560);

    connect(m_ok, &QPushButton::clicked, this, [this] {
        if (save())
            close();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::close);
    connect(musicButton, &QPushButton::clicked, this, [this] {
        const QString path = m_choose(u"添加背景音乐文件"_s, kMusicFilter, false);
        if (!path.isEmpty())
            m_music->setText(path);
    });
    connect(wav, &QPushButton::clicked, this, [this] {
        const QString path = m_choose(u"添加合成语音文件"_s, kWaveFilter, false);
        if (!path.isEmpty())
            m_content->setPlainText(path);
    });
    connect(clearMusic, &QPushButton::clicked, m_music, &QLineEdit::clear);
    connect(clearContent, &QPushButton::clicked, m_content, &QPlainTextEdit::clear);
    connect(play, &QPushButton::clicked, this, [this] {
        const BroadcastDraft d = draft();
        emit playNow({.name = QString(), .text = d.content, .speaker = d.speaker, .rate = d.rate.toInt(),
                      .voiceVolume = d.voiceVolume.toInt(), .musicVolume = d.musicVolume.toInt(), .tone = d.tone,
                      .music = d.music, .frequency = 1});
    });
}

void frmTTSModify::openNew(const QString &content)
{
    m_mode = Mode::Add;
    m_section = 0;
    m_oldName.clear();
    setWindowTitle(u"新增播音任务"_s);
    BroadcastDraft d = BroadcastDraft::fresh(m_parts.clock.now());
    d.content = content;
    // "VW Hui" when installed, matched without regard to case.
    for (const QString &name : m_parts.voices.names())
        if (name.compare(QLatin1String(VoiceCatalog::kDefault), Qt::CaseInsensitive) == 0)
            d.speaker = name;
    fill(d);
    setEditable(true);
    QDialog::show();
    raise();
}

void frmTTSModify::openTask(const BroadcastTask &task, Mode mode)
{
    m_mode = mode;
    m_section = task.section;
    m_oldName = task.name;
    setWindowTitle(mode == Mode::View ? u"查看播音任务"_s : u"修改播音任务"_s);
    fill(BroadcastDraft::from(task, m_parts.store.content(task.name)));
    setEditable(mode != Mode::View);
    QDialog::show();
    raise();
}

void frmTTSModify::fill(const BroadcastDraft &d)
{
    m_name->setText(d.name);
    m_content->setPlainText(d.content);
    m_timeStart->setTime(d.timeStart);
    m_timeEnd->setTime(d.timeEnd);
    m_dateStart->setDate(d.dateStart.isValid() ? d.dateStart : m_parts.clock.now().date());
    m_dateEnd->setDate(d.dateEnd.isValid() ? d.dateEnd : m_parts.clock.now().date());
    for (int i = 0; i < 7; ++i)
        m_week[i]->setChecked(d.week.value(i));
    m_interval->setText(d.interval);
    m_switch->setCurrentText(d.onOff == u"关" ? u"关"_s : u"开"_s);
    m_musicVolume->setText(d.musicVolume);
    m_tone->setChecked(d.tone);
    if (m_speaker->findText(d.speaker) < 0)
        m_speaker->addItem(d.speaker);
    m_speaker->setCurrentText(d.speaker);
    m_speakerLabel->setText(VoiceCatalog::labelOf(d.speaker));
    m_rate->setText(d.rate);
    m_volume->setText(d.voiceVolume);
    m_music->setText(d.music);
    m_delay->setText(d.delay);
    m_frequency->setCurrentText(d.frequency);
    m_priority->setCurrentText(d.priority);
}

void frmTTSModify::setEditable(bool on)
{
    for (QWidget *w : findChildren<QWidget *>())
        if (w->objectName() != u"cmdCancel" && w->objectName() != u"cmdPlayNow" && !qobject_cast<QLabel *>(w))
            w->setEnabled(on);
}

BroadcastDraft frmTTSModify::draft() const
{
    BroadcastDraft d;
    d.name = m_name->text();
    d.content = m_content->toPlainText();
    d.timeStart = m_timeStart->time();
    d.timeEnd = m_timeEnd->time();
    d.dateStart = m_dateStart->date();
    d.dateEnd = m_dateEnd->date();
    for (int i = 0; i < 7; ++i)
        d.week[i] = m_week[i]->isChecked();
    d.interval = m_interval->text();
    d.onOff = m_switch->currentText();
    d.musicVolume = m_musicVolume->text();
    d.tone = m_tone->isChecked();
    d.speaker = m_speaker->currentText();
    d.rate = m_rate->text();
    d.voiceVolume = m_volume->text();
    d.music = m_music->text();
    d.delay = m_delay->text();
    d.frequency = m_frequency->currentText();
    d.priority = m_priority->currentText();
    return d;
}

bool frmTTSModify::save()
{
    if (m_mode == Mode::View)
        return false;
    BroadcastDraft d = draft();
    const QString refused = d.check(m_parts.dir, m_mode == Mode::Modify ? m_oldName : QString());
    if (!refused.isEmpty()) {
        m_parts.prompt.inform(u"提示"_s, refused);
        return false;
    }
    m_delay->setText(d.delay); // a delay that was no number is 0 now
    QString error;
    const bool ok = m_mode == Mode::Modify
                        ? m_parts.store.modify(m_section, m_oldName, d.toTask(), d.content, &error)
                        : m_parts.store.add(d.toTask(), d.content, &error);
    if (!ok) {
        m_parts.prompt.inform(u"提示"_s, error);
        return false;
    }
    m_parts.scheduler.rebuild();
    emit saved();
    return true;
}

} // namespace tav
