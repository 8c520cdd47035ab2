// The one-job verbs of the real program: --sync-time against Daytime servers
// on 127.0.0.1, --backup and --restore on temporary folders.
#include "app/program.h"
#include "fakes/fakes.h"

#include <QDir>
#include <QtEndian>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Result = tav::test::Answer;

// Runs the program in Chinese without a display.
Result run(const QStringList &args, const QByteArray &input = {})
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"LANG"_s, u"zh_CN.UTF-8"_s);
    env.remove(u"DISPLAY"_s);
    return tav::test::runProgram(args, env, input);
}

// Answers every connection with the time now, of the given health, and hangs up.
struct DaytimeServer : QTcpServer
{
    explicit DaytimeServer(char health)
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this, health] {
            while (QTcpSocket *s = nextPendingConnection()) {
                const QByteArray now = QDateTime::currentDateTimeUtc().toString(u"yy-MM-dd hh:mm:ss"_s).toLatin1();
                s->write("\n61003 " + now + " 00 0 " + health + " 543.2 UTC(NIST) * \n");
                s->disconnectFromHost();
            }
        });
    }
    QString address() const { return u"127.0.0.1:%1"_s.arg(serverPort()); }
};

} // namespace

TEST(Verbs, SyncTimeListsEachAnswerAndTakesTheHealthyOne)
{
    tav::test::DataFolder data;
    DaytimeServer healthy('0'), sick('2');
    const Result dry = run({u"--sync-time"_s, u"--dry-run"_s, u"--daytime-server"_s, sick.address(),
                            u"--daytime-server"_s, healthy.address(), u"--data-dir"_s, data.path()});
    EXPECT_EQ(dry.exitCode, 0) << dry.err.toStdString();
    EXPECT_TRUE(dry.out.contains(sick.address() + u"：不采用（健康标志不是0）"_s)) << dry.out.toStdString();
    EXPECT_TRUE(dry.out.contains(healthy.address() + u"：健康，"_s)) << dry.out.toStdString();
    EXPECT_TRUE(dry.out.contains(u"试运行：本应把时钟设为 "_s));
    EXPECT_FALSE(QFile::exists(data.file(u"【CONTROL】.ini"_s))); // a dry run records nothing
}

// A backup into a folder it makes; a restore from an empty folder, undone by
// the command it prints.
TEST(Verbs, BackupToANewFolderAndARestoreThatCanBeUndone)
{
    tav::test::DataFolder data, elsewhere;
    data.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早操\n"_s);
    QDir(data.path()).mkpath(u"sub"_s);
    data.write(u"sub/列表.ini"_s, u"[歌曲]\n"_s);
    const QString target = elsewhere.file(u"nightly/2026-11-24"_s);
    const Result backup = run({u"--backup"_s, target, u"--data-dir"_s, data.path()});
    ASSERT_EQ(backup.exitCode, 0) << backup.err.toStdString();
    EXPECT_TRUE(backup.out.contains(u"已备份 2 个文件到 "_s + target)) << backup.out.toStdString();
    EXPECT_EQ(tav::test::DataFolder::readAll(target + u"/sub/列表.ini"_s), data.bytes(u"sub/列表.ini"_s));

    const QString empty = elsewhere.file(u"empty"_s);
    QDir().mkpath(empty);
    const QByteArray song = data.bytes(u"【SONG】.ini"_s);
    const Result wrong = run({u"--restore"_s, empty, u"--data-dir"_s, data.path()});
    ASSERT_EQ(wrong.exitCode, 0) << wrong.err.toStdString();
    EXPECT_FALSE(QFile::exists(data.file(u"【SONG】.ini"_s)));
    const qsizetype at = wrong.out.indexOf(u"tavplayer --restore \""_s);
    ASSERT_GE(at, 0) << wrong.out.toStdString();
    const Result undo = run({u"--restore"_s, wrong.out.mid(at + 21).section(u'"', 0, 0), u"--data-dir"_s, data.path()});
    EXPECT_EQ(undo.exitCode, 0) << undo.err.toStdString();
    EXPECT_EQ(data.bytes(u"【SONG】.ini"_s), song);
}

