#include "core/ini.h"

#include "core/atomicfile.h"
#include "core/readahead.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QStringDecoder>
#include <QStringEncoder>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

constexpr char16_t kEscapeBase = 0xDC00; // U+DC80 … U+DCFF stand for bytes 0x80 … 0xFF

bool isEscape(const QString &text, qsizetype i)
{
    const char16_t c = text.at(i).unicode();
    return c >= 0xDC80 && c <= 0xDCFF && (i == 0 || !text.at(i - 1).isHighSurrogate());
}

QString decodeGbkPiece(const QByteArray &bytes)
{
    QStringDecoder decoder("GBK", QStringDecoder::Flag::Stateless);
    return decoder.decode(bytes);
}

QByteArray encodeGbkPiece(QStringView text)
{
    QStringEncoder encoder("GBK");
    return encoder.encode(text);
}

// The slow way, for text the decoder could not take whole: character by
// character, each byte that makes no character kept as its escape.
QString fromGbkEscaping(const QByteArray &bytes)
{
    QString out;
    out.reserve(bytes.size());
    qsizetype i = 0;
    while (i < bytes.size()) {
        const uchar b = uchar(bytes.at(i));
        if (b < 0x80) {
            out += QChar(char16_t(b));
            ++i;
            continue;
        }
        // A piece counts only as one character that gives its bytes back.
        const auto character = [&bytes, i](qsizetype length) {
            const QByteArray piece = bytes.mid(i, length);
            const QString decoded = decodeGbkPiece(piece);
            const bool whole = piece.size() == length && decoded.size() == 1
                               && decoded.at(0) != QChar::ReplacementCharacter && encodeGbkPiece(decoded) == piece;
            return whole ? decoded : QString();
        };
        if (const QString pair = character(2); !pair.isEmpty()) {
            out += pair;
            i += 2;
            continue;
        }
        if (const QString single = character(1); !single.isEmpty())
            out += single;
        else
            out += QChar(char16_t(kEscapeBase + b));
        ++i;
    }
    return out;
}

} // namespace

QString fromGbk(const QByteArray &bytes)
{
    // ASCII is the same in GBK; a decoder is costly to make for every line.
    if (std::all_of(bytes.cbegin(), bytes.cend(), [](char c) { return uchar(c) < 0x80; }))
        return QString::fromLatin1(bytes);
    // The decoder drops a lead byte left alone at the end: a line feed after
    // it makes that an error the slow way keeps.
    const bool highEnd = !bytes.isEmpty() && uchar(bytes.back()) >= 0x80;
    QString text = decodeGbkPiece(highEnd ? bytes + '\n' : bytes);
    if (highEnd && text.endsWith(u'\n'))
        text.chop(1);
    if (!text.contains(QChar::ReplacementCharacter))
        return text;
    return fromGbkEscaping(bytes);
}

QByteArray toGbk(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && !isEscape(text, i))
        ++i;
    if (i == text.size())
        return encodeGbkPiece(text);
    QByteArray out;
    qsizetype from = 0;
    for (; i < text.size(); ++i) {
        if (!isEscape(text, i))
            continue;
        out += encodeGbkPiece(QStringView(text).mid(from, i - from));
        out += char(text.at(i).unicode() - kEscapeBase);
        from = i + 1;
    }
    out += encodeGbkPiece(QStringView(text).mid(from));
    return out;
}

qsizetype gbkLength(const QString &text)
{
    return toGbk(text).size();
}

// --- IniDocument ---------------------------------------------------------

namespace {

// UTF-8 with any U+FEFF kept as text: the file's own mark is handled apart.
QString fromUtf8Keeping(QByteArrayView bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return utf8.decode(bytes);
}

} // namespace

QString IniDocument::decode(const QByteArray &raw) const
{
    return m_encoding == Encoding::Gbk ? fromGbk(raw) : fromUtf8Keeping(raw);
}

QByteArray IniDocument::encode(const QString &text) const
{
    return m_encoding == Encoding::Gbk ? toGbk(text) : text.toUtf8();
}

