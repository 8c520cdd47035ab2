#include "scheduler/taskeditor.h"

#include "core/atomicfile.h"
#include "core/ini.h"
#include "core/tasknames.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "platform/prompt.h"

#include <QFile>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kTitle = u"提示"_s;
// Weekday characters, Monday first, as the weekly rule lists them.
const QString kWeekdayChars = u"一二三四五六日"_s;
const QString kEveryDay = u"每天"_s;
const QString kWeekly = u"每周"_s;
const QString kOneDate = u"指定"_s;

} // namespace

const QString TaskEditor::kDefaultVolume = u"50000"_s;

const QString kMediaFileFilter =
    u"All Files (*.*)|*.*|媒体文件 (所有类型)|*.*|mp3 Files (*.mp3)|*.mp3|VOB Files (*.VOB)|*.VOB|"
    u"RMVB Files (*.rmvb)|*.rmvb|RM Files (*.rm)|*.rm|Mp4 Files (*.mp4)|*.mp4 |SWF Files (*.swf)|*.swf|"
    u"MIDI Files (*.midi)|*.midi|MOV Files (*.mov)|*.mov|DVD Files (*.dvd)|*.dvd|MPEG Files (*.mpeg)|*.mpeg|"
    u"Asf Files (*.asf)|*.asf|Wma Files (*.wma)|*.wma|Video Files (*.dat)|*.dat|WAVE Files (*.wav)|*.wav|"
    u"AVI Files (*.avi)|*.avi|Movie Files (*.mov)|*.mov|Media Files (*.wmv)|*.wmv|"
    u"Mid Files (*.mid;*.rmi)|*.mid;*.rmi|高清ts格式 Files (*.ts )|*.ts|高清mkv格式 Files (*.mkv )|*.mkv|"
    u"高清tp格式 Files (*.tp )|*.tp"_s;
const QString kPictureFileFilter = u"(*.bmp;*.jpg)|*.bmp;*.jpg"_s;

const QStringList &playModes()
{
    static const QStringList modes{u"顺序"_s, u"循环"_s, u"随机"_s};
    return modes;
}

QString DateSelect(const DateRule &rule)
{
    switch (rule.kind) {
    case DateRule::Kind::EveryDay:
        return kEveryDay;
    case DateRule::Kind::Weekly: {
        QString text = kWeekly;
        for (int day = 0; day < 7; ++day)
            if (rule.weekdays[day])
                text += kWeekdayChars.at(day);
        return text;
    }
    case DateRule::Kind::OneDate:
        return kOneDate + u' ' + zh::shortDate(rule.date);
    }
    return kEveryDay;
}

DateRule parseDateRule(const QString &device)
{
    DateRule rule;
    const QString text = device.trimmed();
    if (text.startsWith(u'每') && text.contains(kEveryDay))
        return rule;
    if (text.startsWith(u'指')) {
        rule.kind = DateRule::Kind::OneDate;
        rule.date = zh::parseShortDate(QString(text).remove(kOneDate).trimmed());
        return rule;
    }
    if (!text.startsWith(u'每')) {
        if (const QDate date = zh::parseShortDate(text); date.isValid()) {
            rule.kind = DateRule::Kind::OneDate;
            rule.date = date;
            return rule;
        }
    }
    rule.kind = DateRule::Kind::Weekly;
    for (int day = 0; day < 7; ++day)
        rule.weekdays[day] = text.contains(kWeekdayChars.at(day));
    return rule;
}

