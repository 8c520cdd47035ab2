#include "scheduler/formaddtask.h"
#include "core/named.h"

#include "scheduler/editablelist.h"
#include "scheduler/timepicker.h"

#include "core/clock.h"
#include "core/zhtext.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTimeEdit>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kNewCaption = u" 新增定时播放任务"_s;
const QString kModifyCaption = u" 修改定时播放任务"_s;
const QString kOpenFilesTitle = u"打开多个文件"_s;
const QString kDefaultInterval = u"3"_s;

QTime timeOf(const QString &text)
{
    const int seconds = zh::secondsOfDay(text);
    return seconds < 0 ? QTime(0, 0) : QTime(0, 0).addSecs(seconds);
}

QPushButton *button(const QString &name, const QString &caption, QWidget *parent)
{
    auto *b = new QPushButton(caption, parent);
    b->setObjectName(name);
    b->setAutoDefault(false);
    return b;
}

} // namespace

FormAddTask::FormAddTask(const DataDir &dir, Prompt &prompt, const Clock &clock, QWidget *parent)
    : QDialog(parent), m_editor(dir, prompt), m_clock(clock)
{
    setObjectName(u"FormAddTask"_s);
    setModal(false);
    m_chooseFiles = [this](const QString &title, const QString &filter) {
        // The added pattern group of each filter entry is hidden, so the
        // operator sees the entries' own texts.
        return QFileDialog::getOpenFileNames(this, title, QString(), filter, nullptr,
                                             QFileDialog::HideNameFilterDetails);
    };
    buildControls();
    clearForm();
}

// A list with its six buttons beside it, its add button wired to `add`.
QListWidget *FormAddTask::editableList(QGroupBox *box, QGridLayout *grid, const QString &listName,
                                       const std::array<QString, 6> &buttonNames, const QString &addCaption,
                                       void (FormAddTask::*add)())
{
    const EditableList made = EditableList::make(box, grid, listName, buttonNames, addCaption);
    connect(made.add, &QPushButton::clicked, this, add);
    return made.list;
}

