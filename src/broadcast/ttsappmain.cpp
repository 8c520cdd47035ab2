#include "broadcast/ttsappmain.h"
#include "core/named.h"

#include "broadcast/broadcaster.h"
#include "broadcast/broadcastscheduler.h"
#include "broadcast/broadcaststore.h"
#include "broadcast/frmpresentation.h"
#include "broadcast/frmttsmodify.h"
#include "broadcast/scriptstore.h"
#include "broadcast/voice.h"
#include "broadcast/voices.h"
#include "broadcast/waveformat.h"
#include "broadcast/pinyin.h"
#include "broadcast/zhreading.h"
#include "core/clock.h"
#include "platform/mediaplayer.h"
#include "platform/prompt.h"
#include "platform/speech.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QSplitter>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextEdit>
#include <QThread>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::StringLiterals;

namespace tav {

const QStringList TTSAppMain::kTaskColumns = {
    u"序号"_s,     u"开始时间"_s, u"结束时间"_s, u"定时"_s,     u"任务名称"_s, u"开始日期"_s,
    u"结束日期"_s, u"每周"_s,     u"间隔"_s,     u"音乐音量"_s, u"提示音"_s,   u"朗读引擎"_s,
    u"朗读语速"_s, u"朗读音量"_s, u"背景音乐"_s, u"定位"_s,     u"延时"_s,     u"次数"_s};
const QStringList TTSAppMain::kWaitColumns = {u"  时间"_s, u"        播音主题"_s, u"               播音内容 "_s,
                                              u"状态"_s};
const QStringList TTSAppMain::kScriptColumns = {u"           文稿主题"_s, u"文稿内容"_s};

namespace {

const QString kWaveFilter = u"All Files (*.*)|*.*|Wave Files (*.wav)|*.wav"_s;
const QString kTextFilter = u"All Files (*.*)|*.*|Text, XML Files (*.txt;*.xml)|*.txt;*.xml"_s;

QTableWidget *grid(const char *name, const QStringList &headings)
{
    auto *g = named(new QTableWidget(0, int(headings.size())), name);
    g->setHorizontalHeaderLabels(headings);
    g->setSelectionBehavior(QAbstractItemView::SelectRows);
    g->setEditTriggers(QAbstractItemView::NoEditTriggers);
    g->verticalHeader()->hide();
    g->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    g->horizontalHeader()->setStretchLastSection(true);
    return g;
}

void setRow(QTableWidget *g, int row, const QStringList &cells)
{
    for (int c = 0; c < cells.size(); ++c)
        g->setItem(row, c, new QTableWidgetItem(cells[c]));
}

} // namespace

TTSAppMain::TTSAppMain(BroadcastParts parts, QWidget *parent) : QDialog(parent), m_parts(parts)
{
    setObjectName(u"TTSAppMain"_s);
    setWindowTitle(u"语音播报"_s);
    m_editor = new frmTTSModify(m_parts, this);
    m_scriptEditor = new frmPresentation(m_parts, this);

    auto *menus = new QMenuBar;
    QMenu *file = menus->addMenu(u"File"_s);
    auto addAction = [&](const char *name, const QString &text, void (TTSAppMain::*slot)()) {
        QAction *a = file->addAction(text);
        a->setObjectName(QString::fromLatin1(name));
        connect(a, &QAction::triggered, this, slot);
    };
    addAction("mnuSaveToWav", u"Save to a Wave File"_s, &TTSAppMain::saveToWave);
    addAction("mnuSpeakWav", u"Speak a Wave File"_s, &TTSAppMain::speakWave);
    addAction("mnuOpenText", u"Open a Text File"_s, &TTSAppMain::openText);

    auto *tabs = named(new QTabWidget, "tabTTS");
    tabs->addTab(buildTasks(), u"播音任务"_s);
    tabs->addTab(buildScripts(), u"文稿"_s);
    auto *split = new QSplitter;
    split->addWidget(tabs);
    split->addWidget(buildPanel());
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 2);
    auto *layout = new QVBoxLayout(this);
    layout->setMenuBar(menus);
    layout->addWidget(split);
    resize(1180, 720);

