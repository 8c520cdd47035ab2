// The INI reader held against what the Windows profile functions answered on
// the corpus in tests/core/profile (recorded under Wine, code page 936, by
// scripts/record-profile-golden.sh; tests/core/profile/make_cases.py lists
// the questions).
#include "core/ini.h"

#include <QFile>
#include <QHash>
#include <QMap>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace Qt::StringLiterals;
using tav::IniDocument;

namespace {

const QString kDir = QStringLiteral(TAV_PROFILE_DIR);

QList<QByteArray> lines(const QString &path)
{
    QFile f(path);
    QList<QByteArray> out;
    for (const QByteArray &line : f.open(QIODevice::ReadOnly) ? f.readAll().split('\n') : QList<QByteArray>())
        if (!line.isEmpty() && !line.startsWith('#'))
            out.append(line);
    return out;
}

std::optional<QString> text(const QString &hex)
{
    return hex == u"-" ? std::nullopt : std::optional(tav::fromGbk(QByteArray::fromHex(hex.toLatin1())));
}

// Every value of every section, as our reader sees it: two files that give
// the same map read the same.
QMap<QString, QString> everything(const IniDocument &doc)
{
    QMap<QString, QString> all;
    const QStringList sections = QStringList{QString()} + doc.sectionNames();
    for (const QString &s : sections)
        for (const QString &k : doc.keys(s))
            all.insert(s.toCaseFolded() + u'\n' + k.toCaseFolded(), tav::profileString(doc, s, k, 1000));
    all.insert(u"\nsections"_s, doc.sectionNames().join(u'|'));
    return all;
}

// A question of cases.txt: its corpus file read, its fields still hex, and
// the answer of golden.txt.
struct Case
{
    QString id;
    IniDocument doc;
    QStringList fields;
    qint64 result = 0;
    QByteArray bytes;
    std::string where() const { return "case " + id.toStdString(); }
};

// Calls `check` on every case of the kind; returns how many there were.
int forEachCase(QChar kind, const std::function<void(const Case &)> &check)
{
    QHash<QString, std::pair<qint64, QByteArray>> answers;
    for (const QByteArray &line : lines(kDir + u"/golden.txt"_s)) {
        const QList<QByteArray> f = line.split('\t');
        EXPECT_EQ(f.size(), 3) << line.toStdString();
        answers.insert(QString::fromLatin1(f.value(0)), {f.value(1).toLongLong(), QByteArray::fromHex(f.value(2))});
    }
    const QList<QByteArray> cases = lines(kDir + u"/cases.txt"_s);
    EXPECT_GT(cases.size(), 300);
    EXPECT_EQ(answers.size(), cases.size()) << "golden.txt does not answer cases.txt: re-record it";
    int count = 0;
    for (const QByteArray &line : cases) {
        const QStringList f = QString::fromLatin1(line).split(u'\t');
        EXPECT_GE(f.size(), 4) << line.toStdString();
        if (f.size() < 4 || f[1] != kind)
            continue;
        QFile file(kDir + u"/corpus/"_s + f[2]);
        const IniDocument doc = file.open(QIODevice::ReadOnly) ? IniDocument::fromBytes(file.readAll()) : IniDocument();
        const auto &[result, bytes] = answers.value(f[0]);
        check({f[0], doc, f.mid(3), result, bytes});
        ++count;
    }
    return count;
}

} // namespace

// The count returned is what Windows copies: where a double-byte character
// is cut in two it keeps the lead byte, which Wine leaves out of the buffer
// (its count still includes it).
TEST(ProfileGolden, ValuesReadAsGetPrivateProfileStringA)
{
    EXPECT_GT(forEachCase(u'S', [](const Case &c) {
                  const QByteArray ours =
                      tav::toGbk(tav::profileString(c.doc, *text(c.fields[0]), *text(c.fields[1]), c.fields[2].toInt()));
                  EXPECT_EQ(ours.size(), c.result) << c.where();
                  EXPECT_EQ(ours.left(c.bytes.size()).toHex(), c.bytes.toHex()) << c.where();
              }),
              250);
}

TEST(ProfileGolden, IntegersReadAsGetPrivateProfileIntA)
{
    EXPECT_GT(forEachCase(u'I', [](const Case &c) {
                  EXPECT_EQ(tav::profileInt(c.doc, *text(c.fields[0]), *text(c.fields[1]), c.fields[2].toInt()),
                            qint32(c.result))
                      << c.where();
              }),
              80);
}

// Where the block is too small, the last name comes cut short (the function
// returns size - 2), a double-byte character possibly to its lead byte; after
// the last NUL comes nothing, or that name.
TEST(ProfileGolden, SectionNamesAsGetPrivateProfileSectionNamesA)
{
    int cut = 0;
    forEachCase(u'N', [&cut](const Case &c) {
        const int size = c.fields[0].toInt();
        QList<QByteArray> names = c.bytes.split('\0');
        if (names.last().isEmpty())
            names.removeLast();
        cut += size >= 2 && c.result == size - 2;
        QStringList expected;
        for (const QByteArray &n : names)
            expected.append(tav::fromGbk(n));
        EXPECT_EQ(tav::profileSectionNames(c.doc, size), expected) << c.where() << " size " << size;
    });
    EXPECT_GT(cut, 5);
}

// The writer keeps every line it does not change, where the function writes
// the whole file anew; what matters is that both files read the same.
TEST(ProfileGolden, WritesReadTheSameAsWritePrivateProfileStringA)
{
    EXPECT_GT(forEachCase(u'W', [](const Case &c) {
                  IniDocument ours = c.doc;
                  const QString section = *text(c.fields[0]);
                  const std::optional<QString> key = text(c.fields[1]), value = text(c.fields[2]);
                  if (!key)
                      ours.removeSection(section);
                  else if (!value)
                      ours.removeKey(section, *key);
                  else
                      ours.setValue(section, *key, *value);
                  EXPECT_EQ(everything(IniDocument::fromBytes(ours.toBytes())),
                            everything(IniDocument::fromBytes(c.bytes)))
                      << c.where();
              }),
              10);
}