void FormAddTask::buildControls()
{
    // 任务
    auto *taskBox = new QGroupBox(u"任务"_s, this);
    auto *taskForm = new QFormLayout(taskBox);
    m_name = named(new QLineEdit(taskBox), u"TxtTaskName"_s);
    m_previousName = named(new QLineEdit(taskBox), u"txtNameTempSong"_s);
    m_previousName->hide();
    m_start = named(new TimePicker(taskBox), u"DTPaddStarTime"_s);
    m_end = named(new TimePicker(taskBox), u"DTPaddEndTime"_s);
    m_volume = named(new QLineEdit(taskBox), u"txtVolume"_s);
    m_volume->setPlaceholderText(u"1～65535"_s);
    m_remind = named(new QComboBox(taskBox), u"cboNoteValue"_s);
    m_remind->addItems({u"开"_s, u"关"_s});
    taskForm->addRow(u"任务名称"_s, m_name);
    taskForm->addRow(u"开始时间"_s, m_start);
    taskForm->addRow(u"结束时间"_s, m_end);
    taskForm->addRow(u"音量"_s, m_volume);
    taskForm->addRow(u"定时"_s, m_remind);

    // 播放日期
    auto *daysBox = new QGroupBox(u"播放日期"_s, this);
    auto *daysLayout = new QVBoxLayout(daysBox);
    auto *ruleRow = new QHBoxLayout;
    m_everyDay = named(new QRadioButton(u"每天"_s, daysBox), u"optEveryDay"_s);
    m_weekly = named(new QRadioButton(u"每周"_s, daysBox), u"OptWeek"_s);
    m_oneDate = named(new QRadioButton(u"指定日期"_s, daysBox), u"OptDayLight"_s);
    for (QRadioButton *r : {m_everyDay, m_weekly, m_oneDate}) {
        ruleRow->addWidget(r);
        connect(r, &QRadioButton::toggled, this, &FormAddTask::updateDateControls);
    }
    ruleRow->addStretch();
    daysLayout->addLayout(ruleRow);
    auto *weekRow = new QHBoxLayout;
    const QString weekdayNames[] = {u"ChkMondas"_s, u"ChkTuesday"_s, u"ChkWednesday"_s, u"ChkThursday"_s,
                                    u"ChkFriday"_s, u"ChkSaturday"_s, u"ChkSunday"_s};
    const QString weekdayCaptions[] = {u"周一"_s, u"周二"_s, u"周三"_s, u"周四"_s,
                                       u"周五"_s, u"周六"_s, u"周日"_s};
    for (int day = 0; day < 7; ++day) {
        m_weekdays[day] = named(new QCheckBox(weekdayCaptions[day], daysBox), weekdayNames[day]);
        weekRow->addWidget(m_weekdays[day]);
    }
    weekRow->addStretch();
    daysLayout->addLayout(weekRow);
    auto *dateRow = new QHBoxLayout;
    m_date = named(new QDateEdit(daysBox), u"DTP_add_Date_one"_s);
    m_date->setDisplayFormat(u"yyyy/M/d"_s);
    m_date->setCalendarPopup(true);
    // Wide enough for the longest date beside the pop-up arrow.
    m_date->setMinimumWidth(m_date->fontMetrics().horizontalAdvance(u"8888/88/88"_s) + 40);
    dateRow->addWidget(new QLabel(u"日期"_s, daysBox));
    dateRow->addWidget(m_date);
    dateRow->addStretch();
    daysLayout->addLayout(dateRow);

    // 播放模式
    auto *modeBox = new QGroupBox(u"播放模式"_s, this);
    auto *modeRow = new QHBoxLayout(modeBox);
    for (int i = 0; i < 3; ++i) {
        m_playModes[i] = named(new QRadioButton(playModes().at(i), modeBox),
                               u"OptAddPlayMode"_s + QString::number(i));
        modeRow->addWidget(m_playModes[i]);
    }
    modeRow->addStretch();

    // 媒体文件
    auto *mediaBox = new QGroupBox(u"媒体文件"_s, this);
    auto *mediaGrid = new QGridLayout(mediaBox);
    m_media = editableList(mediaBox, mediaGrid, u"ListPlayAdd"_s,
                           {u"CmdAddOK"_s, u"CmdDele"_s, u"CmdDeleAll"_s, u"cmdUp"_s, u"cmdDown"_s,
                            u"cmdMuiscMoveTop"_s},
                           u"添加文件"_s, &FormAddTask::addMediaFiles);
    auto *urlRow = new QHBoxLayout;
    m_url = named(new QLineEdit(mediaBox), u"TextUrlAdd"_s);
    m_url->setPlaceholderText(u"网址"_s);
    QPushButton *addUrlButton = button(u"Command6"_s, u"添加网址"_s, mediaBox);
    urlRow->addWidget(m_url);
    urlRow->addWidget(addUrlButton);
    mediaGrid->addLayout(urlRow, 1, 0, 1, 2);

    // 图片
    auto *picBox = new QGroupBox(u"图片"_s, this);
    auto *picGrid = new QGridLayout(picBox);
    m_pictures = editableList(picBox, picGrid, u"ListPicAdd"_s,
                              {u"cmdOnePicAdd"_s, u"cmdOnePicDel"_s, u"cmdOnePicClear"_s, u"cmdZiUp"_s,
                               u"cmdZiDown"_s, u"cmdPicMoveTop"_s},
                              u"添加图片"_s, &FormAddTask::addPictures);
    auto *picModeRow = new QHBoxLayout;
    m_picModeOne = named(new QRadioButton(u"顺序显示"_s, picBox), u"OptPicModeOne"_s);
    m_picModeTwo = named(new QRadioButton(u"随机显示"_s, picBox), u"OptPicModeTwo"_s);
    m_interval = named(new QComboBox(picBox), u"cboTimeOne"_s);
    for (int s = 1; s <= 60; ++s)
        m_interval->addItem(QString::number(s));
    picModeRow->addWidget(m_picModeOne);
    picModeRow->addWidget(m_picModeTwo);
    picModeRow->addStretch();
    picModeRow->addWidget(new QLabel(u"切换时间"_s, picBox));
    picModeRow->addWidget(m_interval);
    picModeRow->addWidget(new QLabel(u"秒"_s, picBox));
    picGrid->addLayout(picModeRow, 1, 0, 1, 2);

    // Bottom row
    m_onTop = named(new QCheckBox(u"总在最前"_s, this), u"tayontop"_s);
    m_newOk = button(u"CmdOK"_s, u"确定"_s, this);
    m_modifyOk = button(u"cmd_ModiOK"_s, u"确定"_s, this);
    QPushButton *cancel = button(u"cmdCancel"_s, u"取消"_s, this);
    auto *bottom = new QHBoxLayout;
    bottom->addWidget(m_onTop);
    bottom->addStretch();
    bottom->addWidget(m_newOk);
    bottom->addWidget(m_modifyOk);
    bottom->addWidget(cancel);

    auto *left = new QVBoxLayout;
    left->addWidget(taskBox);
    left->addWidget(daysBox);
    left->addWidget(modeBox);
    left->addStretch();
    auto *right = new QVBoxLayout;
    right->addWidget(mediaBox, 3);
    right->addWidget(picBox, 2);
    auto *columns = new QHBoxLayout;
    columns->addLayout(left);
    columns->addLayout(right, 1);
    auto *root = new QVBoxLayout(this);
    root->addLayout(columns);
    root->addLayout(bottom);
    resize(860, 560);

    connect(addUrlButton, &QPushButton::clicked, this, &FormAddTask::addUrl);
    connect(m_newOk, &QPushButton::clicked, this, [this] { confirm(false); });
    connect(m_modifyOk, &QPushButton::clicked, this, [this] { confirm(true); });
    connect(cancel, &QPushButton::clicked, this, &FormAddTask::close);
    connect(m_onTop, &QCheckBox::toggled, this, &FormAddTask::setOnTop);
}

