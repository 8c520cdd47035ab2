#include "core/ini.h"

#include "core/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QStringDecoder>
#include <QStringEncoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

QString fromGbk(const QByteArray &bytes)
{
    // ASCII is the same in GBK; a decoder is costly to make for every line.
    if (std::all_of(bytes.cbegin(), bytes.cend(), [](char c) { return uchar(c) < 0x80; }))
        return QString::fromLatin1(bytes);
    QStringDecoder decoder("GBK");
    return decoder.decode(bytes);
}

QByteArray toGbk(const QString &text)
{
    QStringEncoder encoder("GBK");
    return encoder.encode(text);
}

qsizetype gbkLength(const QString &text)
{
    return toGbk(text).size();
}

// --- IniDocument ---------------------------------------------------------

IniDocument::Line IniDocument::parse(const QByteArray &raw)
{
    Line line;
    line.raw = raw;
    // Brackets and '=' can be trail bytes of GBK characters: parse decoded text.
    const QString text = fromGbk(raw).trimmed();
    if (text.startsWith(u'[')) {
        const qsizetype close = text.lastIndexOf(u']');
        if (close > 0) {
            line.kind = Line::Section;
            line.name = text.mid(1, close - 1).trimmed();
            line.folded = line.name.toCaseFolded();
        }
        return line;
    }
    const qsizetype eq = text.indexOf(u'=');
    if (eq <= 0 || text.startsWith(u';'))
        return line;
    line.kind = Line::Entry;
    line.name = text.left(eq).trimmed();
    line.folded = line.name.toCaseFolded();
    QString value = text.mid(eq + 1).trimmed();
    if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'')
        && value.back() == value.front())
        value = value.mid(1, value.size() - 2);
    line.value = value;
    return line;
}

IniDocument::Line IniDocument::makeEntry(const QString &key, const QString &value)
{
    return parse(toGbk(key + u'=' + value));
}

IniDocument IniDocument::fromBytes(const QByteArray &bytes)
{
    IniDocument doc;
    qsizetype start = 0;
    while (start < bytes.size()) {
        qsizetype end = bytes.indexOf('\n', start);
        const bool last = end < 0;
        if (last)
            end = bytes.size();
        qsizetype stop = end;
        if (stop > start && bytes.at(stop - 1) == '\r')
            --stop;
        doc.m_lines.append(parse(bytes.mid(start, stop - start)));
        start = end + 1;
    }
    // Indexed now: a document read from a file may be shared between
    // threads, and reading it must not change it.
    doc.indexSections();
    return doc;
}

QByteArray IniDocument::toBytes() const
{
    QByteArray out;
    qsizetype size = 0;
    for (const Line &l : m_lines)
        size += l.raw.size() + 2;
    out.reserve(size);
    for (const Line &l : m_lines) {
        out += l.raw;
        out += "\r\n";
    }
    return out;
}

void IniDocument::indexSections() const
{
    m_sections.clear();
    m_entries.clear();
    qsizetype header = -1;
    for (qsizetype i = 0; i < m_lines.size(); ++i) {
        const Line &line = m_lines[i];
        if (line.kind == Line::Section) {
            header = i;
            if (!m_sections.contains(line.folded))
                m_sections.insert(line.folded, i);
        } else if (line.kind == Line::Entry && header >= 0) {
            const std::pair key{header, line.folded};
            if (!m_entries.contains(key))
                m_entries.insert(key, i);
        }
    }
    m_indexed = true;
}

qsizetype IniDocument::sectionHeader(const QString &foldedSection) const
{
    if (!m_indexed)
        indexSections();
    return m_sections.value(foldedSection, -1);
}

qsizetype IniDocument::sectionEnd(qsizetype header) const
{
    qsizetype i = header + 1;
    while (i < m_lines.size() && m_lines[i].kind != Line::Section)
        ++i;
    return i;
}

qsizetype IniDocument::entryLine(qsizetype header, const QString &foldedKey) const
{
    if (!m_indexed)
        indexSections();
    return m_entries.value(std::pair{header, foldedKey}, -1);
}

std::optional<QString> IniDocument::find(const QString &section, const QString &key) const
{
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header < 0)
        return std::nullopt;
    const qsizetype line = entryLine(header, key.trimmed().toCaseFolded());
    if (line < 0)
        return std::nullopt;
    return m_lines[line].value;
}

bool IniDocument::hasSection(const QString &section) const
{
    return sectionHeader(section.trimmed().toCaseFolded()) >= 0;
}

