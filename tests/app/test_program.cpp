// The real program's answers to --help, --version and wrong command lines.
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct Answer
{
    int exitCode = -1;
    QString out;
    QString err;
};

// Runs the program with a fresh home and no display, in the given locale.
Answer run(const QStringList &args, const QString &lang, const QTemporaryDir &home)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &name : {u"LANGUAGE"_s, u"LC_ALL"_s, u"LC_MESSAGES"_s, u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s,
                                u"QT_QPA_PLATFORM"_s, u"XDG_DATA_HOME"_s})
        env.remove(name);
    env.insert(u"LANG"_s, lang);
    env.insert(u"HOME"_s, home.path());
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QString::fromUtf8(TAVPLAYER_BIN), args);
    if (!p.waitForFinished(15000)) {
        p.kill();
        p.waitForFinished();
        ADD_FAILURE() << "tavplayer did not finish";
        return {};
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError())};
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