void FormAddTask::clearForm()
{
    m_name->clear();
    m_previousName->clear();
    m_volume->setText(TaskEditor::kDefaultVolume);
    m_remind->setCurrentIndex(0);
    m_media->clear();
    m_url->clear();
    m_pictures->clear();
    m_interval->setCurrentText(kDefaultInterval);
}

void FormAddTask::openNew()
{
    m_modify = false;
    m_section = 0;
    clearForm();
    const QDateTime now = m_clock.now();
    m_date->setDate(now.date());
    const QTime start(now.time().hour(), now.time().minute(), now.time().second());
    m_start->setTime(start);
    // One hour of playing unless that runs past midnight.
    m_end->setTime(start.secsTo(QTime(23, 59, 59)) < 3600 ? QTime(23, 59, 59) : start.addSecs(3600));
    selectDateRule(DateRule{});
    m_playModes[0]->setChecked(true);
    m_picModeOne->setChecked(true);
    setWindowTitle(kNewCaption);
    m_newOk->setEnabled(true);
    m_newOk->show();
    m_modifyOk->setEnabled(false);
    m_modifyOk->hide();
    show();
    raise();
    activateWindow();
}

void FormAddTask::openModify(const TaskRecord &record)
{
    m_modify = true;
    m_section = record.section;
    clearForm();
    m_name->setText(record.name);
    m_previousName->setText(record.name);
    m_start->setTime(timeOf(record.start));
    m_end->setTime(timeOf(record.end));
    m_volume->setText(record.volume);
    const DateRule rule = parseDateRule(record.days);
    m_date->setDate(rule.date.isValid() ? rule.date : m_clock.now().date());
    selectDateRule(rule);
    const qsizetype mode = playModes().indexOf(record.mode);
    m_playModes[mode < 0 ? 0 : mode]->setChecked(true);
    // Any reminder value but "开" means the task is not timed.
    m_remind->setCurrentIndex(record.remind == u"开" ? 0 : 1);

    const TaskEditor::Lists lists = m_editor.readLists(record.name);
    setListTexts(m_media, lists.media);
    setListTexts(m_pictures, lists.pictures.paths);
    (lists.pictures.mode == u"0" ? m_picModeTwo : m_picModeOne)->setChecked(true);
    m_interval->setCurrentText(QString::number(qBound(1, lists.pictures.intervalSeconds, 60)));

    setWindowTitle(kModifyCaption);
    m_newOk->setEnabled(false);
    m_newOk->hide();
    m_modifyOk->setEnabled(true);
    m_modifyOk->show();
    show();
    raise();
    activateWindow();
}

