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
// so files stay interchangeable with the original station software:
// - the bytes are GBK, lines end in CRLF (LF alone is read too);
// - "[name]" starts a section, "key=value" is an entry; names are compared
//   without regard to case and the first match wins;
// - values are read trimmed, and a value wrapped in a pair of matching
//   quotes loses them;
// - every line the program does not change is written back byte for byte.
class IniDocument
{
public:
    static IniDocument fromBytes(const QByteArray &bytes);
    QByteArray toBytes() const;

    std::optional<QString> find(const QString &section, const QString &key) const;
    QString value(const QString &section, const QString &key) const
    {
        return find(section, key).value_or(QString());
    }
    bool hasSection(const QString &section) const;
    QStringList sectionNames() const; // file order, duplicates kept

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
        QString name;   // section or key name as written
        QString folded; // case-folded name for comparisons
        QString value;  // entries only, already unquoted
    };

    qsizetype sectionHeader(const QString &foldedSection) const;
    void indexSections() const;
    qsizetype sectionEnd(qsizetype header) const;
    qsizetype entryLine(qsizetype header, const QString &foldedKey) const;
    static Line parse(const QByteArray &raw);
    static Line makeEntry(const QString &key, const QString &value);

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

// GBK conversions used for every data file.
QString fromGbk(const QByteArray &bytes);
QByteArray toGbk(const QString &text);
// Length of a text in GBK bytes (a Chinese character counts 2).
qsizetype gbkLength(const QString &text);

// A value as the profile functions return it into a buffer of `size`
// characters: cut to size - 1 GBK bytes on a character boundary.
QString profileString(const IniDocument &doc, const QString &section, const QString &key, int size);
// The section names that fit the 2020-byte block of the profile functions.
QStringList profileSectionNames(const IniDocument &doc);

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
    // Only the names that fit a 2020-byte block are returned.
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
