#include "broadcast/scriptstore.h"

#include "core/atomicfile.h"
#include "core/datadir.h"
#include "core/ini.h"
#include "core/tasknames.h"

#include <QFile>
#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kSection = u"Presentation"_s;

bool fail(QString *error, const QString &why)
{
    if (error)
        *error = why;
    return false;
}

} // namespace

ScriptStore::ScriptStore(const DataDir &dir) : m_dir(dir) {}

QString ScriptStore::fileOf(const QString &title) const
{
    return m_dir.nameFile(title, u".txt"_s);
}

bool ScriptStore::load(QString *error)
{
    m_scripts.clear();
    const IniFile file(m_dir.file(u"【PRESENTATION】.ini"_s));
    bool readable = true;
    const auto doc = file.read(&readable);
    if (!readable)
        return fail(error, u"无法读取 %1"_s.arg(file.path()));
    QList<Script> found;
    for (const QString &s : TaskNames::numberedSections(*doc, kSection)) {
        const QString title = doc->value(s, u"PresentationName"_s).trimmed();
        if (!title.isEmpty())
            found.append({s.mid(kSection.size()).toInt(), title});
    }
    std::stable_sort(found.begin(), found.end(), [](const Script &a, const Script &b) { return a.section < b.section; });
    for (const Script &s : found)
        if (m_scripts.isEmpty() || m_scripts.last().section != s.section)
            m_scripts.append(s);
    return true;
}

QString ScriptStore::readTextFile(const QString &path, QString *note)
{
    QByteArray bytes;
    if (!readWholeFile(path, &bytes))
        return {};
    if (bytes.contains('\0')) {
        if (note)
            *note = u"不是文本文件"_s;
        return {};
    }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString asUtf8 = utf8.decode(bytes);
    const bool ascii = std::all_of(bytes.cbegin(), bytes.cend(), [](char c) { return uchar(c) < 0x80; });
    QString text;
    if (!ascii && !utf8.hasError()) {
        text = asUtf8;
        if (note)
            *note = u"文件不是GBK编码，已按UTF-8读取"_s;
    } else {
        text = fromGbk(bytes);
    }
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    if (text.endsWith(u"\r\n"_s))
        text.chop(2);
    else if (text.endsWith(u'\n'))
        text.chop(1);
    return text;
}

QString ScriptStore::text(const QString &title, QString *note) const
{
    if (!DataDir::isSafeName(title))
        return {};
    return readTextFile(fileOf(title), note);
}

bool ScriptStore::isTaken(const QString &title) const
{
    return std::any_of(m_scripts.cbegin(), m_scripts.cend(),
                       [&](const Script &s) { return s.title == title.trimmed(); });
}

bool ScriptStore::add(const QString &title, const QString &text, QString *error)
{
    if (title.trimmed().isEmpty() || text.isEmpty())
        return fail(error, u"不允许标题内容为空"_s);
    if (const QString problem = DataDir::nameProblem(title, u"标题"_s); !problem.isEmpty())
        return fail(error, problem);
    if (isTaken(title))
        return fail(error, u"该名称已存在，请重新输入"_s);
    QString why;
    if (!writeFileAtomically(fileOf(title), toGbk(text + u"\r\n"_s), &why))
        return fail(error, u"写入文稿失败：%1"_s.arg(why));
    QList<Script> list = m_scripts;
    const IniFile file(m_dir.file(u"【PRESENTATION】.ini"_s));
    const int number = int(file.read()->sectionNames().size()) + 1;
    list.append({number, title.trimmed()});
    return save(list, error);
}

bool ScriptStore::edit(int section, const QString &oldTitle, const QString &title, const QString &text,
                       QString *error)
{
    if (title.trimmed().isEmpty() || text.isEmpty())
        return fail(error, u"不允许标题内容为空"_s);
    if (const QString problem = DataDir::nameProblem(title, u"标题"_s); !problem.isEmpty())
        return fail(error, problem);
    if (title.trimmed() != oldTitle.trimmed() && isTaken(title))
        return fail(error, u"该名称已存在，请重新输入"_s);
    QString why;
    if (!writeFileAtomically(fileOf(title), toGbk(text + u"\r\n"_s), &why))
        return fail(error, u"写入文稿失败：%1"_s.arg(why));
    if (title.trimmed() != oldTitle.trimmed() && DataDir::isSafeName(oldTitle))
        removeDataFile(fileOf(oldTitle));
    QList<Script> list = m_scripts;
    for (Script &s : list)
        if (s.section == section)
            s.title = title.trimmed();
    return save(list, error);
}

bool ScriptStore::remove(int section, QString *error)
{
    if (m_scripts.size() <= 1)
        return fail(error, u"至少保留一条任务"_s);
    QList<Script> list;
    QString gone;
    for (const Script &s : std::as_const(m_scripts)) {
        if (s.section == section)
            gone = s.title;
        else
            list.append(s);
    }
    if (!save(list, error))
        return false;
    if (!gone.isEmpty() && DataDir::isSafeName(gone))
        removeDataFile(fileOf(gone));
    return true;
}

bool ScriptStore::save(const QList<Script> &inOrder, QString *error)
{
    const IniFile file(m_dir.file(u"【PRESENTATION】.ini"_s));
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    if (!readable)
        return fail(error, u"无法读取 %1"_s.arg(file.path()));
    for (const QString &s : TaskNames::numberedSections(doc, kSection))
        doc.removeSection(s);
    int number = 0;
    for (const Script &s : inOrder) {
        const QString section = kSection + QString::number(++number);
        doc.setValue(section, u"PresentationName"_s, s.title);
        doc.setValue(section, u"PresentationIndex"_s, QString::number(number));
    }
    QString why;
    if (!file.write(doc, &why))
        return fail(error, u"写入 %1 失败：%2"_s.arg(file.path(), why));
    return load();
}

QList<int> ScriptStore::search(const QString &keyword, QString *message) const
{
    QList<int> found;
    if (keyword.isEmpty()) {
        if (message)
            *message = u"关键字不允许为空"_s;
        return found;
    }
    for (int i = 0; i < m_scripts.size(); ++i)
        if (m_scripts[i].title.contains(keyword, Qt::CaseInsensitive) || text(m_scripts[i].title).contains(keyword))
            found.append(i);
    if (found.isEmpty() && message)
        *message = u"没有查找到任务"_s;
    return found;
}

} // namespace tav
