#include "broadcast/broadcaststore.h"

#include "core/atomicfile.h"
#include "core/datadir.h"
#include "core/ini.h"
#include "core/tasknames.h"
#include "core/zhtext.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

const QStringList BroadcastStore::kKeys = {
    u"TTS_Name"_s,    u"TTS_TimeStart"_s, u"TTS_TimeEnd"_s, u"TTS_DateStart"_s, u"TTS_DateEnd"_s,
    u"TTS_Week"_s,    u"TTS_Interval"_s,  u"TTS_Switch"_s,  u"TTS_BGVolume"_s,  u"TTS_Tone"_s,
    u"TTS_Speaker"_s, u"TTS_Rate"_s,      u"TTS_txtVolume"_s, u"TTS_BG_Music"_s, u"TTS_Index"_s,
    u"TTS_Delay"_s,   u"TTS_Frequency"_s};

namespace {

const QString kSection = u"TTS"_s;

QString *fieldOf(BroadcastTask &t, int key)
{
    QString *fields[] = {&t.name,        &t.timeStart, &t.timeEnd, &t.dateStart,   &t.dateEnd, &t.week,
                         &t.interval,    &t.onOff,     &t.musicVolume, &t.tone,    &t.speaker, &t.rate,
                         &t.voiceVolume, &t.music,     &t.index,   &t.delay,       &t.frequency};
    return fields[key];
}

void writeTask(IniDocument &doc, int section, const BroadcastTask &task)
{
    const QString name = kSection + QString::number(section);
    const QStringList values = task.fields();
    for (qsizetype k = 0; k < BroadcastStore::kKeys.size(); ++k)
        doc.setValue(name, BroadcastStore::kKeys[k], values[k]);
}

bool fail(QString *error, const QString &why)
{
    if (error)
        *error = why;
    return false;
}

} // namespace

int BroadcastTask::priority() const
{
    const QString t = timeStart.trimmed();
    return !t.isEmpty() && t.back().isDigit() ? t.back().digitValue() : 0;
}

QStringList BroadcastTask::fields() const
{
    BroadcastTask copy = *this;
    QStringList values;
    for (int k = 0; k < 17; ++k)
        values.append(*fieldOf(copy, k));
    return values;
}

BroadcastStore::BroadcastStore(const DataDir &dir) : m_dir(dir) {}