    m_choose = qtFileChooser(this);
    connect(m_editor, &frmTTSModify::saved, this, &TTSAppMain::refreshTasks);
    connect(m_editor, &frmTTSModify::playNow, this, &TTSAppMain::speakRequest);
    connect(m_scriptEditor, &frmPresentation::saved, this, &TTSAppMain::refreshScripts);
    connect(m_scriptEditor, &frmPresentation::listen, this, [this](const QString &text) {
        BroadcastRequest r = panelRequest();
        r.text = text;
        speakRequest(r);
    });
    connect(m_scriptEditor, &frmPresentation::makeTask, this, [this](const QString &text) { m_editor->openNew(text); });

    // The engine's side: what is read, the words, the events, the ends.
    connect(&m_parts.broadcaster, &Broadcaster::readingStarted, this, [this](const QString &text) {
        m_text->setPlainText(text); // the placeholders as they were filled in
        m_count->setText(u" 字数:%1"_s.arg(text.size()));
        refreshButtons();
    });
    connect(&m_parts.broadcaster, &Broadcaster::notice, this,
            [this](const QString &text) { m_parts.prompt.informLater(u"提示"_s, text); });
    connect(&m_parts.voice, &Voice::eventLine, this, &TTSAppMain::debug);
    connect(&m_parts.voice, &Voice::failed, this, &TTSAppMain::debug);
    connect(&m_parts.voice, &Voice::word, this, &TTSAppMain::highlight);
    connect(&m_parts.voice, &Voice::endStream, this, [this] {
        m_text->setExtraSelections({});
        refreshButtons();
    });
    connect(&m_parts.voice, &Voice::stateChanged, this, &TTSAppMain::refreshButtons);
    connect(&m_parts.broadcaster, &Broadcaster::finished, this, &TTSAppMain::refreshButtons);
    connect(&m_parts.scheduler, &BroadcastScheduler::listChanged, this, &TTSAppMain::refreshWaitList);
    connect(&m_parts.scheduler, &BroadcastScheduler::rowChanged, this, &TTSAppMain::refreshWaitRow);
    connect(&m_parts.scheduler, &BroadcastScheduler::listChanged, this, &TTSAppMain::refreshTasks);

    refreshTasks();
    refreshWaitList();
    QString error;
    if (!m_parts.scripts.load(&error))
        debug(error);
    refreshScripts();
    fillOutputs();
    refreshButtons();
}

void TTSAppMain::setFileChooser(FileChooser chooser)
{
    m_choose = chooser;
    m_editor->setFileChooser(chooser);
    m_scriptEditor->setFileChooser(chooser);
}

