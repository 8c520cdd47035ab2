#include "scheduler/taskstore.h"

#include "core/atomicfile.h"
#include "core/datafaults.h"
#include "core/tasknames.h"
#include "core/ini.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "platform/prompt.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace tav {

const QString TaskStore::kFieldSeparator = u"<分>"_s;
const QString TaskStore::kRecordSeparator = u"<分隔>"_s;

namespace {

constexpr int kReadBuffer = 100;
const QString kSectionPrefix = u"FileInfo"_s;
const QString kKeys[] = {u"Name"_s, u"Time"_s, u"Duration"_s, u"Type"_s,
                         u"Device"_s, u"Recurrence"_s, u"Remind"_s};

// Contains `date` as a whole date: "2026/11/2" is not in "指定 2026/11/21".
bool containsDate(const QString &days, const QString &date)
{
    for (qsizetype at = days.indexOf(date); at >= 0; at = days.indexOf(date, at + 1)) {
        const qsizetype after = at + date.size();
        const bool digitBefore = at > 0 && days.at(at - 1).isDigit();
        const bool digitAfter = after < days.size() && days.at(after).isDigit();
        if (!digitBefore && !digitAfter)
            return true;
    }
    return false;
}

void writeRecord(IniDocument &doc, int number, const TaskRecord &r)
{
    const QString section = kSectionPrefix + QString::number(number);
    const QStringList values = r.columns();
    for (int k = 0; k < 7; ++k)
        doc.setValue(section, kKeys[k], values.at(k));
}

// The values of keys prefix0 … prefix<count - 1> of a section of a task's
// list file, the count kept under "多媒体文件数量". A list holds at most what
// a list box can, so a hostile count does not spin; *dropped counts the rest.
QStringList countedList(const IniDocument &doc, const QString &countKey, const QString &section,
                        const QString &keyPrefix, int *dropped = nullptr)
{
    const int stated = qMax(0, doc.value(u"多媒体文件数量"_s, countKey).toInt());
    const int count = qMin(stated, TaskStore::kMaxListItems);
    if (dropped)
        *dropped = stated - count;
    QStringList values;
    values.reserve(count);
    for (int i = 0; i < count; ++i) {
        const QString value = doc.value(section, keyPrefix + QString::number(i));
        if (!value.isEmpty())
            values.append(value);
    }
    return values;
}

} // namespace

TaskStore::TaskStore(const DataDir &dir, const Settings &settings)
    : m_dir(dir), m_settings(settings)
{
}

bool TaskStore::playsOn(const QString &days, QDate date)
{
    return playsOn(days, zh::weekdayChar(date), zh::shortDate(date));
}

bool TaskStore::playsOn(const QString &days, const QString &weekdayChar, const QString &dateText)
{
    return days.contains(u"每天") || days.contains(weekdayChar) || containsDate(days, dateText);
}

TaskStore::Due TaskStore::dueOn(const TaskRecord &r, QDate date, const Settings &settings)
{
    if (!playsOn(r.days, date))
        return Due::NotThatDay;
    if (r.remind != u"开")
        return Due::Untimed;
    if (!settings.isOn(Switch::WorkingHours))
        return Due::Yes;
    const int start = zh::secondsOfDay(r.start), end = zh::secondsOfDay(r.end);
    const bool inside =
        start >= 0 && end >= 0 && settings.workStart() <= start && end <= settings.workEnd();
    return inside ? Due::Yes : Due::OutsideWorkingHours;
}

void TaskStore::load(QDate today, bool rewriteFile)
{
    ++m_loads;
    apply(readTaskFile(m_dir), today, rewriteFile);
}

TaskStore::TaskFile TaskStore::readTaskFile(const DataDir &dir)
{
    TaskFile file;
    const auto doc = IniFile(dir.song()).read(&file.readable);
    // Sections are read by number up to one past the count the profile
    // block reports; a task numbered beyond that is not seen.
    const int n = int(profileSectionNames(*doc).size());
    for (int i = 1; i <= n + 1; ++i) {
        const QString section = kSectionPrefix + QString::number(i);
        TaskRecord r;
        r.name = profileString(*doc, section, kKeys[0], kReadBuffer);
        if (r.name.isEmpty()) {
            file.gap = file.gap || i <= n;
            continue;
        }
        r.section = i;
        r.start = profileString(*doc, section, kKeys[1], kReadBuffer);
        r.end = profileString(*doc, section, kKeys[2], kReadBuffer);
        r.volume = profileString(*doc, section, kKeys[3], kReadBuffer);
        r.days = profileString(*doc, section, kKeys[4], kReadBuffer);
        r.mode = profileString(*doc, section, kKeys[5], kReadBuffer);
        r.remind = profileString(*doc, section, kKeys[6], kReadBuffer);
        if (!DataDir::isSafeName(r.name))
            DataFaults::instance().refusedName(r.name.trimmed(), u"列表文件"_s);
        file.rows.append(r);
    }
    // Tasks numbered beyond the ones read are not seen: said, with their names.
    QStringList unread;
    for (const QString &section : TaskNames::numberedSections(*doc, kSectionPrefix))
        if (section.mid(kSectionPrefix.size()).toInt() > n + 1 && !doc->value(section, kKeys[0]).isEmpty())
            unread.append(u"[%1]“%2”"_s.arg(section, doc->value(section, kKeys[0]).trimmed()));
    if (!unread.isEmpty())
        DataFaults::instance().leftOut(dir.song() + u'\n' + unread.join(u' '),
                                       u"【SONG】.ini 的任务编号不连续，%1共%2个任务没有读入（编号应从FileInfo1起连续）"_s
                                           .arg(unread.mid(0, 5).join(u'、'))
                                           .arg(unread.size()));
    return file;
}

