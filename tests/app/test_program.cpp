// The real program's answers to --help, --version and wrong command lines.
#include "app/program.h"
#include "core/ini.h"
#include "core/zhtext.h"
#include "fakes/fakes.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using tav::test::Answer;

// Runs the program with a fresh home and no display, in the given locale.
Answer run(const QStringList &args, const QString &lang, const QTemporaryDir &home)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &name : {u"LANGUAGE"_s, u"LC_ALL"_s, u"LC_MESSAGES"_s, u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s,
                                u"QT_QPA_PLATFORM"_s, u"XDG_DATA_HOME"_s})
        env.remove(name);
    env.insert(u"LANG"_s, lang);
    env.insert(u"HOME"_s, home.path());
    return tav::test::runProgram(args, env);
}

bool isEmptyHome(const QTemporaryDir &home)
{
    return QDir(home.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty();
}

} // namespace

// Help in the locale's language and the version, with no display, start
// nothing and make no data folder.
TEST(Program, HelpAndVersionWithoutADisplayTouchNothing)
{
    QTemporaryDir home;
    const Answer zh = run({u"--help"_s}, u"zh_CN.UTF-8"_s, home);
    EXPECT_EQ(zh.exitCode, 0) << zh.err.toStdString();
    EXPECT_TRUE(zh.err.isEmpty()) << zh.err.toStdString();
    EXPECT_TRUE(zh.out.contains(u"用法：tavplayer"_s) && zh.out.contains(u"显示本帮助后退出"_s)) << zh.out.toStdString();
    const Answer version = run({u"--version"_s}, u"C.UTF-8"_s, home);
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, u"tavplayer "_s + QStringLiteral(TAV_VERSION) + u'\n');
    EXPECT_TRUE(isEmptyHome(home));
}

TEST(Program, WrongCommandLineExitsWithStatusTwoAndTouchesNothing)
{
    QTemporaryDir home;
    const Answer en = run({u"--headless"_s, u"--frobnicate"_s}, u"en_US.UTF-8"_s, home);
    EXPECT_EQ(en.exitCode, 2);
    EXPECT_TRUE(en.out.isEmpty()) << en.out.toStdString();
    EXPECT_EQ(en.err, u"tavplayer: unknown option '--frobnicate'\nRun 'tavplayer --help' to see every option and verb.\n");
    EXPECT_TRUE(isEmptyHome(home));
}

// The week ahead of a data folder, read and never written: a folder whose
// task file has a gap (a station would renumber it) stays byte for byte. The
// lines' reasons are tested with the agenda itself.
TEST(Program, AgendaListsTheComingDaysWithReasonsAndWritesNothing)
{
    QTemporaryDir home;
    const tav::test::DataFolder data;
    const QString media = data.file(u"铃声.mp3"_s);
    data.write(u"铃声.mp3"_s, u"x"_s);
    data.write(u"【SONG】.ini"_s,
               tav::test::taskSection(1, {.name = u"午间"_s, .start = u"12:00:00"_s, .end = u"12:30:00"_s})
                   + tav::test::taskSection(3, {.name = u"放学"_s, .start = u"16:00:00"_s, .end = u"16:05:00"_s}));
    data.write(u"午间.ini"_s, tav::test::mediaList({media}));
    const QDate today = QDate::currentDate();
    const QByteArray before = data.bytes(u"【SONG】.ini"_s);

    const Answer a = run({u"--agenda"_s, u"--days"_s, u"3"_s, u"--data-dir"_s, data.path()}, u"zh_CN.UTF-8"_s, home);
    ASSERT_EQ(a.exitCode, 0) << a.err.toStdString();
    const QStringList lines = a.out.split(u'\n');
    const auto day = [&](int n) -> QString {
        return tav::zh::shortDate(today.addDays(n)) + u' ' + tav::zh::weekdayName(today.addDays(n));
    };
    EXPECT_TRUE(lines.contains(day(1) + u" 12:00:00-12:30:00 定时任务 午间 播放"_s)) << a.out.toStdString();

    EXPECT_EQ(data.bytes(u"【SONG】.ini"_s), before);
    EXPECT_FALSE(QFile::exists(data.file(u"【CONTROL】.ini"_s)));
}