QStringList IniDocument::sectionNames() const
{
    QStringList names;
    for (const Line &l : m_lines)
        if (l.kind == Line::Section)
            names.append(l.name);
    return names;
}

void IniDocument::setValue(const QString &section, const QString &key, const QString &value)
{
    const QString sec = section.trimmed();
    const QString k = key.trimmed();
    const qsizetype header = sectionHeader(sec.toCaseFolded());
    if (header < 0) {
        const qsizetype at = m_lines.size(); // appending moves no line
        m_sections.insert(sec.toCaseFolded(), at);
        m_lines.append(parse(toGbk(u'[' + sec + u']')));
        m_lines.append(makeEntry(k, value));
        m_entries.insert(std::pair{at, m_lines.last().folded}, at + 1);
        return;
    }
    const qsizetype line = entryLine(header, k.toCaseFolded());
    if (line >= 0) {
        // The key keeps the spelling it already has in the file.
        m_lines[line] = makeEntry(m_lines[line].name, value);
        return;
    }
    // A new key goes after the last non-blank line of its section.
    qsizetype at = sectionEnd(header);
    while (at > header + 1 && m_lines[at - 1].raw.trimmed().isEmpty())
        --at;
    m_lines.insert(at, makeEntry(k, value));
    m_indexed = false;
}

void IniDocument::removeKey(const QString &section, const QString &key)
{
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header < 0)
        return;
    const qsizetype line = entryLine(header, key.trimmed().toCaseFolded());
    if (line >= 0) {
        m_lines.removeAt(line);
        m_indexed = false;
    }
}

QHash<QString, QString> IniDocument::sectionValues(const QString &section) const
{
    QHash<QString, QString> values;
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header < 0)
        return values;
    for (qsizetype i = header + 1; i < m_lines.size() && m_lines[i].kind != Line::Section; ++i)
        if (m_lines[i].kind == Line::Entry && !values.contains(m_lines[i].folded))
            values.insert(m_lines[i].folded, m_lines[i].value);
    return values;
}

void IniDocument::replaceSection(const QString &section, const QList<std::pair<QString, QString>> &entries)
{
    removeSection(section);
    const QString sec = section.trimmed();
    m_lines.append(parse(toGbk(u'[' + sec + u']')));
    m_lines.reserve(m_lines.size() + entries.size());
    for (const auto &[key, value] : entries)
        m_lines.append(makeEntry(key.trimmed(), value));
    m_indexed = false;
}

void IniDocument::removeSection(const QString &section)
{
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header >= 0) {
        m_lines.remove(header, sectionEnd(header) - header);
        m_indexed = false;
    }
}

QString profileString(const IniDocument &doc, const QString &section, const QString &key, int size)
{
    if (size <= 1)
        return QString();
    const QString value = doc.value(section, key);
    const qsizetype limit = size - 1;
    if (value.size() * 2 <= limit) // within the limit even if every character is double-byte
        return value;
    const QByteArray bytes = toGbk(value);
    if (bytes.size() <= limit)
        return value;
    // Cut on a character boundary: a lone lead byte would be garbage.
    QString cut = fromGbk(bytes.left(limit));
    if (cut.endsWith(QChar::ReplacementCharacter) && !value.startsWith(cut))
        cut.chop(1);
    return cut;
}

QStringList profileSectionNames(const IniDocument &doc)
{
    // Each name is ended by a NUL, the block by one more.
    QStringList fitting;
    qsizetype used = 0;
    for (const QString &name : doc.sectionNames()) {
        const qsizetype need = gbkLength(name) + 1;
        if (used + need > Class1::kSectionNamesBuffer - 1)
            break;
        used += need;
        fitting.append(name);
    }
    return fitting;
}

// --- IniFile -------------------------------------------------------------

namespace {

// Parsed documents keyed by path, each valid only for the exact bytes it was
// parsed from. Large files are not kept.
struct ParsedCache
{
    struct Entry
    {
        QByteArray bytes;
        std::shared_ptr<const IniDocument> doc;
    };
    static constexpr qsizetype kMaxEntries = 512;
    static constexpr qsizetype kMaxBytes = 1 << 20;

    QMutex mutex;
    QHash<QString, Entry> entries;

    std::shared_ptr<const IniDocument> lookup(const QString &path, const QByteArray &bytes)
    {
        QMutexLocker lock(&mutex);
        const auto it = entries.constFind(path);
        if (it != entries.cend() && it->bytes == bytes)
            return it->doc;
        return nullptr;
    }