void FormAddTask::selectDateRule(const DateRule &rule)
{
    switch (rule.kind) {
    case DateRule::Kind::EveryDay:
        m_everyDay->setChecked(true);
        break;
    case DateRule::Kind::Weekly:
        m_weekly->setChecked(true);
        break;
    case DateRule::Kind::OneDate:
        m_oneDate->setChecked(true);
        break;
    }
    for (int day = 0; day < 7; ++day)
        m_weekdays[day]->setChecked(rule.weekdays[day]);
    updateDateControls();
}

void FormAddTask::updateDateControls()
{
    for (QCheckBox *box : m_weekdays)
        box->setEnabled(m_weekly->isChecked());
    m_date->setEnabled(m_oneDate->isChecked());
}

DateRule FormAddTask::dateRule() const
{
    DateRule rule;
    if (m_weekly->isChecked())
        rule.kind = DateRule::Kind::Weekly;
    else if (m_oneDate->isChecked())
        rule.kind = DateRule::Kind::OneDate;
    for (int day = 0; day < 7; ++day)
        rule.weekdays[day] = m_weekdays[day]->isChecked();
    rule.date = m_date->date();
    return rule;
}

QString FormAddTask::playMode() const
{
    for (QRadioButton *option : m_playModes)
        if (option->isChecked())
            return option->text();
    return QString();
}

TaskDraft FormAddTask::draft() const
{
    TaskDraft d;
    d.name = m_name->text();
    d.previousName = m_previousName->text();
    d.start = zh::timeText(zh::secondsOfDay(m_start->time()));
    d.end = zh::timeText(zh::secondsOfDay(m_end->time()));
    d.volume = m_volume->text();
    d.days = dateRule();
    d.mode = playMode();
    d.remind = m_remind->currentText();
    d.media = listTexts(m_media);
    d.pictures = listTexts(m_pictures);
    d.pictureModeOne = m_picModeOne->isChecked();
    d.pictureInterval = m_interval->currentText();
    return d;
}

void FormAddTask::confirm(bool modify)
{
    TaskDraft d = draft();
    if (!m_editor.check(d)) {
        m_volume->setText(d.volume); // a refused volume is reset
        return;
    }
    // A new task's number is counted only now, from the file as it is.
    if (!modify)
        m_section = m_editor.newTaskNumber();
    m_editor.save(d, m_section, modify);
    emit saved();
    m_name->clear();
    m_previousName->clear();
    close();
}

void FormAddTask::addMediaFiles()
{
    QStringList media = listTexts(m_media);
    for (const QString &file : m_chooseFiles(kOpenFilesTitle, qtFileFilter(kMediaFileFilter)))
        m_editor.OpenFileAdd(media, file);
    setListTexts(m_media, media);
}

void FormAddTask::addPictures()
{
    m_pictures->addItems(m_chooseFiles(kOpenFilesTitle, qtFileFilter(kPictureFileFilter)));
}

void FormAddTask::addUrl()
{
    QStringList media = listTexts(m_media);
    QString text = m_url->text();
    if (m_editor.addUrl(media, text)) {
        setListTexts(m_media, media);
        m_url->setText(text);
    }
}

void FormAddTask::setOnTop(bool on)
{
    const bool visible = isVisible();
    setWindowFlag(Qt::WindowStaysOnTopHint, on);
    // Changing the window flags hides a shown window.
    if (visible)
        show();
}

} // namespace tav