QWidget *TTSAppMain::buildTasks()
{
    auto *page = new QWidget;
    m_tasks = grid("HFGd_TTS", kTaskColumns);
    auto *buttons = new QHBoxLayout;
    auto *add = named(new QPushButton(u"新增"_s), "cmdAddTTSTask");
    auto *modify = named(new QPushButton(u"修改"_s), "cmdModifyTTSTask");
    auto *view = named(new QPushButton(u"查看"_s), "cmdViewTTSTask");
    auto *remove = named(new QPushButton(u"删除"_s), "cmdDelTTSTask");
    auto *sort = named(new QPushButton(u"排序保存"_s), "cmdSaveTTSList");
    m_findTask = named(new QLineEdit, "txtFindTTSTask");
    m_findTask->setPlaceholderText(u"关键字"_s);
    auto *find = named(new QPushButton(u"查找"_s), "cmdFindTTSTask");
    for (QWidget *w : {static_cast<QWidget *>(add), static_cast<QWidget *>(modify), static_cast<QWidget *>(view),
                       static_cast<QWidget *>(remove), static_cast<QWidget *>(sort)})
        buttons->addWidget(w);
    buttons->addStretch();
    buttons->addWidget(m_findTask);
    buttons->addWidget(find);
    m_waitLabel = named(new QLabel, "lblWaitList");
    m_wait = grid("HF_WaitList", kWaitColumns);
    // The text takes what room there is; the status stays in sight.
    m_wait->horizontalHeader()->setStretchLastSection(false);
    m_wait->horizontalHeader()->setSectionResizeMode(2, QHeaderView::Stretch);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(m_tasks, 3);
    layout->addLayout(buttons);
    layout->addWidget(m_waitLabel);
    layout->addWidget(m_wait, 2);

    connect(add, &QPushButton::clicked, this, [this] { m_editor->openNew(); });
    const auto open = [this](frmTTSModify::Mode mode) {
        const int row = selectedTask();
        if (row < 0) {
            m_parts.prompt.inform(u"提示"_s, u"请先选择一条播音任务"_s);
            return;
        }
        m_editor->openTask(m_parts.store.tasks()[row], mode);
    };
    connect(modify, &QPushButton::clicked, this, [open] { open(frmTTSModify::Mode::Modify); });
    connect(view, &QPushButton::clicked, this, [open] { open(frmTTSModify::Mode::View); });
    connect(m_tasks, &QTableWidget::cellDoubleClicked, this, [open] { open(frmTTSModify::Mode::Modify); });
    connect(remove, &QPushButton::clicked, this, [this] {
        const int row = selectedTask();
        if (row < 0)
            return;
        const BroadcastTask task = m_parts.store.tasks()[row];
        QString error;
        if (m_parts.store.tasks().size() <= 1) {
            m_parts.prompt.inform(u"提示"_s, u"至少保留一条任务"_s);
            return;
        }
        if (!m_parts.prompt.ask(u"提示"_s, u"确定删除播音任务“%1”吗？"_s.arg(task.name), false))
            return;
        if (!m_parts.store.remove(task.section, &error))
            m_parts.prompt.inform(u"提示"_s, error);
        refreshTasks(); // the list of the day follows when it is built
        m_parts.scheduler.rebuild();
    });
    connect(sort, &QPushButton::clicked, this, [this] {
        if (!m_parts.prompt.ask(u"提示"_s, u"是否按开始时间排序及保存列表"_s, true))
            return;
        QString error;
        if (!m_parts.store.saveList(BroadcastStore::sortedByStart(m_parts.store.tasks()), &error)) {
            m_parts.prompt.inform(u"提示"_s, error);
            return;
        }
        refreshTasks(); // the list of the day follows when it is built
        m_parts.scheduler.rebuild();
        m_parts.prompt.inform(u"提示"_s, u"保存已完成"_s);
    });
    connect(find, &QPushButton::clicked, this, [this] {
        QString message;
        const QList<int> rows = m_parts.store.search(m_findTask->text(), &message);
        m_tasks->clearSelection();
        if (rows.isEmpty()) {
            m_parts.prompt.inform(u"提示"_s, message);
            return;
        }
        m_tasks->setSelectionMode(QAbstractItemView::MultiSelection);
        for (int r : rows)
            m_tasks->selectRow(r);
        m_tasks->setSelectionMode(QAbstractItemView::ExtendedSelection);
        m_tasks->scrollToItem(m_tasks->item(rows.first(), 0));
    });
    return page;
}

QWidget *TTSAppMain::buildScripts()
{
    auto *page = new QWidget;
    m_scripts = grid("HFGd_Presentation", kScriptColumns);
    auto *buttons = new QHBoxLayout;
    auto *add = named(new QPushButton(u"增加文稿"_s), "cmdAddPstn");
    auto *edit = named(new QPushButton(u"编辑文稿"_s), "cmdEditPstn");
    auto *view = named(new QPushButton(u"查看文稿"_s), "cmdViewPstn");
    auto *remove = named(new QPushButton(u"删除文稿"_s), "cmdDelPstn");
    m_findScript = named(new QLineEdit, "txtFindPstn");
    m_findScript->setPlaceholderText(u"关键字"_s);
    auto *find = named(new QPushButton(u"查找"_s), "cmdFindPstn");
    for (QPushButton *b : {add, edit, view, remove})
        buttons->addWidget(b);
    buttons->addStretch();
    buttons->addWidget(m_findScript);
    buttons->addWidget(find);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(m_scripts);
    layout->addLayout(buttons);

    connect(add, &QPushButton::clicked, m_scriptEditor, &frmPresentation::openNew);
    const auto open = [this](frmPresentation::Mode mode) {
        const int row = selectedScript();
        if (row < 0)
            return;
        const ScriptStore::Script s = m_parts.scripts.scripts()[row];
        m_scriptEditor->openScript(s.section, s.title, mode);
    };
    connect(edit, &QPushButton::clicked, this, [open] { open(frmPresentation::Mode::Edit); });
    connect(view, &QPushButton::clicked, this, [open] { open(frmPresentation::Mode::View); });
    // A click shows the script's text in the speaking panel.
    connect(m_scripts, &QTableWidget::cellClicked, this, [this](int row) {
        if (row >= 0 && row < m_parts.scripts.scripts().size())
            m_text->setPlainText(m_parts.scripts.text(m_parts.scripts.scripts()[row].title));
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        const int row = selectedScript();
        if (row < 0)
            return;
        if (m_parts.scripts.scripts().size() <= 1) {
            m_parts.prompt.inform(u"提示"_s, u"至少保留一条任务"_s);
            return;
        }
        const ScriptStore::Script s = m_parts.scripts.scripts()[row];
        if (!m_parts.prompt.ask(u"提示"_s, u"确定删除文稿“%1”吗？"_s.arg(s.title), false))
            return;
        QString error;
        if (!m_parts.scripts.remove(s.section, &error))
            m_parts.prompt.inform(u"提示"_s, error);
        refreshScripts();
    });
    connect(find, &QPushButton::clicked, this, [this] {
        QString message;
        const QList<int> rows = m_parts.scripts.search(m_findScript->text(), &message);
        m_scripts->clearSelection();
        if (rows.isEmpty()) {
            m_parts.prompt.inform(u"提示"_s, message);
            return;
        }
        m_scripts->setSelectionMode(QAbstractItemView::MultiSelection);
        for (int r : rows)
            m_scripts->selectRow(r);
        m_scripts->setSelectionMode(QAbstractItemView::ExtendedSelection);
    });
    return page;
}