TEST(Verbs, RestoreIsRefusedWhileAStationRunsOnTheFolder)
{
    tav::test::DataFolder data, backup;
    data.write(u"【SONG】.ini"_s, u"[FileInfo1]\nName=早操\n"_s);
    QProcess station;
    station.start(QString::fromUtf8(TAVPLAYER_BIN), {u"--headless"_s, u"--data-dir"_s, data.path(),
                                                      u"--player-option"_s, u"ao=null"_s});
    ASSERT_TRUE(station.waitForStarted());
    ASSERT_TRUE(QTest::qWaitFor([&] { return station.bytesAvailable() > 0 || station.state() != QProcess::Running; }, 10000));
    const Result r = run({u"--restore"_s, backup.path(), u"--data-dir"_s, data.path()});
    station.terminate();
    station.waitForFinished(5000);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains(u"请先退出再还原"_s)) << r.err.toStdString();
    EXPECT_TRUE(QFile::exists(data.file(u"【SONG】.ini"_s)));
}

// --say writes a wave file in the format asked, reading the placeholders,
// or prints the text as the voice will get it (the formats themselves and
// the readings are tested with the speech library).
TEST(Verbs, SaySavesAWaveFileInTheFormatAskedOrPrintsTheReading)
{
    tav::test::DataFolder d;
    const QString wav = d.file(u"通知.wav"_s);
    const Result r = run({u"--say"_s, u"现在是%Time"_s, u"--wav"_s, wav, u"--format"_s, u"SAFT16kHz8BitStereo"_s,
                          u"--voice"_s, u"VW Liang"_s});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.startsWith(u"合成语音文件成功保存! "_s)) << r.out.toStdString();
    const QByteArray bytes = tav::test::DataFolder::readAll(wav);
    ASSERT_GT(bytes.size(), 44);
    EXPECT_EQ(bytes.left(4), "RIFF");
    EXPECT_EQ(qFromLittleEndian<quint32>(bytes.constData() + 24), 16000u); // the sample rate asked
    // "上午8:05" and the like spoken in Chinese take more than a second.
    EXPECT_GT(bytes.size(), 16000 * 2);


    // --reading prints what the voice gets, and speaks nothing.
    const Result mandarin = run({u"--say"_s, u"请到银行2号窗口，[[A-3]]"_s, u"--reading"_s});
    EXPECT_EQ(mandarin.exitCode, 0) << mandarin.err.toStdString();
    EXPECT_EQ(mandarin.out, u"qing3 dao4 yin2 hang2 er4 hao4 chuang1 kou3，A-3\n");
}

// The web console's passwords, read from standard input when it is not a
// terminal: kept only as salted hashes in "[WEB]" of 【CONTROL】.ini.
TEST(WebPasswordVerb, KeepsAHashOfAPasswordLongEnoughAndRefusesTheRest)
{
    tav::test::DataFolder d;
    d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n播音=1\n"_s);
    struct Case
    {
        QStringList extra;
        QByteArray input;
        int exitCode;
        QString said;
    } cases[] = {
        {{}, "short\n", 1, u"密码至少要 6 个字符"_s},
        {{}, "station-secret\n", 0, u"已设置管理密码"_s},
        {{u"--viewer"_s}, "viewer-secret\r\n", 0, u"已设置只读用户密码"_s},
    };
    for (const Case &c : cases) {
        const Result r = run(QStringList{u"--web-password"_s, u"--data-dir"_s, d.path()} + c.extra, c.input);
        EXPECT_EQ(r.exitCode, c.exitCode) << c.input.constData();
        const QString said = r.out + r.err;
        EXPECT_TRUE(said.contains(c.said)) << said.toStdString();
    }
    const QString control = d.text(u"【CONTROL】.ini"_s);
    EXPECT_TRUE(control.contains(u"播音=1"_s)); // the rest of the file stays
    EXPECT_TRUE(control.contains(u"ManagerPassword=pbkdf2-sha256$"_s)) << control.toStdString();
    EXPECT_TRUE(control.contains(u"ViewerPassword=pbkdf2-sha256$"_s));
    EXPECT_FALSE(control.contains(u"station-secret"_s));
}