IniDocument::Line IniDocument::parse(const QByteArray &raw) const
{
    Line line;
    line.raw = raw;
    // Brackets and '=' can be trail bytes of GBK characters: parse decoded text.
    const QString text = decode(raw).trimmed();
    if (text.isEmpty())
        return line;
    if (text.startsWith(u'[')) {
        const qsizetype close = text.lastIndexOf(u']');
        if (close > 0) {
            line.kind = Line::Section;
            line.name = text.mid(1, close - 1).trimmed();
            line.folded = line.name.toCaseFolded();
        }
        return line;
    }
    // Any other line is an entry, a line without '=' a key with no value.
    const qsizetype eq = text.indexOf(u'=');
    line.kind = Line::Entry;
    line.name = (eq < 0 ? text : text.left(eq)).trimmed();
    line.folded = line.name.toCaseFolded();
    if (eq < 0)
        return line;
    QString value = text.mid(eq + 1).trimmed();
    if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'')
        && value.back() == value.front()) {
        value = value.mid(1, value.size() - 2);
        line.quoted = true;
    }
    line.value = value;
    return line;
}

IniDocument::Line IniDocument::makeEntry(const QString &key, const QString &value) const
{
    return parse(encode(key + u'=' + value));
}

IniDocument IniDocument::fromBytes(const QByteArray &input)
{
    IniDocument doc;
    QByteArray utf16AsUtf8;
    QByteArrayView bytes(input);
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        doc.m_encoding = Encoding::Utf8;
        bytes = bytes.sliced(3);
    } else if (bytes.startsWith("\xFF\xFE")) {
        doc.m_encoding = Encoding::Utf16;
        QStringDecoder utf16(QStringDecoder::Utf16LE, QStringDecoder::Flag::ConvertInitialBom); // its mark is gone already
        utf16AsUtf8 = QString(utf16.decode(bytes.sliced(2))).toUtf8();
        bytes = utf16AsUtf8;
    }
    qsizetype start = 0;
    const qsizetype size = bytes.size();
    while (start < size) {
        qsizetype end = start;
        while (end < size && bytes[end] != '\n' && bytes[end] != '\r')
            ++end;
        doc.m_lines.append(doc.parse(bytes.sliced(start, end - start).toByteArray()));
        if (end < size && bytes[end] == '\r' && end + 1 < size && bytes[end + 1] == '\n')
            ++end;
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
    qsizetype size = 3;
    for (const Line &l : m_lines)
        size += l.raw.size() + 2;
    out.reserve(size);
    if (m_encoding == Encoding::Utf8)
        out += "\xEF\xBB\xBF";
    for (const Line &l : m_lines) {
        out += l.raw;
        out += "\r\n";
    }
    if (m_encoding == Encoding::Utf16) {
        const QString text = fromUtf8Keeping(out);
        QStringEncoder utf16(QStringEncoder::Utf16LE);
        out = QByteArray("\xFF\xFE") + QByteArray(utf16.encode(text));
    }
    return out;
}

IniDocument IniDocument::emptyCopy() const
{
    IniDocument doc;
    doc.m_encoding = m_encoding;
    return doc;
}

void IniDocument::indexSections() const
{
    m_sections.clear();
    m_entries.clear();
    qsizetype header = kTop;
    for (qsizetype i = 0; i < m_lines.size(); ++i) {
        const Line &line = m_lines[i];
        if (line.kind == Line::Section) {
            header = i;
            if (!m_sections.contains(line.folded))
                m_sections.insert(line.folded, i);
        } else if (line.kind == Line::Entry) {
            const std::pair key{header, line.folded};
            if (!m_entries.contains(key))
                m_entries.insert(key, i);
        }
    }
    m_indexed = true;
}

qsizetype IniDocument::sectionHeader(const QString &foldedSection) const
{
    // The lines before the first header come first under the empty name.
    if (foldedSection.isEmpty())
        return kTop;
    if (!m_indexed)
        indexSections();
    return m_sections.value(foldedSection, kNone);
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
    if (header == kNone)
        return std::nullopt;
    const qsizetype line = entryLine(header, key.trimmed().toCaseFolded());
    if (line < 0)
        return std::nullopt;
    return m_lines[line].value;
}