QWidget *TTSAppMain::buildPanel()
{
    auto *panel = new QWidget;
    m_text = named(new QTextEdit, "MainTxtBox");
    m_text->setAcceptRichText(false);
    m_count = named(new QLabel(u" 字数:0"_s), "Label14");
    connect(m_text, &QTextEdit::textChanged, this,
            [this] { m_count->setText(u" 字数:%1"_s.arg(m_text->toPlainText().size())); });

    m_voice = named(new QComboBox, "VoiceCB");
    m_voice->addItems(m_parts.voices.names());
    m_voiceLabel = named(new QLabel(VoiceCatalog::labelOf(m_voice->currentText())), "lblVoice");
    connect(m_voice, &QComboBox::currentTextChanged, this,
            [this](const QString &name) { m_voiceLabel->setText(VoiceCatalog::labelOf(name)); });
    m_rate = named(new QSlider(Qt::Horizontal), "RateSldr");
    m_rate->setRange(-10, 10);
    m_volume = named(new QSlider(Qt::Horizontal), "VolumeSldr");
    m_volume->setRange(0, 100);
    m_volume->setValue(100);
    m_format = named(new QComboBox, "FormatCB");
    m_format->addItems(WaveFormat::names());
    m_format->setCurrentText(QString::fromLatin1(WaveFormat::kDefault));
    m_output = named(new QComboBox, "AudioOutputCB");

    static const char *flagNames[6] = {"chkSpFlagAync",         "chkSpFlagIsFilename", "chkSpFlagIsXML",
                                       "chkSpFlagNLPSpeakPunc", "chkSpFlagPersistXML", "chkSpFlagPurgeBeforeSpeak"};
    static const char *flagTexts[6] = {"Async", "Is filename", "Is XML", "Speak punctuation", "Persist XML",
                                       "Purge before speak"};
    auto *flags = new QGridLayout;
    for (int i = 0; i < 6; ++i) {
        m_flags[i] = named(new QCheckBox(QString::fromLatin1(flagTexts[i])), flagNames[i]);
        flags->addWidget(m_flags[i], i / 3, i % 3);
    }
    m_flags[0]->setChecked(true);
    m_flags[0]->setEnabled(false);
    m_flags[0]->setToolTip(u"朗读总是在后台进行，窗口和定时不会等它"_s);
    for (int i : {2, 3, 4}) {
        m_flags[i]->setEnabled(false);
        m_flags[i]->setToolTip(u"本机的语音引擎不支持此选项"_s);
    }
    m_flags[5]->setChecked(true);

    m_tone = named(new QCheckBox(u"提示音"_s), "chkMTone");
    m_tone->setChecked(true);
    m_music = named(new QLineEdit, "txtBG_path");
    m_musicVolume = named(new QLineEdit(u"30"_s), "txtM_mscVlm");

    m_speakButton = named(new QPushButton(u"Speak"_s), "SpeakBtn");
    m_pauseButton = named(new QPushButton(u"Pause"_s), "PauseBtn");
    m_skipButton = named(new QPushButton(u"Skip"_s), "SkipBtn");
    m_stopButton = named(new QPushButton(u"Stop"_s), "StopBtn");
    auto *reset = named(new QPushButton(u"Reset"_s), "ResetBtn");
    auto *reading = named(new QPushButton(u"读法"_s), "ReadingBtn");
    reading->setToolTip(u"显示语音引擎将得到的读法（普通话为带声调数字的拼音）"_s);
    m_reading = named(new QPlainTextEdit, "ReadingTxtBox");
    m_reading->setReadOnly(true);
    m_reading->setMaximumHeight(90);
    m_reading->hide();
    m_debug = named(new QPlainTextEdit, "DebugTxtBox");
    m_debug->setReadOnly(true);
    m_debug->setMaximumBlockCount(2000);
    m_debug->setLineWrapMode(QPlainTextEdit::NoWrap);

    auto *settings = new QGridLayout;
    settings->addWidget(new QLabel(u"语音"_s), 0, 0);
    settings->addWidget(m_voice, 0, 1);
    settings->addWidget(m_voiceLabel, 0, 2);
    settings->addWidget(new QLabel(u"语速"_s), 1, 0);
    settings->addWidget(m_rate, 1, 1, 1, 2);
    settings->addWidget(new QLabel(u"音量"_s), 2, 0);
    settings->addWidget(m_volume, 2, 1, 1, 2);
    settings->addWidget(new QLabel(u"格式"_s), 3, 0);
    settings->addWidget(m_format, 3, 1, 1, 2);
    settings->addWidget(new QLabel(u"输出"_s), 4, 0);
    settings->addWidget(m_output, 4, 1, 1, 2);
    settings->addWidget(m_tone, 5, 0);
    settings->addWidget(new QLabel(u"背景音乐"_s), 5, 1);
    settings->addWidget(m_music, 5, 2);
    settings->addWidget(new QLabel(u"音乐音量"_s), 6, 1);
    settings->addWidget(m_musicVolume, 6, 2);
    auto *buttons = new QHBoxLayout;
    for (QPushButton *b : {m_speakButton, m_pauseButton, m_skipButton, m_stopButton, reset, reading})
        buttons->addWidget(b);
    auto *layout = new QVBoxLayout(panel);
    layout->addWidget(m_text, 3);
    layout->addWidget(m_count);
    layout->addLayout(settings);
    layout->addLayout(flags);
    layout->addLayout(buttons);
    layout->addWidget(m_reading);
    layout->addWidget(new QLabel(u"事件"_s));
    layout->addWidget(m_debug, 2);

    connect(m_speakButton, &QPushButton::clicked, this, &TTSAppMain::speak);
    connect(reading, &QPushButton::clicked, this, &TTSAppMain::showReading);
    connect(m_pauseButton, &QPushButton::clicked, this, [this] {
        if (m_parts.voice.state() == Voice::State::Paused)
            m_parts.voice.resume();
        else
            m_parts.voice.pause();
        refreshButtons();
    });
    connect(m_skipButton, &QPushButton::clicked, this, [this] { m_parts.voice.skipSentence(); });
    connect(m_stopButton, &QPushButton::clicked, this, [this] {
        m_parts.broadcaster.stop();
        m_parts.voice.stop();
        refreshButtons();
    });
    connect(reset, &QPushButton::clicked, this, [this] {
        m_rate->setValue(0);
        m_volume->setValue(100);
        m_format->setCurrentText(QString::fromLatin1(WaveFormat::kDefault));
        m_voice->setCurrentIndex(0);
    });
    connect(m_output, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (index < 0)
            return;
        const QString device = m_output->itemData(index).toString();
        m_parts.voicePlayer.setAudioDevice(device);
        m_parts.broadcastPlayer.setAudioDevice(device);
    });
    return panel;
}