BroadcastStore::Reading BroadcastStore::read(const DataDir &dir)
{
    Reading out;
    const IniFile file(dir.tts());
    const auto doc = file.read(&out.readable);
    if (!out.readable) {
        out.error = u"无法读取 %1"_s.arg(file.path());
        return out;
    }
    QList<std::pair<int, QString>> sections;
    for (const QString &s : TaskNames::numberedSections(*doc, kSection))
        sections.append({s.mid(kSection.size()).toInt(), s});
    std::stable_sort(sections.begin(), sections.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    IniDocument repaired = *doc;
    bool repairs = false;
    int last = 0;
    for (const auto &[number, section] : sections) {
        if (number == last)
            continue; // a second section of the same name: the first one counts
        last = number;
        BroadcastTask t;
        t.section = number;
        for (int k = 0; k < kKeys.size(); ++k)
            *fieldOf(t, k) = doc->value(section, kKeys[k]);
        t.name = t.name.trimmed();
        if (t.name.isEmpty()) {
            out.dropped.append(u"[%1] 没有任务名称，已跳过"_s.arg(section));
            continue;
        }
        if (t.frequency.trimmed().isEmpty()) {
            t.frequency = u"1"_s;
            repaired.setValue(section, u"TTS_Frequency"_s, t.frequency);
            repairs = true;
        }
        if (t.delay.trimmed().isEmpty()) {
            t.delay = u"0"_s;
            repaired.setValue(section, u"TTS_Delay"_s, t.delay);
            repairs = true;
        }
        out.tasks.append(t);
    }
    out.byName = indexByName(out.tasks);
    if (out.tasks.isEmpty() && out.dropped.isEmpty() && QFileInfo(file.path()).size() > 0)
        out.dropped.append(u"%1 中没有一个播音任务（应为[TTS1]、[TTS2]…各节）"_s.arg(file.path()));
    if (repairs) {
        QString why;
        if (!file.write(repaired, &why))
            out.error = u"写入 %1 失败：%2"_s.arg(file.path(), why);
    }
    return out;
}

bool BroadcastStore::load(QString *error)
{
    Reading reading = read(m_dir);
    const QString why = reading.error;
    apply(std::move(reading));
    return why.isEmpty() || fail(error, why);
}

QHash<QString, int> BroadcastStore::indexByName(const QList<BroadcastTask> &tasks)
{
    QHash<QString, int> index;
    index.reserve(tasks.size());
    for (int i = 0; i < tasks.size(); ++i)
        if (!index.contains(tasks[i].name))
            index.insert(tasks[i].name, i);
    return index;
}

void BroadcastStore::apply(Reading reading)
{
    m_tasks = std::move(reading.tasks);
    // The reading's own index is made off this thread.
    m_byName = reading.byName.isEmpty() ? indexByName(m_tasks) : std::move(reading.byName);
}

const BroadcastTask *BroadcastStore::find(const QString &name) const
{
    const auto it = m_byName.constFind(name.trimmed());
    return it == m_byName.cend() ? nullptr : &m_tasks[*it];
}

QString BroadcastStore::content(const QString &name, QString *note, bool *unreadable) const
{
    if (unreadable)
        *unreadable = false;
    QByteArray bytes;
    if (!DataDir::isSafeName(name)) {
        if (note)
            *note = DataDir::nameProblem(name, u"任务名称"_s) + u"，不读取其内容文件"_s;
        return {};
    }
    if (!readWholeFile(m_dir.taskListFile(name), &bytes))
        return {};
    QString text;
    bool nonAscii = false;
    for (const char c : bytes)
        if (uchar(c) >= 0x80) {
            nonAscii = true;
            break;
        }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString asUtf8 = utf8.decode(bytes);
    if (nonAscii && !utf8.hasError()) {
        text = asUtf8;
        if (note)
            *note = u"“%1”的内容文件不是GBK编码，已按UTF-8读取"_s.arg(name.trimmed());
    } else {
        text = fromGbk(bytes);
        // A byte that is no GBK character is kept as a stand-in U+DC80 … U+DCFF.
        const bool strays = std::any_of(text.cbegin(), text.cend(),
                                        [](QChar c) { return c.unicode() >= 0xDC80 && c.unicode() <= 0xDCFF; });
        if (strays && unreadable)
            *unreadable = true;
        if (strays && note)
            *note = u"“%1”的内容文件不是有效的GBK文本"_s.arg(name.trimmed());
    }
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    if (text.endsWith(u"\r\n"_s))
        text.chop(2);
    else if (text.endsWith(u'\n'))
        text.chop(1);
    return text;
}

bool BroadcastStore::writeText(const QString &name, const QString &text, QString *error) const
{
    QString why;
    if (!writeFileAtomically(m_dir.taskListFile(name), toGbk(text + u"\r\n"_s), &why))
        return fail(error, u"写入内容文件失败：%1"_s.arg(why));
    return true;
}

bool BroadcastStore::checkName(const QString &name, const QString &own, QString *error) const
{
    if (const QString problem = DataDir::nameProblem(name, u"任务名称"_s); !problem.isEmpty())
        return fail(error, problem);
    if (TaskNames::isTaken(m_dir, name, {}, own))
        return fail(error, u"该名称已存在，请查看音乐列表和语音列表的内容！"_s);
    return true;
}

bool BroadcastStore::add(BroadcastTask task, const QString &text, QString *error)
{
    task.name = task.name.trimmed();
    if (!checkName(task.name, {}, error))
        return false;
    const IniFile file(m_dir.tts());
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    if (!readable)
        return fail(error, u"无法读取 %1"_s.arg(file.path()));
    // The section after the count, or after the highest one left by hand.
    int number = int(doc.sectionNames().size()) + 1;
    while (doc.hasSection(kSection + QString::number(number)))
        ++number;
    task.section = number;
    task.index = QString::number(number);
    if (!writeText(task.name, text, error))
        return false;
    writeTask(doc, number, task);
    QString why;
    if (!file.write(doc, &why))
        return fail(error, u"写入 %1 失败：%2"_s.arg(file.path(), why));
    return load();
}

bool BroadcastStore::modify(int section, const QString &oldName, BroadcastTask task, const QString &text,
                            QString *error)
{
    task.name = task.name.trimmed();
    if (!checkName(task.name, oldName, error))
        return false;
    const IniFile file(m_dir.tts());
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    if (!readable)
        return fail(error, u"无法读取 %1"_s.arg(file.path()));
    task.section = section;
    task.index = QString::number(section);
    if (!writeText(task.name, text, error))
        return false;
    if (const QString old = m_dir.taskListFile(oldName); old != m_dir.taskListFile(task.name))
        removeDataFile(old);
    writeTask(doc, section, task);
    QString why;
    if (!file.write(doc, &why))
        return fail(error, u"写入 %1 失败：%2"_s.arg(file.path(), why));
    return load();
}

bool BroadcastStore::remove(int section, QString *error)
{
    if (m_tasks.size() <= 1)
        return fail(error, u"至少保留一条任务"_s);
    QList<BroadcastTask> rest;
    for (const BroadcastTask &t : std::as_const(m_tasks))
        if (t.section != section)
            rest.append(t);
    return saveList(rest, error);
}

bool BroadcastStore::saveList(const QList<BroadcastTask> &inOrder, QString *error)
{
    const IniFile file(m_dir.tts());
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    if (!readable)
        return fail(error, u"无法读取 %1"_s.arg(file.path()));
    for (const QString &s : TaskNames::numberedSections(doc, kSection))
        doc.removeSection(s);
    int number = 0;
    for (BroadcastTask t : inOrder) {
        t.index = QString::number(++number);
        writeTask(doc, number, t);
    }
    QString why;
    if (!file.write(doc, &why))
        return fail(error, u"写入 %1 失败：%2"_s.arg(file.path(), why));
    return load();
}

QList<BroadcastTask> BroadcastStore::sortedByStart(QList<BroadcastTask> tasks)
{
    std::stable_sort(tasks.begin(), tasks.end(), [](const BroadcastTask &a, const BroadcastTask &b) {
        return zh::secondsOfDay(a.timeStart) < zh::secondsOfDay(b.timeStart);
    });
    return tasks;
}

QList<int> BroadcastStore::search(const QString &keyword, QString *message) const
{
    QList<int> found;
    if (keyword.isEmpty()) {
        if (message)
            *message = u"关键字不允许为空"_s;
        return found;
    }
    for (int i = 0; i < m_tasks.size(); ++i)
        for (const QString &field : m_tasks[i].fields())
            if (field.contains(keyword, Qt::CaseInsensitive)) {
                found.append(i);
                break;
            }
    if (found.isEmpty() && message)
        *message = u"没有查找到任务"_s;
    return found;
}

QString BroadcastStore::withPriority(const QString &time, int priority)
{
    const int seconds = zh::secondsOfDay(time);
    if (seconds < 0)
        return time;
    return QTime(0, 0).addSecs(seconds - seconds % 10 + qBound(0, priority, 9)).toString(u"HH:mm:ss"_s);
}

QString BroadcastStore::weekToStr(const QList<bool> &days)
{
    static const QString chars = u"一二三四五六日"_s;
    QString out;
    for (int i = 0; i < 7 && i < days.size(); ++i)
        if (days[i])
            out += chars[i];
    return out;
}

} // namespace tav
