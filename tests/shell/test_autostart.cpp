#include "shell/autostart.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::AutoStart;

namespace {

QString readText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void writeText(const QString &path, const QString &text)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text.toUtf8());
}

QString execOf(const QString &entry)
{
    for (const QString &line : entry.split(u'\n')) {
        if (line.startsWith(u"Exec="))
            return line.mid(5);
    }
    return QString();
}

class AutoStartTest : public ::testing::Test
{
protected:
    QTemporaryDir home;
    QString folder = home.filePath(u"config/autostart"_s);
    AutoStart autoStart{folder};
    const QString exe = u"/opt/tav player/广播 站/tavplayer"_s;
};

} // namespace

TEST_F(AutoStartTest, EnablingWritesOneEntryAndRemovesTheLegacyOne)
{
    EXPECT_FALSE(autoStart.isEnabled());
    EXPECT_TRUE(autoStart.registeredPath().isEmpty());

    ASSERT_TRUE(QDir().mkpath(folder));
    writeText(folder + u"/MySoftware.desktop"_s, u"[Desktop Entry]\nExec=/old/Tavplayer\n"_s);

    ASSERT_TRUE(autoStart.setEnabled(true, exe, u"/srv/station"_s)) << autoStart.errorString().toStdString();
    ASSERT_TRUE(autoStart.setEnabled(true, exe, u"/srv/station"_s));

    EXPECT_EQ(QDir(folder).entryList(QDir::Files), QStringList{AutoStart::kEntryName});
    const QString entry = readText(autoStart.entryPath());
    EXPECT_TRUE(entry.startsWith(u"[Desktop Entry]\n"));
    EXPECT_TRUE(entry.contains(u"\nType=Application\n"));
    EXPECT_TRUE(entry.contains(u"\nName=Tavrel多媒体定时播放系统\n"));
    EXPECT_TRUE(entry.contains(u"\nX-GNOME-Autostart-enabled=true\n"));
    EXPECT_EQ(entry.count(u"Exec="), 1);
    EXPECT_TRUE(autoStart.isEnabled());
    EXPECT_EQ(autoStart.registeredPath(), exe);
    EXPECT_EQ(AutoStart::parseExec(execOf(entry)),
              (QStringList{exe, u"--data-dir"_s, u"/srv/station"_s}));
}

TEST_F(AutoStartTest, DisablingRemovesTheEntryAndToleratesNone)
{
    ASSERT_TRUE(autoStart.setEnabled(true, exe, QString()));
    EXPECT_FALSE(readText(autoStart.entryPath()).contains(u"--data-dir"));
    ASSERT_TRUE(autoStart.setEnabled(false, exe, QString()));
    EXPECT_FALSE(QFile::exists(autoStart.entryPath()));
    EXPECT_FALSE(autoStart.isEnabled());
    EXPECT_TRUE(autoStart.registeredPath().isEmpty());
    EXPECT_TRUE(autoStart.setEnabled(false, exe, QString()));
}

TEST_F(AutoStartTest, MovedProgramIsSeenAndUpdated)
{
    ASSERT_TRUE(autoStart.setEnabled(true, u"/old place/tavplayer"_s, QString()));
    const QString moved = u"/home/站长/新 位置/tavplayer"_s;
    EXPECT_NE(autoStart.registeredPath(), moved);
    ASSERT_TRUE(autoStart.setEnabled(false, moved, QString()));
    ASSERT_TRUE(autoStart.setEnabled(true, moved, QString()));
    EXPECT_EQ(autoStart.registeredPath(), moved);
}

TEST_F(AutoStartTest, EntrySwitchedOffByTheDesktopIsNotEnabled)
{
    ASSERT_TRUE(QDir().mkpath(folder));
    writeText(autoStart.entryPath(), u"[Desktop Entry]\nExec=/usr/bin/tavplayer\nHidden=true\n"_s);
    EXPECT_FALSE(autoStart.isEnabled());
    EXPECT_EQ(autoStart.registeredPath(), u"/usr/bin/tavplayer"_s);
    writeText(autoStart.entryPath(), u"[Other]\nExec=/x\n[Desktop Entry]\nExec = /usr/bin/tavplayer %U\n"
                                     u"X-GNOME-Autostart-enabled=false\n"_s);
    EXPECT_FALSE(autoStart.isEnabled());
    EXPECT_EQ(autoStart.registeredPath(), u"/usr/bin/tavplayer"_s);
}

TEST_F(AutoStartTest, FailuresAreReported)
{
    EXPECT_FALSE(autoStart.setEnabled(true, QString(), QString()));
    EXPECT_FALSE(autoStart.errorString().isEmpty());

    // The autostart folder's place is taken by a file.
    writeText(home.filePath(u"blocked"_s), u"x"_s);
    AutoStart blocked(home.filePath(u"blocked"_s));
    EXPECT_FALSE(blocked.setEnabled(true, exe, QString()));
    EXPECT_TRUE(blocked.errorString().contains(home.filePath(u"blocked"_s)));
}

TEST(AutoStartExec, PlainArgumentsStayBare)
{
    EXPECT_EQ(AutoStart::execLine({u"/usr/bin/tavplayer"_s, u"--data-dir"_s, u"/srv/广播"_s}),
              u"/usr/bin/tavplayer --data-dir /srv/广播"_s);
}

TEST(AutoStartExec, ReservedCharactersAreQuotedAndEscaped)
{
    EXPECT_EQ(AutoStart::execLine({u"/opt/a b/tav"_s}), uR"("/opt/a b/tav")"_s);
    // Inside quotes " ` $ \ take a backslash; the string escapes then double every backslash.
    EXPECT_EQ(AutoStart::execLine({u"/a\"b"_s}), uR"("/a\\"b")"_s);
    EXPECT_EQ(AutoStart::execLine({u"/a$b"_s}), uR"("/a\\$b")"_s);
    EXPECT_EQ(AutoStart::execLine({u"/a\\b"_s}), uR"("/a\\\\b")"_s);
    EXPECT_EQ(AutoStart::execLine({u"/100%/x"_s}), u"/100%%/x"_s);
    EXPECT_EQ(AutoStart::execLine({u"/a=b"_s, QString()}), uR"("/a=b" "")"_s);
}

TEST(AutoStartExec, AwkwardPathsRoundTrip)
{
    const QStringList paths{
        u"/home/王 老师/广播 站/tavplayer"_s, u"/opt/it's $HOME `x` \"q\" \\ back"_s, u"/a%b/%f/(1);#2*?<>|&~="_s,
        u"/tab\there"_s,
    };
    for (const QString &path : paths) {
        const QString line = AutoStart::execLine({path, u"--data-dir"_s, path});
        EXPECT_EQ(AutoStart::parseExec(line), (QStringList{path, u"--data-dir"_s, path})) << line.toStdString();
    }
}

TEST(AutoStartExec, ForeignExecLinesAreRead)
{
    EXPECT_EQ(AutoStart::parseExec(u"tavplayer %U --x"_s), (QStringList{u"tavplayer"_s, u"--x"_s}));
    // A backslash before a quote written without the string-level doubling.
    EXPECT_EQ(AutoStart::parseExec(uR"("/a \"b\"/tav")"_s), QStringList{u"/a \"b\"/tav"_s});
    EXPECT_EQ(AutoStart::parseExec(u"\"/a\\sb\""_s), QStringList{u"/a b"_s});
    EXPECT_TRUE(AutoStart::parseExec(u"\"/unterminated"_s).isEmpty());
    EXPECT_TRUE(AutoStart::parseExec(QString()).isEmpty());
}