void TTSAppMain::fillOutputs()
{
    const QList<MediaPlayer::AudioDevice> devices = m_parts.voicePlayer.audioDevices();
    if (devices.isEmpty()) {
        m_parts.prompt.informLater(u"提示"_s, u"No audio ouput object available"_s);
        m_output->setEnabled(false);
        return;
    }
    QSignalBlocker block(m_output);
    for (const MediaPlayer::AudioDevice &d : devices)
        m_output->addItem(d.description.isEmpty() ? d.name : d.description, d.name);
}

void TTSAppMain::refreshTasks()
{
    const QList<BroadcastTask> &tasks = m_parts.store.tasks();
    m_tasks->setRowCount(int(tasks.size()));
    for (int r = 0; r < tasks.size(); ++r) {
        const BroadcastTask &t = tasks[r];
        setRow(m_tasks, r,
               {QString::number(r + 1), t.timeStart, t.timeEnd, t.onOff, t.name, t.dateStart, t.dateEnd, t.week,
                t.interval, t.musicVolume, t.tone, t.speaker, t.rate, t.voiceVolume, t.music, t.index, t.delay,
                t.frequency});
    }
}

void TTSAppMain::refreshWaitList()
{
    m_waitLabel->setText(m_parts.scheduler.header());
    const QList<WaitRow> &rows = m_parts.scheduler.rows();
    // Each broadcast's text is read once for the list, not once a row.
    m_waitTexts.clear();
    m_wait->setUpdatesEnabled(false);
    m_wait->setRowCount(int(rows.size()));
    for (int r = 0; r < rows.size(); ++r)
        refreshWaitRow(r);
    m_wait->setUpdatesEnabled(true);
}

