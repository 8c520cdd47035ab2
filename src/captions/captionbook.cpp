#include "captions/captionbook.h"

#include "core/clock.h"
#include "core/messagelog.h"
#include "core/zhtext.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kSectionPrefix = u"Scroll"_s;
const QString kFontSection = u"字体"_s;

// Where each caption setting lives in "【CONTROL】.ini".
struct Place
{
    QString section;
    QString key;
};
const Place kMove{u"速度"_s, u"MOVE"_s};
const Place kJump{u"跳跃速度"_s, u"JUMP"_s};
const Place kTop{u"高度位置"_s, u"Y"_s};
const Place kManner{u"字幕播放方式"_s, u"Manner"_s};
const Place kChangeTime{u"字幕切换时间"_s, u"titleChangeTime"_s};

int startSeconds(const Caption &c)
{
    const int s = zh::secondsOfDay(c.start);
    return s < 0 ? 24 * 3600 : s; // a start that is no time goes last
}

QString boolText(bool on)
{
    return on ? u"True"_s : u"False"_s;
}

} // namespace

const QString CaptionBook::kFileName = u"【SCROLL】.ini"_s;
const QString CaptionBook::kOn = u"开"_s;

bool Caption::isOn() const
{
    return swicth == CaptionBook::kOn;
}

CaptionBook::CaptionBook(const DataDir &dir, MessageLog &log, const Clock &clock, QObject *parent)
    : QObject(parent), m_dir(dir), m_log(log), m_clock(clock)
{
}

void CaptionBook::report(const QString &text)
{
    m_log.append(zh::stampedLine(m_clock.now(), text));
}

void CaptionBook::load()
{
    bool readable = true;
    const std::shared_ptr<const IniDocument> doc = IniFile(path()).read(&readable);
    if (!readable)
        report(u"读取字幕文件失败："_s + path());
    QList<Caption> rows;
    for (const QString &section : doc->sectionNames()) {
        if (!section.startsWith(kSectionPrefix, Qt::CaseInsensitive))
            continue;
        Caption c{doc->value(section, u"startTime"_s), doc->value(section, u"endTime"_s),
                  doc->value(section, u"swicth"_s), doc->value(section, u"content"_s)};
        if (c.content.trimmed().isEmpty())
            continue;
        if (zh::secondsOfDay(c.start) < 0)
            report(u"字幕 [%1] 的开始时间“%2”不是时间"_s.arg(section, c.start));
        rows.append(c);
    }
    m_rows = rows; // in file order: the file is the list as last saved
    m_settings = readSettings();
    emit changed();
    emit settingsChanged();
}

CaptionSettings CaptionBook::readSettings()
{
    CaptionSettings s;
    bool readable = true;
    const std::shared_ptr<const IniDocument> doc = IniFile(m_dir.control()).read(&readable);
    if (!readable)
        report(u"读取设置文件失败："_s + m_dir.control());
    // Values are read as numbers, as far as the text makes one ("12 px" is
    // 12, "10.5" is 10.5; whole-number settings round). A missing key keeps
    // the default; a value that is no number or out of range is reported and
    // keeps it too.
    const auto real = [&](const Place &place, double &out, double low, double high) {
        const QString text = doc->value(place.section, place.key);
        if (text.isEmpty())
            return;
        const std::optional<double> v = zh::leadingNumber(text);
        if (v && *v >= low && *v <= high)
            out = *v;
        else
            report(u"字幕设置 [%1] %2=%3 无效，改用 %4"_s.arg(place.section, place.key, text).arg(out));
    };
    const auto number = [&](const Place &place, int &out, int low, int high) {
        double v = out;
        real(place, v, low - 0.5, high + 0.5);
        out = qBound(low, int(std::lround(v)), high);
    };
    number(kMove, s.move, CaptionSettings::kMinMove, CaptionSettings::kMaxMove);
    number(kJump, s.jump, CaptionSettings::kMinJump, CaptionSettings::kMaxJump);
    number(kTop, s.y, 0, 100000); // the strip keeps itself on its screen
    number(kManner, s.manner, CaptionSettings::Loop, CaptionSettings::ByTime);
    number(kChangeTime, s.changeMinutes, 1, CaptionSettings::kMaxChangeMinutes);
    real({kFontSection, u"Size"_s}, s.fontSize, 1, 500);
    int colour = int(s.foreColor);
    number({kFontSection, u"ForeColor"_s}, colour, 0, 0xFFFFFF);
    s.foreColor = quint32(colour);
    s.fontName = doc->value(kFontSection, u"Name"_s);
    const auto flag = [&](const QString &key, bool &out) {
        const QString text = doc->value(kFontSection, key).toLower();
        if (text == u"true"_s || text == u"1"_s || text == u"-1"_s)
            out = true;
        else if (text == u"false"_s || text == u"0"_s)
            out = false;
        else if (!text.isEmpty())
            report(u"字幕设置 [%1] %2=%3 无效"_s.arg(kFontSection, key, text));
    };
    flag(u"Bold"_s, s.bold);
    flag(u"Italic"_s, s.italic);
    flag(u"Underline"_s, s.underline);
    flag(u"FontStrikethru"_s, s.strikeOut);
    return s;
}

