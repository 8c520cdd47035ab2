#include "fakes/fakes.h"
#include "shell/autostart.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::AutoStart;

namespace {

class AutoStartTest : public ::testing::Test
{
protected:
    void write(const QString &name, const QByteArray &text) { tav::test::put(folder + u'/' + name, text); }
    QString execOfEntry() const
    {
        QFile file(autoStart.entryPath());
        const QString text = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        return text.section(u"\nExec="_s, 1).section(u'\n', 0, 0);
    }

    QTemporaryDir home;
    QString folder = home.filePath(u"config/autostart"_s);
    AutoStart autoStart{folder};
    const QString exe = u"/opt/tav player/广播 站/tavplayer"_s;
};

} // namespace

TEST_F(AutoStartTest, EnablingTwiceLeavesOneEntryAndDisablingRemovesIt)
{
    write(u"MySoftware.desktop"_s, "[Desktop Entry]\nExec=/old/Tavplayer\n");
    // A file where the autostart folder belongs: refused, not silently ignored.
    EXPECT_FALSE(AutoStart(folder + u"/MySoftware.desktop"_s).setEnabled(true, exe));

    ASSERT_TRUE(autoStart.setEnabled(true, exe, u"/srv/广播 站"_s)) << autoStart.errorString().toStdString();
    ASSERT_TRUE(autoStart.setEnabled(true, exe, u"/srv/广播 站"_s));
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), QStringList{AutoStart::kEntryName});
    EXPECT_TRUE(autoStart.isEnabled());
    EXPECT_EQ(autoStart.registeredPath(), exe);
    EXPECT_EQ(AutoStart::parseExec(execOfEntry()), (QStringList{exe, u"--data-dir"_s, u"/srv/广播 站"_s}));

    ASSERT_TRUE(autoStart.setEnabled(false, exe));
    EXPECT_FALSE(QFile::exists(autoStart.entryPath()));
    EXPECT_FALSE(autoStart.isEnabled());
    EXPECT_TRUE(autoStart.setEnabled(false, exe)); // nothing left to remove
}

TEST(AutoStartExec, ArgumentsAreQuotedAsTheDesktopReadsThemAndRoundTrip)
{
    // Inside quotes $ takes a backslash, which the string escapes then double.
    for (const auto &[argument, line] : {std::pair{u"/a$b"_s, uR"("/a\\$b")"_s}, {u"/100%/x"_s, u"/100%%/x"_s}})
        EXPECT_EQ(AutoStart::execLine({argument}), line);
    for (const QString &path : {u"/home/王 老师/广播 站/tavplayer"_s, u"/opt/it's $HOME `x` \"q\" \\ back"_s,
                                u"/a%b/%f/(1);#2*?<>|&~="_s, u"/tab\there"_s}) {
        const QString line = AutoStart::execLine({path, u"--data-dir"_s, path});
        EXPECT_EQ(AutoStart::parseExec(line), (QStringList{path, u"--data-dir"_s, path})) << line.toStdString();
    }
    // Lines written by other tools: field codes dropped, a quote escaped only once.
    EXPECT_EQ(AutoStart::parseExec(u"tavplayer %U --x"_s), (QStringList{u"tavplayer"_s, u"--x"_s}));
    EXPECT_EQ(AutoStart::parseExec(uR"("/a \"b\"/tav")"_s), QStringList{u"/a \"b\"/tav"_s});
    EXPECT_TRUE(AutoStart::parseExec(u"\"/unterminated"_s).isEmpty());
}