void TTSAppMain::refreshWaitRow(int r)
{
    m_waitLabel->setText(m_parts.scheduler.header());
    const QList<WaitRow> &rows = m_parts.scheduler.rows();
    if (r < 0 || r >= rows.size() || r >= m_wait->rowCount())
        return;
    const WaitRow &row = rows[r];
    auto text = m_waitTexts.constFind(row.name);
    if (text == m_waitTexts.cend())
        text = m_waitTexts.insert(row.name, m_parts.store.content(row.name).left(200));
    setRow(m_wait, r, {row.time.toString(u"HH:mm:ss"_s), row.name, *text, WaitRow::statusText(row.status)});
    const int colour = row.colour();
    for (int c = 0; c < m_wait->columnCount(); ++c)
        m_wait->item(r, c)->setForeground(colour < 0 ? QBrush() : QBrush(QColor(QRgb(colour))));
}

void TTSAppMain::refreshScripts()
{
    const QList<ScriptStore::Script> &scripts = m_parts.scripts.scripts();
    m_scripts->setRowCount(int(scripts.size()));
    for (int r = 0; r < scripts.size(); ++r)
        setRow(m_scripts, r, {scripts[r].title, m_parts.scripts.text(scripts[r].title).left(200)});
}

void TTSAppMain::refreshButtons()
{
    const Voice::State state = m_parts.voice.state();
    m_pauseButton->setText(state == Voice::State::Paused ? u"Resume"_s : u"Pause"_s);
    m_pauseButton->setEnabled(state != Voice::State::Idle);
    m_skipButton->setEnabled(state == Voice::State::Speaking);
    m_stopButton->setEnabled(state != Voice::State::Idle || m_parts.broadcaster.isBusy());
}

void TTSAppMain::debug(const QString &line)
{
    m_debug->appendPlainText(line);
}

void TTSAppMain::highlight(int position, int length)
{
    QTextCursor cursor(m_text->document());
    const int size = m_text->document()->characterCount() - 1;
    if (position < 0 || position + length > size) {
        debug(u"Failed to high light words. This may be caused by too many charaters in the main text box."_s);
        return;
    }
    cursor.setPosition(position);
    cursor.setPosition(position + length, QTextCursor::KeepAnchor);
    QTextEdit::ExtraSelection selection;
    selection.cursor = cursor;
    selection.format.setBackground(QColor(0x33, 0x99, 0xff));
    selection.format.setForeground(Qt::white);
    m_text->setExtraSelections({selection});
}

int TTSAppMain::selectedTask() const
{
    const int row = m_tasks->currentRow();
    return row >= 0 && row < m_parts.store.tasks().size() ? row : -1;
}

int TTSAppMain::selectedScript() const
{
    const int row = m_scripts->currentRow();
    return row >= 0 && row < m_parts.scripts.scripts().size() ? row : -1;
}

BroadcastRequest TTSAppMain::panelRequest() const
{
    BroadcastRequest r;
    r.text = m_text->toPlainText();
    r.speaker = m_voice->currentText();
    r.rate = m_rate->value();
    r.voiceVolume = m_volume->value();
    bool ok = false;
    const int music = m_musicVolume->text().toInt(&ok);
    r.musicVolume = ok ? qBound(0, music, 100) : 30;
    r.tone = m_tone->isChecked();
    r.music = m_music->text();
    r.textIsFile = m_flags[1]->isChecked();
    return r;
}