QString IniDocument::bufferedValue(const QString &section, const QString &key, int size) const
{
    if (size <= 1)
        return QString();
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header == kNone)
        return QString();
    const qsizetype at = entryLine(header, key.trimmed().toCaseFolded());
    if (at < 0)
        return QString();
    const Line &line = m_lines[at];
    if (!line.quoted)
        return line.value.left(size - 1);
    // The value is copied with its closing quote, which is then dropped:
    // when the buffer ends exactly at that quote, the last character goes.
    const QString withQuote = line.value + u'"';
    QString copied = withQuote.left(size - 1);
    if (size >= withQuote.size())
        copied.chop(1);
    return copied;
}

bool IniDocument::hasSection(const QString &section) const
{
    return sectionHeader(section.trimmed().toCaseFolded()) != kNone;
}

QStringList IniDocument::sectionNames() const
{
    QStringList names;
    for (const Line &l : m_lines)
        if (l.kind == Line::Section && !l.name.isEmpty())
            names.append(l.name);
    return names;
}

QStringList IniDocument::keys(const QString &section) const
{
    QStringList names;
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header == kNone)
        return names;
    for (qsizetype i = header + 1; i < m_lines.size() && m_lines[i].kind != Line::Section; ++i)
        if (m_lines[i].kind == Line::Entry)
            names.append(m_lines[i].name);
    return names;
}

void IniDocument::setValue(const QString &section, const QString &key, const QString &value)
{
    const QString sec = section.trimmed();
    const QString k = key.trimmed();
    const qsizetype header = sectionHeader(sec.toCaseFolded());
    if (header == kNone) {
        const qsizetype at = m_lines.size(); // appending moves no line
        m_sections.insert(sec.toCaseFolded(), at);
        m_lines.append(parse(encode(u'[' + sec + u']')));
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
    while (at > header + 1 && m_lines[at - 1].kind == Line::Other && m_lines[at - 1].raw.trimmed().isEmpty())
        --at;
    m_lines.insert(at, makeEntry(k, value));
    m_indexed = false;
}

void IniDocument::removeKey(const QString &section, const QString &key)
{
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header == kNone)
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
    if (header == kNone)
        return values;
    for (qsizetype i = header + 1; i < m_lines.size() && m_lines[i].kind != Line::Section; ++i)
        if (m_lines[i].kind == Line::Entry && !values.contains(m_lines[i].folded))
            values.insert(m_lines[i].folded, m_lines[i].value);
    return values;
}

void IniDocument::replaceSection(const QString &section, const QList<std::pair<QString, QString>> &entries)
{
    removeSection(section);
    m_lines.append(parse(encode(u'[' + section.trimmed() + u']')));
    m_lines.reserve(m_lines.size() + entries.size());
    for (const auto &[key, value] : entries)
        m_lines.append(makeEntry(key.trimmed(), value));
    m_indexed = false;
}

void IniDocument::removeSection(const QString &section)
{
    const qsizetype header = sectionHeader(section.trimmed().toCaseFolded());
    if (header == kNone)
        return;
    const qsizetype from = header == kTop ? 0 : header;
    m_lines.remove(from, sectionEnd(header) - from);
    m_indexed = false;
}

QString profileString(const IniDocument &doc, const QString &section, const QString &key, int size)
{
    const QString value = doc.bufferedValue(section, key, size);
    const qsizetype limit = size - 1;
    if (value.size() * 2 <= limit) // within the limit even if every character is double-byte
        return value;
    const QByteArray bytes = toGbk(value);
    if (bytes.size() <= limit)
        return value;
    // Cut at the byte: a double-byte character cut in two leaves its lead
    // byte, which stays a byte of its own (and is written back as it was).
    return fromGbk(bytes.left(limit));
}

qint32 profileInt(const IniDocument &doc, const QString &section, const QString &key, qint32 fallback)
{
    // The value is first read into a 30-character buffer.
    const QString text = doc.bufferedValue(section, key, 30);
    if (text.isEmpty())
        return fallback;
    qsizetype i = 0;
    while (i < text.size() && text.at(i).unicode() <= u' ')
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == u'-' || text.at(i) == u'+'))
        negative = text.at(i++) == u'-';
    quint32 base = 10;
    if (i + 1 < text.size() && text.at(i) == u'0') {
        const QChar prefix = text.at(i + 1);
        base = prefix == u'x' ? 16 : prefix == u'o' ? 8 : prefix == u'b' ? 2 : 10;
        if (base != 10)
            i += 2;
    }
    quint32 value = 0;
    for (; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        quint32 digit = 99;
        if (c >= u'0' && c <= u'9')
            digit = c - u'0';
        else if (c >= u'a' && c <= u'z')
            digit = c - u'a' + 10;
        else if (c >= u'A' && c <= u'Z')
            digit = c - u'A' + 10;
        if (digit >= base)
            break;
        value = value * base + digit; // wraps, as the platform's does
    }
    return qint32(negative ? 0u - value : value);
}

