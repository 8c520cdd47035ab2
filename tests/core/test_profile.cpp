// The INI reader held against what the Windows profile functions answered on
// the corpus in tests/core/profile (recorded under Wine, code page 936, by
// scripts/record-profile-golden.sh; tests/core/profile/make_cases.py lists
// the questions).
#include "core/ini.h"

#include <QFile>
#include <QHash>
#include <QMap>
#include <QSet>

#include <gtest/gtest.h>

#include <optional>

using namespace Qt::StringLiterals;
using tav::IniDocument;

namespace {

const QString kDir = QStringLiteral(TAV_PROFILE_DIR);

struct Case
{
    QString id;
    QChar kind;
    QString file;
    QStringList fields; // the rest, still hex
};

struct Answer
{
    qint64 result = 0;
    QByteArray bytes;
};

QList<QByteArray> lines(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> out;
    for (const QByteArray &line : f.readAll().split('\n'))
        if (!line.isEmpty() && !line.startsWith('#'))
            out.append(line);
    return out;
}

std::optional<QString> text(const QString &hex)
{
    if (hex == u"-")
        return std::nullopt;
    return tav::fromGbk(QByteArray::fromHex(hex.toLatin1()));
}

IniDocument corpusFile(const QString &name)
{
    QFile f(kDir + u"/corpus/"_s + name);
    return f.open(QIODevice::ReadOnly) ? IniDocument::fromBytes(f.readAll()) : IniDocument();
}

QByteArray gbk(const QString &s)
{
    return tav::toGbk(s);
}

// Every value of every section, as our reader sees it: two files that give
// the same map read the same.
QMap<QString, QString> everything(const IniDocument &doc)
{
    QMap<QString, QString> all;
    QStringList sections = doc.sectionNames();
    sections.prepend(QString());
    for (const QString &s : sections)
        for (const QString &k : doc.keys(s))
            all.insert(s.toCaseFolded() + u'\n' + k.toCaseFolded(), tav::profileString(doc, s, k, 1000));
    all.insert(u"\nsections"_s, doc.sectionNames().join(u'|'));
    return all;
}

class ProfileGolden : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (const QByteArray &line : lines(kDir + u"/cases.txt"_s)) {
            const QStringList f = QString::fromLatin1(line).split(u'\t');
            ASSERT_GE(f.size(), 4);
            cases.append({f[0], f[1].at(0), f[2], f.mid(3)});
        }
        for (const QByteArray &line : lines(kDir + u"/golden.txt"_s)) {
            const QList<QByteArray> f = line.split('\t');
            ASSERT_EQ(f.size(), 3);
            answers.insert(QString::fromLatin1(f[0]),
                           {f[1].toLongLong(), f[2] == "-" ? QByteArray() : QByteArray::fromHex(f[2])});
        }
        ASSERT_GT(cases.size(), 300);
        ASSERT_EQ(answers.size(), cases.size()) << "golden.txt does not answer cases.txt: re-record it";
    }

    QList<Case> cases;
    QHash<QString, Answer> answers;
};

TEST_F(ProfileGolden, ValuesReadAsGetPrivateProfileStringA)
{
    int checked = 0;
    for (const Case &c : std::as_const(cases)) {
        if (c.kind != u'S')
            continue;
        const IniDocument doc = corpusFile(c.file);
        const QString ours = tav::profileString(doc, *text(c.fields[0]), *text(c.fields[1]), c.fields[2].toInt());
        // The count returned is what Windows copies: where a double-byte
        // character is cut in two it keeps the lead byte, which Wine leaves
        // out of the buffer (its count still includes it).
        const Answer &a = answers[c.id];
        EXPECT_EQ(gbk(ours).size(), a.result) << "case " << c.id.toStdString();
        EXPECT_EQ(gbk(ours).left(a.bytes.size()).toHex(), a.bytes.toHex())
            << "case " << c.id.toStdString() << " " << c.file.toStdString() << " ["
            << text(c.fields[0])->toStdString() << "] " << text(c.fields[1])->toStdString() << " size "
            << c.fields[2].toStdString();
        ++checked;
    }
    EXPECT_GT(checked, 250);
    RecordProperty("cases", checked);
}

TEST_F(ProfileGolden, IntegersReadAsGetPrivateProfileIntA)
{
    int checked = 0;
    for (const Case &c : std::as_const(cases)) {
        if (c.kind != u'I')
            continue;
        const IniDocument doc = corpusFile(c.file);
        EXPECT_EQ(tav::profileInt(doc, *text(c.fields[0]), *text(c.fields[1]), c.fields[2].toInt()),
                  qint32(answers[c.id].result))
            << "case " << c.id.toStdString() << " [" << text(c.fields[0])->toStdString() << "] "
            << text(c.fields[1])->toStdString() << " = " << doc.value(*text(c.fields[0]), *text(c.fields[1])).toStdString();
        ++checked;
    }
    EXPECT_GT(checked, 80);
    RecordProperty("cases", checked);
}

// Where the block is too small, the last name comes cut short (the function
// returns size - 2), a double-byte character possibly to its lead byte.
TEST_F(ProfileGolden, SectionNamesAsGetPrivateProfileSectionNamesA)
{
    int checked = 0, cut = 0;
    for (const Case &c : std::as_const(cases)) {
        if (c.kind != u'N')
            continue;
        const int size = c.fields[0].toInt();
        const Answer &a = answers[c.id];
        // After the last NUL comes nothing, or in a block too small the
        // name that was cut short.
        QList<QByteArray> names = a.bytes.split('\0');
        if (names.last().isEmpty())
            names.removeLast();
        if (size >= 2 && a.result == size - 2)
            ++cut;
        QStringList expected;
        for (const QByteArray &n : names)
            expected.append(tav::fromGbk(n));
        EXPECT_EQ(tav::profileSectionNames(corpusFile(c.file), size), expected)
            << "case " << c.id.toStdString() << " " << c.file.toStdString() << " size " << size;
        ++checked;
    }
    EXPECT_GT(cut, 5);
    RecordProperty("cases", checked);
    RecordProperty("cut", cut);
}

// The writer keeps every line it does not change, where the function writes
// the whole file anew; what matters is that both files read the same.
TEST_F(ProfileGolden, WritesReadTheSameAsWritePrivateProfileStringA)
{
    int checked = 0;
    for (const Case &c : std::as_const(cases)) {
        if (c.kind != u'W')
            continue;
        IniDocument ours = corpusFile(c.file);
        const QString section = *text(c.fields[0]);
        const std::optional<QString> key = text(c.fields[1]), value = text(c.fields[2]);
        if (!key)
            ours.removeSection(section);
        else if (!value)
            ours.removeKey(section, *key);
        else
            ours.setValue(section, *key, *value);
        const IniDocument theirs = IniDocument::fromBytes(answers[c.id].bytes);
        const IniDocument again = IniDocument::fromBytes(ours.toBytes());
        EXPECT_EQ(everything(again), everything(theirs)) << "case " << c.id.toStdString();
        ++checked;
    }
    EXPECT_GT(checked, 10);
    RecordProperty("cases", checked);
}

} // namespace
