// The command-line table, parser and help text.
#include "app/commandline.h"


#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::CommandLine;
using tav::Language;
using tav::OptionEntry;

namespace {

QProcessEnvironment env(std::initializer_list<std::pair<const char *, const char *>> vars)
{
    QProcessEnvironment e;
    for (const auto &[name, value] : vars)
        e.insert(QString::fromLatin1(name), QString::fromUtf8(value));
    return e;
}

// The program's table with two verbs of the kind other parts of the program
// add: one with its own options, one taking a folder.
QList<OptionEntry> extendedTable()
{
    QList<OptionEntry> table = CommandLine::standardTable();
    table.append({.name = u"recite"_s, .kind = OptionEntry::Verb, .valueName = u"TEXT"_s,
                  .helpZh = u"背诵文字后退出"_s, .helpEn = u"recite TEXT and exit"_s});
    table.append({.name = u"accent"_s, .valueName = u"NAME"_s, .with = {u"recite"_s},
                  .helpZh = u"背诵用的口音"_s, .helpEn = u"the accent to recite with"_s});
    table.append({.name = u"archive"_s, .kind = OptionEntry::Verb, .valueName = u"DIR"_s,
                  .helpZh = u"把数据文件夹归档到 DIR 后退出"_s, .helpEn = u"archive the data folder into DIR and exit"_s});
    return table;
}

} // namespace

TEST(CommandLineLanguage, FirstSetVariableDecides)
{
    // LC_ALL overrides LANG, LC_MESSAGES sits between them, LANGUAGE wins; set
    // but empty counts as not set.
    const std::pair<QProcessEnvironment, Language> cases[] = {
        {env({}), Language::English},
        {env({{"LANG", "zh_CN.UTF-8"}, {"LC_ALL", "C"}}), Language::English},
        {env({{"LANG", "en_GB.UTF-8"}, {"LC_MESSAGES", "zh_CN.UTF-8"}}), Language::Chinese},
        {env({{"LC_ALL", "C.UTF-8"}, {"LANGUAGE", "zh_CN:en"}}), Language::Chinese},
        {env({{"LANGUAGE", ""}, {"LANG", "zh_CN.GBK"}}), Language::Chinese},
    };
    for (const auto &[e, language] : cases)
        EXPECT_EQ(tav::languageOf(e), language) << e.toStringList().join(u' ').toStdString();
}

TEST(CommandLineParse, StationOptionsInBothSpellings)
{
    CommandLine cl;
    ASSERT_TRUE(cl.parse({u"--headless"_s, u"--data-dir"_s, u"/srv/站点"_s, u"--player-option=ao=null"_s,
                          u"--player-option"_s, u"volume=50"_s, u"--trace=/tmp/t.log"_s,
                          u"--metrics-listen=[::1]:9464"_s},
                         Language::English))
        << cl.errorText().toStdString();
    EXPECT_EQ(cl.verb(), CommandLine::kStation);
    EXPECT_TRUE(cl.isSet(u"headless"_s));
    EXPECT_EQ(cl.value(u"data-dir"_s), u"/srv/站点"_s);
    EXPECT_EQ(cl.values(u"player-option"_s), (QStringList{u"ao=null"_s, u"volume=50"_s}));
    EXPECT_EQ(cl.value(u"trace"_s), u"/tmp/t.log"_s);
    EXPECT_EQ(cl.value(u"metrics-listen"_s), u"[::1]:9464"_s);
    // A second parse starts afresh.
    ASSERT_TRUE(cl.parse({}, Language::English));
    EXPECT_FALSE(cl.isSet(u"headless"_s));
    EXPECT_TRUE(cl.values(u"player-option"_s).isEmpty());
}

// A verb takes its own options and the general ones; its value may look like
// anything but an option, and where it may be left out it takes the next
// argument unless that is an option.
TEST(CommandLineParse, VerbsTakeTheirValueTheirOwnOptionsAndTheGeneralOnes)
{
    CommandLine cl(extendedTable());
    ASSERT_TRUE(cl.parse({u"--recite"_s, u"-5度"_s, u"--accent"_s, u"yue"_s, u"--data-dir"_s, u"/d"_s},
                         Language::English))
        << cl.errorText().toStdString();
    EXPECT_EQ(cl.verb(), u"recite"_s);
    EXPECT_EQ(cl.value(u"recite"_s), u"-5度"_s);
    EXPECT_EQ(cl.value(u"accent"_s), u"yue"_s);
    EXPECT_EQ(cl.value(u"data-dir"_s), u"/d"_s);
    const std::pair<QStringList, QString> optional[] = {
        {{u"--emergency"_s}, {}},
        {{u"--emergency"_s, u"--data-dir"_s, u"/d"_s}, {}},
        {{u"--emergency"_s, u"着火了"_s, u"--data-dir"_s, u"/d"_s}, u"着火了"_s},
    };
    for (const auto &[args, value] : optional) {
        ASSERT_TRUE(cl.parse(args, Language::English)) << cl.errorText().toStdString();
        EXPECT_EQ(cl.value(cl.verb()), value) << args.join(u' ').toStdString();
    }
}