QStringList profileSectionNames(const IniDocument &doc, int size)
{
    // Each name is ended by a NUL and the block by one more. When that does
    // not fit, the block is cut to size - 2 bytes: the last name is cut
    // short, a double-byte character possibly to its lead byte.
    const QStringList names = doc.sectionNames();
    QByteArray block;
    for (const QString &name : names) {
        block += toGbk(name);
        block += '\0';
        if (block.size() > size - 2)
            break;
    }
    if (block.size() <= size - 2)
        return names;
    QList<QByteArray> pieces = block.left(std::max(size - 2, 0)).split('\0');
    if (pieces.last().isEmpty())
        pieces.removeLast();
    QStringList cut;
    for (const QByteArray &piece : std::as_const(pieces))
        cut.append(fromGbk(piece));
    return cut;
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

thread_local ReadAheadScope::Docs *t_readAhead = nullptr;

} // namespace

ReadAheadScope::ReadAheadScope(Docs docs) : m_docs(std::move(docs)), m_outer(std::exchange(t_readAhead, &m_docs))
{
}

ReadAheadScope::~ReadAheadScope()
{
    t_readAhead = m_outer;
}

ReadAhead ReadAhead::of(const QString &path)
{
    ReadAhead ahead;
    QByteArray bytes;
    if (!readWholeFile(path, &bytes)) {
        if (QFileInfo::exists(path))
            ahead.notWhole = u"无法读取"_s;
        else
            ahead.doc = std::make_shared<const IniDocument>();
        return ahead;
    }
    ahead.notWhole = IniFile::notWholeReason(bytes);
    if (ahead.notWhole.isEmpty()) {
        ahead.doc = std::make_shared<const IniDocument>(IniDocument::fromBytes(bytes));
        cache().store(path, bytes, ahead.doc);
    }
    return ahead;
}

std::shared_ptr<const IniDocument> IniFile::read(bool *readable) const
{
    if (t_readAhead) {
        if (const auto it = t_readAhead->constFind(m_path); it != t_readAhead->cend()) {
            if (readable)
                *readable = true;
            return *it;
        }
    }
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

QString IniFile::notWholeReason() const
{
    if (!QFileInfo::exists(m_path))
        return QString();
    QByteArray bytes;
    if (!readWholeFile(m_path, &bytes))
        return u"无法读取"_s;
    return notWholeReason(bytes);
}

QString IniFile::notWholeReason(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return u"文件为空"_s;
    const bool utf16 = bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF");
    if (!utf16 && bytes.contains('\0'))
        return u"文件含有空字节，可能未写完"_s;
    if (utf16)
        return bytes.contains('[') ? QString() : u"文件中没有任何节"_s;
    for (qsizetype at = 0; at < bytes.size();) {
        qsizetype end = bytes.indexOf('\n', at);
        if (end < 0)
            end = bytes.size();
        if (QByteArrayView(bytes).sliced(at, end - at).trimmed().startsWith('['))
            return QString();
        at = end + 1;
    }
    return u"文件中没有任何节"_s;
}

bool IniFile::write(const IniDocument &doc, QString *error) const
{
    if (t_readAhead)
        t_readAhead->remove(m_path); // what was read ahead is no longer the file
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
    // Read with the fallback 0; a 0 is read again with the fallback 1, and
    // a 1 then means the key is missing or empty.
    const auto doc = IniFile(m_fileName).read();
    const qint32 value = profileInt(*doc, section, key, 0);
    if (value != 0)
        return value;
    if (profileInt(*doc, section, key, 1) == 1)
        m_lastError = u"不能读取"_s;
    return 0;
}

qint16 Class1::getSectionsName(QStringList &names)
{
    if (!checkSpecified())
        return -1;
    const QStringList fitting = profileSectionNames(*IniFile(m_fileName).read(), kSectionNamesBuffer);
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