bool CaptionBook::saveSettings(const CaptionSettings &s, QString *error)
{
    const IniFile file(m_dir.control());
    bool readable = true;
    IniDocument doc = *file.read(&readable);
    QString why;
    if (!readable)
        why = u"无法读取"_s; // never replace a file that exists and was not read
    else {
        doc.setValue(kMove.section, kMove.key, QString::number(s.move));
        doc.setValue(kJump.section, kJump.key, QString::number(s.jump));
        doc.setValue(kTop.section, kTop.key, QString::number(s.y));
        doc.setValue(kManner.section, kManner.key, QString::number(s.manner));
        doc.setValue(kChangeTime.section, kChangeTime.key, QString::number(s.changeMinutes));
        doc.setValue(kFontSection, u"Name"_s, s.fontName);
        doc.setValue(kFontSection, u"Size"_s, QString::number(s.fontSize));
        doc.setValue(kFontSection, u"Bold"_s, boolText(s.bold));
        doc.setValue(kFontSection, u"Italic"_s, boolText(s.italic));
        doc.setValue(kFontSection, u"Underline"_s, boolText(s.underline));
        doc.setValue(kFontSection, u"FontStrikethru"_s, boolText(s.strikeOut));
        doc.setValue(kFontSection, u"ForeColor"_s, QString::number(s.foreColor));
        if (file.write(doc, &why)) {
            m_settings = s;
            emit settingsChanged();
            return true;
        }
    }
    report(u"保存字幕设置失败：%1 %2"_s.arg(m_dir.control(), why));
    if (error)
        *error = why;
    return false;
}

QString CaptionBook::checkText(const QString &text)
{
    if (text.trimmed().isEmpty())
        return u"字幕内容不能为空"_s;
    if (text.contains(u'\r') || text.contains(u'\n'))
        return u"不允许输入回车键"_s;
    if (!fits(text))
        return u"字幕长度超出范围，请重新编辑内容！"_s;
    return {};
}

int CaptionBook::findSame(const QString &text) const
{
    for (qsizetype i = 0; i < m_rows.size(); ++i)
        if (m_rows[i].content == text)
            return int(i);
    return -1;
}

void CaptionBook::sort(QList<Caption> &rows)
{
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Caption &a, const Caption &b) { return startSeconds(a) < startSeconds(b); });
}

// The n-th (0-based) row equal to the caption. A stable sort keeps equal
// rows in their order, so an edited row is found among its equals.
int CaptionBook::nthEqual(const Caption &caption, qsizetype n) const
{
    for (qsizetype i = 0; i < m_rows.size(); ++i)
        if (m_rows[i] == caption && n-- == 0)
            return int(i);
    return -1;
}

int CaptionBook::add(const Caption &caption)
{
    const qsizetype equals = m_rows.count(caption);
    m_rows.append(caption);
    sort(m_rows);
    emit changed();
    return nthEqual(caption, equals);
}

int CaptionBook::change(int row, const Caption &caption)
{
    if (row < 0 || row >= m_rows.size())
        return -1;
    m_rows[row] = caption;
    const qsizetype equalsBefore = std::count(m_rows.cbegin(), m_rows.cbegin() + row, caption);
    sort(m_rows);
    emit changed();
    return nthEqual(caption, equalsBefore);
}

void CaptionBook::remove(int row)
{
    if (row < 0 || row >= m_rows.size())
        return;
    m_rows.removeAt(row);
    emit changed();
}

void CaptionBook::setRows(QList<Caption> rows)
{
    sort(rows);
    m_rows = std::move(rows);
    emit changed();
}

bool CaptionBook::save(QString *error)
{
    // A new document: sections "Scroll1" … in list order, nothing else.
    IniDocument doc;
    for (qsizetype i = 0; i < m_rows.size(); ++i) {
        const QString section = kSectionPrefix + QString::number(i + 1);
        const Caption &c = m_rows[i];
        doc.setValue(section, u"content"_s, c.content);
        doc.setValue(section, u"startTime"_s, c.start);
        doc.setValue(section, u"endTime"_s, c.end);
        doc.setValue(section, u"swicth"_s, c.swicth);
    }
    QString why;
    if (IniFile(path()).write(doc, &why))
        return true;
    report(u"保存字幕失败：%1 %2"_s.arg(path(), why));
    if (error)
        *error = why;
    return false;
}

QList<ActiveCaption> CaptionBook::active() const
{
    QList<ActiveCaption> list;
    for (qsizetype i = 0; i < m_rows.size(); ++i)
        if (m_rows[i].isOn())
            list.append({int(i + 1), m_rows[i].content, m_rows[i].start, m_rows[i].end});
    return list;
}

QStringList CaptionBook::activeArray() const
{
    QString joined;
    for (const ActiveCaption &c : active())
        joined += QStringList{QString::number(c.row), c.content, c.start, c.end, kOn}.join(u"<分>"_s)
                  + u"<分隔>"_s;
    return joined.split(u"<分隔>"_s);
}

} // namespace tav
