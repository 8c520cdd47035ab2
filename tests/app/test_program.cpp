// The real program's answers to --help, --version and wrong command lines.
#include "app/program.h"
#include "core/ini.h"
#include "core/zhtext.h"
#include "fakes/fakes.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
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

TEST(Program, HelpInTheLocalesLanguageWithoutADisplay)
{
    QTemporaryDir home;
    const Answer zh = run({u"--help"_s}, u"zh_CN.UTF-8"_s, home);
    EXPECT_EQ(zh.exitCode, 0) << zh.err.toStdString();
    EXPECT_TRUE(zh.err.isEmpty()) << zh.err.toStdString();
    EXPECT_TRUE(zh.out.contains(u"用法：tavplayer"_s)) << zh.out.toStdString();
    EXPECT_TRUE(zh.out.contains(u"显示本帮助后退出"_s));

    const Answer en = run({u"-h"_s}, u"C.UTF-8"_s, home);
    EXPECT_EQ(en.exitCode, 0);
    EXPECT_TRUE(en.out.contains(u"Usage: tavplayer"_s)) << en.out.toStdString();
    EXPECT_TRUE(en.out.contains(u"show this help and exit"_s));
    for (const QString &option :
         {u"--headless"_s, u"--data-dir DIR"_s, u"--player-option NAME=VALUE"_s, u"--trace FILE"_s, u"--version"_s}) {
        EXPECT_TRUE(zh.out.contains(option)) << option.toStdString();
        EXPECT_TRUE(en.out.contains(option)) << option.toStdString();
    }
    // Asking for help starts nothing and makes no data folder.
    EXPECT_TRUE(isEmptyHome(home));
}

TEST(Program, Version)
{
    QTemporaryDir home;
    const Answer r = run({u"--version"_s}, u"C.UTF-8"_s, home);
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, u"tavplayer "_s + QStringLiteral(TAV_VERSION) + u'\n');
    EXPECT_TRUE(QRegularExpression(u"^\\d+\\.\\d+\\.\\d+$"_s).match(QStringLiteral(TAV_VERSION)).hasMatch());
}

TEST(Program, WrongCommandLineExitsWithStatusTwoAndTouchesNothing)
{
    QTemporaryDir home;
    const Answer en = run({u"--headless"_s, u"--frobnicate"_s}, u"en_US.UTF-8"_s, home);
    EXPECT_EQ(en.exitCode, 2);
    EXPECT_TRUE(en.out.isEmpty()) << en.out.toStdString();
    EXPECT_EQ(en.err.toStdString(), QString(u"tavplayer: unknown option '--frobnicate'\n"
                      u"Run 'tavplayer --help' to see every option and verb.\n"_s).toStdString());

    const Answer zh = run({u"--player-option"_s, u"ao"_s}, u"zh_CN.UTF-8"_s, home);
    EXPECT_EQ(zh.exitCode, 2);
    EXPECT_TRUE(zh.err.startsWith(u"tavplayer：选项 --player-option 的值应为 NAME=VALUE 的形式，而不是“ao”\n"_s))
        << zh.err.toStdString();
    EXPECT_TRUE(isEmptyHome(home));
}

// The week ahead of a data folder, read and never written: a folder whose
// task file has a gap (a station would renumber it) stays byte for byte.
TEST(Program, AgendaListsTheComingDaysWithReasonsAndWritesNothing)
{
    QTemporaryDir home;
    const tav::test::DataFolder data;
    const QString media = data.file(u"铃声.mp3"_s);
    data.write(u"铃声.mp3"_s, u"x"_s);
    data.write(u"【SONG】.ini"_s,
        u"[FileInfo1]\nName=午间\nTime=12:00:00\nDuration=12:30:00\nType=50000\nDevice=每天\nRecurrence=顺序\nRemind=开\n"
        u"[FileInfo3]\nName=放学\nTime=16:00:00\nDuration=16:05:00\nType=50000\nDevice=每天\nRecurrence=顺序\nRemind=开\n"_s);
    data.write(u"午间.ini"_s, u"[多媒体文件数量]\n数量=1\n[歌曲]\n歌曲名称0="_s + media + u"\n"_s);
    data.write(u"放学.ini"_s, u"[多媒体文件数量]\n数量=1\n[歌曲]\n歌曲名称0=/nowhere/放学铃.mp3\n"_s);
    const QDate today = QDate::currentDate();
    data.write(u"【DATE】.ini"_s, u"[The number of Date]\nquantity=1\n[Holiday]\nDate0="_s
                               + today.addDays(2).toString(u"yyyy/M/d"_s) + u"\n"_s);
    const QByteArray before = data.bytes(u"【SONG】.ini"_s);

    const Answer a = run({u"--agenda"_s, u"--days"_s, u"3"_s, u"--data-dir"_s, data.path()}, u"zh_CN.UTF-8"_s, home);
    ASSERT_EQ(a.exitCode, 0) << a.err.toStdString();
    const QStringList lines = a.out.split(u'\n');
    const QString tomorrow = tav::zh::shortDate(today.addDays(1)) + u' ' + tav::zh::weekdayName(today.addDays(1));
    const QString stopped = tav::zh::shortDate(today.addDays(2)) + u' ' + tav::zh::weekdayName(today.addDays(2));
    EXPECT_TRUE(lines.contains(tomorrow + u" 12:00:00-12:30:00 定时任务 午间 播放"_s)) << a.out.toStdString();
    EXPECT_TRUE(lines.contains(tomorrow + u" 16:00:00-16:05:00 定时任务 放学 不播放：文件缺失：放学铃.mp3"_s))
        << a.out.toStdString();
    EXPECT_TRUE(lines.contains(stopped + u" 12:00:00-12:30:00 定时任务 午间 不播放：停播日期"_s)) << a.out.toStdString();
    EXPECT_TRUE(a.out.contains(u"需要处理：\n  定时任务“放学”：文件缺失：放学铃.mp3（"_s)) << a.out.toStdString();
    EXPECT_EQ(a.out.count(u"定时任务 午间"_s), 3);

    EXPECT_EQ(data.bytes(u"【SONG】.ini"_s), before);
    EXPECT_FALSE(QFile::exists(data.file(u"【CONTROL】.ini"_s)));
}