bool checkTaskName(const QString &name, Prompt &prompt)
{
    // The forbidden characters are kept as one separated list, like the
    // program's other lists. Only the first eight entries are tested: the
    // vertical bar is named in the message but has always been let through.
    const QString forbidden = QStringList{u"\""_s, u"\\"_s, u"/"_s, u":"_s, u"*"_s, u"?"_s,
                                          u"<"_s, u">"_s, u"|"_s}.join(TaskStore::kFieldSeparator);
    const QStringList entries = forbidden.split(TaskStore::kFieldSeparator);
    for (int i = 0; i <= 7; ++i) {
        if (name.contains(entries.at(i))) {
            prompt.inform(kTitle, u"任务名称不允许输入半角特殊字符包括  \" \\ / : * ? < > |"_s);
            return false;
        }
    }
    // A name of the program's own files would make the task's list one of them.
    if (DataDir::isReservedName(name)) {
        prompt.inform(kTitle, DataDir::nameProblem(name, u"任务名称"_s));
        return false;
    }
    // The name must stay below 100 bytes in the file's code page, the size
    // of the buffer the task list reads names with.
    if (gbkLength(name) >= 100) {
        prompt.inform(kTitle, u"任务名称不许超出100个半角字符"_s);
        return false;
    }
    return true;
}

QString qtFileFilter(const QString &pairs)
{
    // "Text|*.a;*.b|Text2|*.c" becomes "Text (*.a *.b);;Text2 (*.c)": Qt takes
    // the patterns from the last parenthesised group of each entry and splits
    // them at blanks. The text before it is kept as written, blanks and its
    // own parentheses included; the window hides the added group.
    const QStringList parts = pairs.split(u'|');
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QStringList patterns;
        for (const QString &pattern : parts.at(i + 1).split(u';'))
            if (!pattern.trimmed().isEmpty())
                patterns.append(pattern.trimmed());
        filters.append(parts.at(i) + u" ("_s + patterns.join(u' ') + u')');
    }
    return filters.join(u";;"_s);
}

int reorder(QStringList &items, int selected, MoveTo where)
{
    if (selected < 0 || selected >= items.size())
        return -1;
    switch (where) {
    case MoveTo::Up:
        if (selected == 0)
            return selected;
        items.swapItemsAt(selected, selected - 1);
        return selected - 1;
    case MoveTo::Down:
        if (selected == items.size() - 1)
            return selected;
        items.swapItemsAt(selected, selected + 1);
        return selected + 1;
    case MoveTo::Top:
        items.move(selected, 0);
        return 0;
    }
    return selected;
}

TaskEditor::TaskEditor(const DataDir &dir, Prompt &prompt) : m_dir(dir), m_prompt(prompt) {}

bool TaskEditor::checkVolume(QString &volume) const
{
    // Whole slider units only; a text that is not a number counts as 0.
    static const QRegularExpression digits(u"^[0-9]{1,9}$"_s);
    const QString text = volume.trimmed();
    const int value = digits.match(text).hasMatch() ? text.toInt() : 0;
    if (value < 1 || value > 65535) {
        m_prompt.inform(kTitle, u"音量设置不正确！"_s);
        volume = kDefaultVolume;
        return false;
    }
    volume = QString::number(value);
    return true;
}

bool TaskEditor::check(TaskDraft &draft) const
{
    if (!checkVolume(draft.volume))
        return false;
    // Blanks alone make no name: the task list reads names trimmed and
    // would not see the task at all.
    draft.name = draft.name.trimmed();
    if (draft.name.isEmpty()) {
        m_prompt.inform(kTitle, u"任务名称不能为空"_s);
        return false;
    }
    if (!checkTaskName(draft.name, m_prompt))
        return false;
    if (!chkSameNameSong(draft.name, draft.previousName)) {
        m_prompt.inform(kTitle, u"该名称已存在，请查看音乐列表和语音列表的内容！"_s);
        return false;
    }
    return true;
}

bool TaskEditor::chkSameNameSong(const QString &name, const QString &previousName) const
{
    return !TaskNames::isTaken(m_dir, name, previousName);
}

int TaskEditor::newTaskNumber() const
{
    Class1 ini;
    ini.SpecifyIni(m_dir.song());
    QStringList names;
    int number = ini.getSectionsName(names) + 2;
    // Sections left by hand beyond the count would otherwise be overwritten.
    const auto doc = IniFile(m_dir.song()).read();
    while (doc->hasSection(u"FileInfo"_s + QString::number(number)))
        ++number;
    return number;
}