void TTSAppMain::speak()
{
    if (m_parts.broadcaster.isBusy() && !m_flags[5]->isChecked()) {
        m_parts.prompt.inform(u"提示"_s, u"正在朗读。勾选“Purge before speak”可以打断当前的朗读。"_s);
        return;
    }
    debug(u"Speak"_s);
    QString error;
    if (!m_parts.broadcaster.speak(panelRequest(), &error))
        m_parts.prompt.inform(u"提示"_s, error);
    refreshButtons();
}

void TTSAppMain::speakRequest(const BroadcastRequest &request)
{
    m_text->setPlainText(request.text);
    if (m_voice->findText(request.speaker) >= 0)
        m_voice->setCurrentText(request.speaker);
    m_rate->setValue(request.rate);
    m_volume->setValue(request.voiceVolume);
    m_tone->setChecked(request.tone);
    m_music->setText(request.music);
    m_musicVolume->setText(QString::number(request.musicVolume));
    speak();
}

void TTSAppMain::showReading()
{
    const QString shown = Broadcaster::textToSpeak(m_text->toPlainText(),
                                                   m_parts.voices.resolve(m_voice->currentText()), m_parts.clock.now());
    const QString voice = m_parts.voices.resolve(m_voice->currentText()).synthId;
    auto result = std::make_shared<QString>();
    // The first reading loads the word dictionary: not on the window's thread.
    QThread *worker = QThread::create([=] {
        const QString &error = pinyin::Dictionary::instance().error();
        *result = error.isEmpty() ? zhreading::forEngine(shown, voice).text : error;
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    connect(worker, &QThread::finished, this, [this, result] {
        m_reading->setPlainText(*result);
        m_reading->show();
    });
    worker->start();
}

void TTSAppMain::saveToWave()
{
    const QString path = m_choose(u"Save to a Wave File"_s, kWaveFilter, true);
    if (path.isEmpty())
        return;
    const QString shown = Broadcaster::textToSpeak(m_text->toPlainText(),
                                                   m_parts.voices.resolve(m_voice->currentText()), m_parts.clock.now());
    if (shown.isEmpty()) {
        m_parts.prompt.inform(u"提示"_s, u"朗读内容不能为空"_s);
        return;
    }
    debug(u"Save to .wav file"_s);
    WaveFormat format;
    WaveFormat::parse(m_format->currentText(), &format);
    const QString voice = m_parts.voices.resolve(m_voice->currentText()).synthId;
    const QString text = zhreading::forVoice(shown).text;
    const int rate = m_rate->value(), volume = m_volume->value();
    SpeechSynth *synth = &m_parts.synth;
    auto error = std::make_shared<QString>();
    // Long texts take a while: never on the window's (and the clockwork's) thread.
    QThread *worker = QThread::create([=] {
        SpeechAudio audio;
        if (!synth->synthesize(text, voice, rate, &audio, error.get()))
            return;
        auto *samples = reinterpret_cast<qint16 *>(audio.samples.data());
        for (qint64 i = 0; i < audio.frames(); ++i)
            samples[i] = qint16(samples[i] * volume / 100);
        writeWave(audio, format, path, error.get());
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    connect(worker, &QThread::finished, this, [this, error, path] {
        if (!error->isEmpty()) {
            debug(u"Speak Error: "_s + *error);
            m_parts.prompt.informLater(u"文件保存"_s, u"Speak Error: "_s + *error);
            return;
        }
        m_parts.prompt.informLater(u"文件保存"_s, u"合成语音文件成功保存!"_s);
        emit waveSaved(path);
    });
    worker->start();
}

void TTSAppMain::speakWave()
{
    const QString path = m_choose(u"Speak a Wave File"_s, kWaveFilter, false);
    if (path.isEmpty())
        return;
    debug(u"Speak .wav file"_s);
    m_parts.voice.setVolume(m_volume->value());
    m_parts.voice.speak(path, {.isFilename = true, .purge = true});
    refreshButtons();
}

void TTSAppMain::openText()
{
    const QString path = m_choose(u"Open a Text File"_s, kTextFilter, false);
    if (path.isEmpty())
        return;
    QString note;
    const QString text = ScriptStore::readTextFile(path, &note);
    if (text.isEmpty() && !note.isEmpty()) {
        m_parts.prompt.inform(u"提示"_s, u"无法打开 %1：%2"_s.arg(path, note));
        return;
    }
    m_text->setPlainText(text);
}

} // namespace tav