// Each is refused with its reason and the way to the help, in English and, where
// given, in Chinese.
TEST(CommandLineParse, WrongLinesAreRefusedWithTheReasonAndTheWayToHelp)
{
    const struct
    {
        QStringList args;
        QString english, chinese;
    } cases[] = {
        {{u"--bogus"_s}, u"unknown option '--bogus'"_s, u"未知选项“--bogus”"_s},
        {{u"/srv/data"_s}, u"unexpected argument '/srv/data'"_s, u"多余的参数“/srv/data”"_s},
        {{u"--data-dir"_s}, u"option --data-dir needs a value: DIR"_s, u"选项 --data-dir 需要一个值：DIR"_s},
        {{u"--data-dir"_s, u"--headless"_s}, u"option --data-dir needs a value: DIR"_s, {}},
        {{u"--headless=yes"_s}, u"option --headless takes no value"_s, u"选项 --headless 不带值"_s},
        {{u"--player-option"_s, u"ao"_s}, u"option --player-option needs a value of the form NAME=VALUE, not 'ao'"_s,
         u"选项 --player-option 的值应为 NAME=VALUE 的形式，而不是“ao”"_s},
        {{u"--output-lead"_s, u"5001"_s}, u"option --output-lead needs a value of the form MS, not '5001'"_s, {}},
        {{u"--metrics-listen"_s, u"*:70000"_s},
         u"option --metrics-listen needs a value of the form ADDR:PORT, not '*:70000'"_s, {}},
        {{u"--data-dir"_s, u"/a"_s, u"--data-dir"_s, u"/b"_s}, u"option --data-dir may be given only once"_s,
         u"选项 --data-dir 只能给一次"_s},
        {{u"--announce"_s, u"x"_s, u"--repeat"_s, u"0"_s}, u"option --repeat needs a value of the form N, not '0'"_s, {}},
        {{u"--emergency"_s, u"--repeat"_s, u"2"_s}, u"option --repeat cannot be used with --emergency"_s,
         u"选项 --repeat 不能与 --emergency 一起使用"_s},
        // A verb's own options only with it; two verbs never together.
        {{u"--accent"_s, u"yue"_s}, u"option --accent only goes with --recite"_s, {}},
        {{u"--recite"_s, u"hi"_s, u"--archive"_s, u"/mnt"_s}, u"--recite and --archive cannot be used together"_s, {}},
    };
    CommandLine cl(extendedTable());
    for (const auto &bad : cases) {
        SCOPED_TRACE(bad.args.join(u' ').toStdString());
        EXPECT_FALSE(cl.parse(bad.args, Language::English));
        EXPECT_TRUE(cl.errorText().startsWith(u"tavplayer: "_s + bad.english + u'\n')) << cl.errorText().toStdString();
        EXPECT_TRUE(cl.errorText().endsWith(u"Run 'tavplayer --help' to see every option and verb."_s));
        EXPECT_FALSE(cl.parse(bad.args, Language::Chinese));
        if (!bad.chinese.isEmpty()) {
            EXPECT_TRUE(cl.errorText().startsWith(u"tavplayer："_s + bad.chinese + u'\n')) << cl.errorText().toStdString();
        }
    }
}

// The rows of the help text: every option and verb on one line with its
// explanation.
TEST(CommandLineHelp, EveryRowOnOneLineInTheReadersLanguage)
{
    for (const auto &table : {CommandLine::standardTable(), extendedTable()}) {
        const CommandLine cl(table);
        for (const Language language : {Language::Chinese, Language::English}) {
            const QStringList lines = cl.helpText(language).split(u'\n');
            for (const OptionEntry &entry : table) {
                SCOPED_TRACE(entry.name.toStdString());
                const QString text = language == Language::Chinese ? entry.helpZh : entry.helpEn;
                ASSERT_FALSE(text.isEmpty() || text.contains(u'\n'));
                const QString value = entry.valueName.isEmpty() ? QString()
                                      : entry.optionalValue  ? QString(u" ["_s + entry.valueName + u']')
                                                             : QString(u' ' + entry.valueName);
                QStringList rows;
                for (const QString &line : lines)
                    if (line.contains(u"--"_s + entry.name + value + u' ') && line.endsWith(text))
                        rows.append(line);
                ASSERT_EQ(rows.size(), 1) << cl.helpText(language).toStdString();
            }
        }
    }
}