void TaskEditor::writeFailed() const
{
    // Each file is replaced in one write, so a failure is reported once per
    // file rather than once per key.
    m_prompt.inform(kTitle, u"写文件时出错"_s);
}

bool TaskEditor::writeRecord(const TaskDraft &draft, int section) const
{
    const IniFile song(m_dir.song());
    bool readable = true;
    IniDocument doc = *song.read(&readable);
    // A task file that exists but cannot be read is left alone: replacing
    // it would lose every other task.
    if (!readable)
        return false;
    const QString name = u"FileInfo"_s + QString::number(section);
    doc.setValue(name, u"Name"_s, draft.name);
    doc.setValue(name, u"Time"_s, draft.start);
    doc.setValue(name, u"Duration"_s, draft.end);
    doc.setValue(name, u"Type"_s, draft.volume);
    doc.setValue(name, u"Device"_s, DateSelect(draft.days));
    doc.setValue(name, u"Recurrence"_s, draft.mode);
    doc.setValue(name, u"Remind"_s, draft.remind);
    return song.write(doc);
}

bool TaskEditor::writeListFile(const TaskDraft &draft) const
{
    IniDocument doc;
    // newPlaytext
    doc.setValue(u"多媒体文件数量"_s, u"数量"_s, QString::number(draft.media.size()));
    for (qsizetype i = 0; i < draft.media.size(); ++i)
        doc.setValue(u"歌曲"_s, u"歌曲名称"_s + QString::number(i), draft.media.at(i));
    // newPicList
    doc.setValue(u"多媒体文件数量"_s, u"图片总数量"_s, QString::number(draft.pictures.size()));
    for (qsizetype i = 0; i < draft.pictures.size(); ++i)
        doc.setValue(u"图片"_s, u"图片路径"_s + QString::number(i), draft.pictures.at(i));
    doc.setValue(u"图片播放模式"_s, u"模式"_s, draft.pictureModeOne ? u"1"_s : u"0"_s);
    doc.setValue(u"时间"_s, u"图片切换时间"_s, draft.pictureInterval);
    return IniFile(m_dir.taskListFile(draft.name)).write(doc);
}

void TaskEditor::delziINI(const QString &previousName, const QString &newName) const
{
    if (previousName.trimmed().isEmpty())
        return;
    const QString old = m_dir.taskListFile(previousName);
    if (old != m_dir.taskListFile(newName))
        removeDataFile(old);
}

bool TaskEditor::save(const TaskDraft &draft, int section, bool modify) const
{
    bool written = true;
    if (!writeRecord(draft, section)) {
        writeFailed();
        written = false;
    }
    // The new list file is written before the old one goes, so a failed
    // write never leaves a renamed task without its media list.
    if (!writeListFile(draft)) {
        writeFailed();
        return false;
    }
    // The old list file goes only once the record names the new one.
    if (modify && written)
        delziINI(draft.previousName, draft.name);
    return written;
}

bool TaskEditor::OpenFileAdd(QStringList &media, const QString &file) const
{
    if (media.contains(file)) {
        m_prompt.inform(kTitle, u"文件有重复，无法添加！"_s);
        return false;
    }
    media.append(file);
    return true;
}

bool TaskEditor::addUrl(QStringList &media, QString &text) const
{
    const QString url = text.trimmed();
    if (url.isEmpty()) {
        m_prompt.inform(kTitle, u"内容不能为空"_s);
        return false;
    }
    media.append(url);
    text.clear();
    return true;
}

TaskEditor::Lists TaskEditor::readLists(const QString &taskName) const
{
    // The list file is read the way the scheduler reads it when the task starts.
    const Settings settings(m_dir);
    const TaskStore store(m_dir, settings);
    return {store.readMediaList(taskName), store.readPictureList(taskName)};
}

} // namespace tav