    void store(const QString &path, const QByteArray &bytes, std::shared_ptr<const IniDocument> doc)
    {
        QMutexLocker lock(&mutex);
        if (bytes.size() > kMaxBytes) {
            entries.remove(path);
            return;
        }
        if (entries.size() >= kMaxEntries && !entries.contains(path))
            entries.erase(entries.begin());
        entries.insert(path, Entry{bytes, std::move(doc)});
    }
};

ParsedCache &cache()
{
    static ParsedCache instance;
    return instance;
}

} // namespace

std::shared_ptr<const IniDocument> IniFile::read(bool *readable) const
{
    QByteArray bytes;
    const bool ok = readWholeFile(m_path, &bytes);
    if (readable)
        *readable = ok || !QFileInfo::exists(m_path);
    if (!ok)
        return std::make_shared<const IniDocument>();
    if (auto doc = cache().lookup(m_path, bytes))
        return doc;
    auto doc = std::make_shared<const IniDocument>(IniDocument::fromBytes(bytes));
    cache().store(m_path, bytes, doc);
    return doc;
}

bool IniFile::write(const IniDocument &doc, QString *error) const
{
    const QByteArray bytes = doc.toBytes();
    if (!writeFileAtomically(m_path, bytes, error))
        return false;
    cache().store(m_path, bytes, std::make_shared<const IniDocument>(doc));
    return true;
}

QString IniFile::value(const QString &section, const QString &key) const
{
    return read()->value(section, key);
}

template<typename Edit>
bool IniFile::edit(Edit &&change) const
{
    bool readable = true;
    IniDocument doc = *read(&readable);
    if (!readable || !change(doc))
        return readable;
    return write(doc);
}

bool IniFile::setValue(const QString &section, const QString &key, const QString &value) const
{
    return edit([&](IniDocument &doc) {
        doc.setValue(section, key, value);
        return true;
    });
}

bool IniFile::removeSection(const QString &section) const
{
    return edit([&](IniDocument &doc) {
        if (!doc.hasSection(section))
            return false;
        doc.removeSection(section);
        return true;
    });
}

bool IniFile::removeKey(const QString &section, const QString &key) const
{
    return edit([&](IniDocument &doc) {
        if (!doc.find(section, key))
            return false;
        doc.removeKey(section, key);
        return true;
    });
}

// --- Class1 --------------------------------------------------------------

void Class1::SpecifyIni(const QString &name)
{
    m_fileName = name.trimmed();
}

bool Class1::checkSpecified()
{
    if (m_fileName.isEmpty()) {
        m_lastError = u"没有指定 ini 文件"_s;
        return false;
    }
    return true;
}

bool Class1::WriteString(const QString &section, const QString &key, const QString &value)
{
    if (!checkSpecified())
        return false;
    if (!IniFile(m_fileName).setValue(section, key, value)) {
        m_lastError = u"写入失败"_s;
        return false;
    }
    return true;
}

QString Class1::ReadString(const QString &section, const QString &key, int size)
{
    if (!checkSpecified())
        return QString();
    return profileString(*IniFile(m_fileName).read(), section, key, size);
}

qint32 Class1::ReadInt(const QString &section, const QString &key)
{
    if (!checkSpecified())
        return 0;
    // The profile integer: optional sign and leading digits; none means "no number".
    const QString text = IniFile(m_fileName).value(section, key);
    qsizetype i = 0;
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
        ++i;
    const qsizetype digitsFrom = i;
    while (i < text.size() && text[i].isDigit() && text[i].unicode() < 128)
        ++i;
    if (i == digitsFrom) {
        m_lastError = u"不能读取"_s;
        return 0;
    }
    return qint32(text.left(i).toLongLong());
}

qint16 Class1::getSectionsName(QStringList &names)
{
    if (!checkSpecified())
        return -1;
    const QStringList fitting = profileSectionNames(*IniFile(m_fileName).read());
    if (fitting.isEmpty())
        return -1;
    names = fitting;
    names.append(QString());
    return qint16(fitting.size() - 1);
}

void Class1::DelIniSec(const QString &section)
{
    if (checkSpecified() && !IniFile(m_fileName).removeSection(section))
        m_lastError = u"写入失败"_s;
}

void Class1::DelIniKey(const QString &section, const QString &key)
{
    if (checkSpecified() && !IniFile(AppProFileName(m_fileName)).removeKey(section, key))
        m_lastError = u"写入失败"_s;
}

QString Class1::AppProFileName(const QString &name) const
{
    return m_appDir + u'/' + name.trimmed() + u".ini"_s;
}

} // namespace tav
