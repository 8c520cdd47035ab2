#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace tav {

// The text of one INI file as the Windows private-profile functions see it,
// so files stay interchangeable with the original station software (the
// corners are held against recorded answers of those functions):
// - the bytes are GBK (a UTF-8 or UTF-16 byte-order mark switches to that
//   encoding, kept when written); lines end in CRLF, LF or CR;
// - "[name]" starts a section, its name running to the last "]"; lines
//   before the first section belong to the section with the empty name;
// - "key=value" is an entry, and so is a line without "=" (a key with no
//   value) and one starting with ";": there are no comment lines;
// - names are compared trimmed and without regard to case, and the first
//   match wins (the first section of a name hides later ones);
// - values are read trimmed, and a value wrapped in a pair of matching
//   quotes loses them;
// - every line the program does not change is written back byte for byte,
//   bytes that are not valid GBK included.
class IniDocument
{
public:
    static IniDocument fromBytes(const QByteArray &bytes);
    QByteArray toBytes() const;
    // An empty document that will be written in this one's encoding.
    IniDocument emptyCopy() const;

    std::optional<QString> find(const QString &section, const QString &key) const;
    QString value(const QString &section, const QString &key) const
    {
        return find(section, key).value_or(QString());
    }
    bool hasSection(const QString &section) const;
    // File order, duplicates kept, empty names left out (as the profile
    // functions list them).
    QStringList sectionNames() const;
    // The keys of the (first) section of that name, in file order.
    QStringList keys(const QString &section) const;
    // The value as the profile functions copy it into a buffer of `size`
    // characters before it is turned into GBK bytes: cut to size - 1
    // characters, where a quoted value cut at its closing quote loses one
    // more character.
    QString bufferedValue(const QString &section, const QString &key, int size) const;

    void setValue(const QString &section, const QString &key, const QString &value);
    // Long lists in one pass each (value() and setValue() look a key up by
    // walking its section): every key of a section, case-folded, with its
    // value (first match wins); and a section written afresh at the end of
    // the file with the given entries, in order.
    QHash<QString, QString> sectionValues(const QString &section) const;
    void replaceSection(const QString &section, const QList<std::pair<QString, QString>> &entries);
    void removeKey(const QString &section, const QString &key);
    void removeSection(const QString &section);

private:
    struct Line
    {
        enum Kind : quint8 { Other, Section, Entry };
        QByteArray raw;
        Kind kind = Other;
        bool quoted = false; // entries: the value was wrapped in quotes
        QString name;   // section or key name as written
        QString folded; // case-folded name for comparisons
        QString value;  // entries only, already unquoted
    };
    enum class Encoding : quint8 { Gbk, Utf8, Utf16 };

    // Line index of a section's header; kTop for the lines before the first
    // header (the empty name), kNone when there is no such section.
    static constexpr qsizetype kTop = -1;
    static constexpr qsizetype kNone = -2;
    qsizetype sectionHeader(const QString &foldedSection) const;
    void indexSections() const;
    qsizetype sectionEnd(qsizetype header) const;
    qsizetype entryLine(qsizetype header, const QString &foldedKey) const;
    Line parse(const QByteArray &raw) const;
    Line makeEntry(const QString &key, const QString &value) const;
    QString decode(const QByteArray &raw) const;
    QByteArray encode(const QString &text) const;

    Encoding m_encoding = Encoding::Gbk;
    QList<Line> m_lines;
    // First header line of each folded section name, and the first line of
    // each folded key under each header; rebuilt lazily after an edit that
    // moves lines, so that reading a list of n keys takes time in n.
    mutable QHash<QString, qsizetype> m_sections;
    mutable QHash<std::pair<qsizetype, QString>, qsizetype> m_entries;
    mutable bool m_indexed = false;
};

// One INI file on disk. Reads see the file's current bytes every time: the
// parsed form is reused only while the file holds exactly the bytes it was
// parsed from. Writes replace the file atomically. A missing or unreadable
// file reads as an empty one, but a file that exists and cannot be read is
// never replaced by an edit: that would lose everything else in it.
class IniFile
{
public:
    explicit IniFile(QString path) : m_path(std::move(path)) {}
    const QString &path() const { return m_path; }

    // `readable` is false when the file exists but could not be read.
    std::shared_ptr<const IniDocument> read(bool *readable = nullptr) const;
    // Why the file, changed by another program, cannot be a data file
    // written whole: it is empty, holds NUL bytes (outside UTF-16) or has no
    // section at all. Empty text when it can be taken in, or is missing.
    QString notWholeReason() const;
    static QString notWholeReason(const QByteArray &bytes);
    bool write(const IniDocument &doc, QString *error = nullptr) const;

    QString value(const QString &section, const QString &key) const;
    bool setValue(const QString &section, const QString &key, const QString &value) const;
    bool removeSection(const QString &section) const;
    bool removeKey(const QString &section, const QString &key) const;

private:
    template<typename Edit>
    bool edit(Edit &&change) const;

    QString m_path;
};

// GBK conversions used for every data file. They lose nothing: a byte that
// is not part of a valid GBK character becomes the lone surrogate
// U+DC80 + (byte - 0x80) and is turned back into that byte.
QString fromGbk(const QByteArray &bytes);
QByteArray toGbk(const QString &text);
// Length of a text in GBK bytes (a Chinese character counts 2).
qsizetype gbkLength(const QString &text);

// A value as GetPrivateProfileStringA returns it into a buffer of `size`
// characters: cut to size - 1 GBK bytes, where a double-byte character cut
// in two leaves its lead byte (kept as the escape for that byte).
QString profileString(const IniDocument &doc, const QString &section, const QString &key, int size);
// GetPrivateProfileIntA: `fallback` for a missing or empty value, else the
// leading number of the value's first 29 characters ("0x", "0o", "0b" pick
// the base; no digits give 0; 32 bits, wrapping).
qint32 profileInt(const IniDocument &doc, const QString &section, const QString &key, qint32 fallback);
// The section names in a block of `size` bytes of
// GetPrivateProfileSectionNamesA (2020 for Class1). Where they do not all
// fit, the block is cut to size - 2 bytes and its last name is cut short.
QStringList profileSectionNames(const IniDocument &doc, int size = 2020);

// The one way in which the subsystems read and write their INI files.
// Failures are return values and a stored message, never exceptions.
class Class1
{
public:
    explicit Class1(QString appDir = QString()) : m_appDir(std::move(appDir)) {}

    void SpecifyIni(const QString &name);
    bool WriteString(const QString &section, const QString &key, const QString &value);
    // A value longer than size - 1 GBK bytes is cut to size - 1 bytes.
    QString ReadString(const QString &section, const QString &key, int size);
    qint32 ReadInt(const QString &section, const QString &key);
    // Fills names with the section names (file order) and one empty element,
    // returns the index of the last name, or -1 when the file has none.
    // Only the names in a 2020-byte block are returned, the last possibly
    // cut short.
    qint16 getSectionsName(QStringList &names);
    void DelIniSec(const QString &section);
    // Deletes a key of the file AppProFileName(current name) names.
    void DelIniKey(const QString &section, const QString &key);
    QString AppProFileName(const QString &name) const;

    const QString &fileName() const { return m_fileName; }
    const QString &lastError() const { return m_lastError; }

    static constexpr int kSectionNamesBuffer = 2020;

private:
    bool checkSpecified();

    QString m_appDir;
    QString m_fileName;
    QString m_lastError;
};

} // namespace tav