QString TaskStore::incompleteReason(const DataDir &dir)
{
    return IniFile(dir.song()).notWholeReason();
}

void TaskStore::apply(TaskFile file, QDate today, bool rewriteFile)
{
    m_rows = std::move(file.rows);
    m_readable = file.readable;
    const bool gap = file.gap;

    QString joined;
    for (qsizetype row = 0; row < m_rows.size(); ++row) {
        const TaskRecord &r = m_rows[row];
        if (dueOn(r, today, m_settings) == Due::Yes)
            joined += QString::number(row + 1) + kFieldSeparator + r.columns().join(kFieldSeparator)
                      + kRecordSeparator;
    }
    m_todayRecords = joined.split(kRecordSeparator);
    m_today.clear();
    for (const QString &record : std::as_const(m_todayRecords)) {
        if (record.isEmpty())
            continue;
        TodayTask t;
        t.fields = record.split(kFieldSeparator);
        t.start = zh::secondsOfDay(t.fields.at(2));
        t.end = zh::secondsOfDay(t.fields.at(3));
        m_today.append(t);
    }
    m_listDate = today;

    // A task file that exists but cannot be read is never replaced.
    if ((rewriteFile || gap) && !m_readOnly && m_readable)
        rewrite();
}

TaskRecord TaskStore::defaultRecord()
{
    TaskRecord r;
    r.section = 1;
    r.name = u"服务厅大屏视频演示"_s;
    r.start = u"9:00:00"_s;
    r.end = u"17:30:00"_s;
    r.volume = u"50000"_s;
    r.days = u"每天"_s;
    r.mode = u"循环"_s;
    r.remind = u"开"_s;
    return r;
}

bool TaskStore::writeDefaultRecord()
{
    const IniFile file(m_dir.song());
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    if (!readable)
        return false;
    writeRecord(doc, 1, defaultRecord());
    if (!file.write(doc))
        return false;
    const IniFile list(m_dir.taskListFile(defaultRecord().name));
    if (QFileInfo::exists(list.path()))
        return true;
    IniDocument empty;
    empty.setValue(u"多媒体文件数量"_s, u"数量"_s, u"0"_s);
    return list.write(empty);
}

bool TaskStore::moveTask(qsizetype row, int by, QDate today)
{
    const qsizetype to = row + by;
    if (row < 0 || row >= m_rows.size() || to < 0 || to >= m_rows.size())
        return false;
    m_rows.move(row, to);
    const bool written = rewrite();
    load(today);
    return written;
}

bool TaskStore::rewrite()
{
    if (!m_readable)
        return false;
    // Made anew, in the encoding the file has.
    const IniFile file(m_dir.song());
    IniDocument doc = file.read()->emptyCopy();
    for (qsizetype row = 0; row < m_rows.size(); ++row) {
        m_rows[row].section = int(row + 1);
        writeRecord(doc, int(row + 1), m_rows[row]);
    }
    return file.write(doc);
}

TaskStore::DeleteResult TaskStore::deleteTask(qsizetype row, Prompt &prompt, QDate today)
{
    if (row < 0 || row >= m_rows.size())
        return DeleteResult::Declined;
    const IniFile file(m_dir.song());
    if (profileSectionNames(*file.read()).size() < 2) {
        prompt.inform(u"提示"_s, u"至少应保留一条任务"_s);
        return DeleteResult::KeepOne;
    }
    const TaskRecord task = m_rows.at(row);
    if (!prompt.ask(u"提示"_s, u"确定要删除“"_s + task.name + u"”这个任务吗？"_s, false))
        return DeleteResult::Declined;
    file.removeSection(kSectionPrefix + QString::number(task.section));
    const QString listFile = m_dir.taskListFile(task.name);
    if (!IniFile(listFile).value(u"多媒体文件数量"_s, u"数量"_s).isEmpty())
        removeDataFile(listFile);
    load(today);
    return DeleteResult::Deleted;
}

QStringList TaskStore::readMediaList(const DataDir &dir, const QString &taskName, int *dropped)
{
    return countedList(*IniFile(dir.taskListFile(taskName)).read(), u"数量"_s, u"歌曲"_s, u"歌曲名称"_s,
                       dropped);
}

PictureList TaskStore::readPictureList(const QString &taskName) const
{
    const auto doc = IniFile(m_dir.taskListFile(taskName)).read();
    PictureList list;
    list.paths = countedList(*doc, u"图片总数量"_s, u"图片"_s, u"图片路径"_s);
    list.mode = doc->value(u"图片播放模式"_s, u"模式"_s);
    const QString interval = doc->value(u"时间"_s, u"图片切换时间"_s);
    list.intervalSeconds = interval.isEmpty() ? 3 : interval.toInt();
    return list;
}

} // namespace tav
