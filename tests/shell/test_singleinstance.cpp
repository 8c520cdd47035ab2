#include "shell/singleinstance.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using tav::SingleInstance;

namespace {

// A /proc look-alike: numbered folders with a "comm" file and/or an "exe" link.
class FakeProc
{
public:
    void process(const QString &pid, const QString &comm, const QString &exeTarget = QString())
    {
        const QString folder = m_dir.filePath(pid);
        ASSERT_TRUE(QDir().mkpath(folder));
        if (!comm.isNull()) {
            QFile file(folder + u"/comm"_s);
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(comm.toUtf8() + '\n');
        }
        if (!exeTarget.isEmpty()) {
            ASSERT_TRUE(QFile::link(exeTarget, folder + u"/exe"_s));
        }
    }
    QString root() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

// Leaves a socket file behind with no one listening, as a crashed copy does.
bool makeStaleSocket(const QString &path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    if (size_t(name.size()) >= sizeof addr.sun_path) {
        ::close(fd);
        return false;
    }
    std::copy(name.begin(), name.end(), addr.sun_path);
    const bool ok = ::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 && ::listen(fd, 1) == 0;
    ::close(fd);
    return ok && QFileInfo::exists(path);
}

} // namespace

TEST(SingleInstanceCount, CountsByExecutableNameWithCommAsFallback)
{
    FakeProc proc;
    proc.process(u"1"_s, u"systemd"_s);
    proc.process(u"100"_s, u"tavplayer"_s);                           // link unreadable: comm
    proc.process(u"200"_s, u"renamed"_s, u"/opt/站/tavplayer"_s);     // the link wins over comm
    proc.process(u"300"_s, u"tavplayer"_s, u"/usr/bin/tavplayer (deleted)"_s);
    proc.process(u"400"_s, u"tavplayer"_s, u"/usr/bin/tavplayer2"_s);
    proc.process(u"500"_s, QString());                                // nothing readable
    proc.process(u"self"_s, u"tavplayer"_s);                          // not a process number
    proc.process(u"600"_s, u"Tavplayer"_s);                           // names are case-sensitive

    EXPECT_EQ(SingleInstance::countProcesses(u"tavplayer"_s, proc.root()), 3);
    EXPECT_EQ(SingleInstance::countProcesses(u"tavplayer2"_s, proc.root()), 1);
    EXPECT_EQ(SingleInstance::countProcesses(u"renamed"_s, proc.root()), 0);
    EXPECT_EQ(SingleInstance::countProcesses(QString(), proc.root()), 0);
    EXPECT_EQ(SingleInstance::countProcesses(u"tavplayer"_s, proc.root() + u"/missing"_s), 0);
}

TEST(SingleInstanceCount, LongNamesMatchTheKernelsShortenedComm)
{
    FakeProc proc;
    proc.process(u"10"_s, u"tavplayer-stati"_s); // "tavplayer-station" cut to 15 bytes
    proc.process(u"11"_s, u"tavplayer-stat"_s);
    EXPECT_EQ(SingleInstance::countProcesses(u"tavplayer-station"_s, proc.root()), 1);
}

TEST(SingleInstanceCount, FindsThisVeryProcess)
{
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    EXPECT_GE(SingleInstance::countProcesses(self), 1);
}

TEST(SingleInstanceName, OneNamePerUserAndDataFolder)
{
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkdir(u"a"_s) && QDir(dir.path()).mkdir(u"b"_s));
    const QString a = SingleInstance::serverNameFor(dir.filePath(u"a"_s));
    EXPECT_EQ(a, SingleInstance::serverNameFor(dir.filePath(u"b/../a/"_s)));
    EXPECT_NE(a, SingleInstance::serverNameFor(dir.filePath(u"b"_s)));
    EXPECT_TRUE(a.contains(u"-%1-"_s.arg(::getuid()))) << a.toStdString();
}

class SingleInstanceServer : public ::testing::Test
{
protected:
    QTemporaryDir dir;
    QString name = dir.filePath(u"station.sock"_s);
};

TEST_F(SingleInstanceServer, ShowRequestBringsTheRunningCopyForward)
{
    SingleInstance running;
    ASSERT_TRUE(running.listen(name)) << running.errorString().toStdString();
    QSignalSpy spy(&running, &SingleInstance::activationRequested);

    // Something else talking to the socket is ignored.
    QLocalSocket stranger;
    stranger.connectToServer(name);
    ASSERT_TRUE(stranger.waitForConnected(1000));
    stranger.write("hello\n");
    stranger.flush();

    EXPECT_TRUE(SingleInstance::activateRunning(name));
    ASSERT_TRUE(spy.wait(3000));
    EXPECT_TRUE(SingleInstance::activateRunning(name));
    ASSERT_TRUE(spy.wait(3000));
    QTest::qWait(200);
    EXPECT_EQ(spy.count(), 2);
}

TEST_F(SingleInstanceServer, NoRunningCopyMeansNoActivation)
{
    EXPECT_FALSE(SingleInstance::activateRunning(name, 200));
}

TEST_F(SingleInstanceServer, SecondListenerIsRefusedWhileTheFirstLives)
{
    auto first = std::make_unique<SingleInstance>();
    ASSERT_TRUE(first->listen(name));
    QSignalSpy spy(first.get(), &SingleInstance::activationRequested);

    SingleInstance second;
    EXPECT_FALSE(second.listen(name));
    EXPECT_FALSE(second.isListening());
    EXPECT_FALSE(second.errorString().isEmpty());

    // The refused attempt left the first copy reachable.
    EXPECT_TRUE(SingleInstance::activateRunning(name));
    EXPECT_TRUE(spy.wait(3000));

    first.reset();
    EXPECT_TRUE(second.listen(name)) << second.errorString().toStdString();
}

TEST_F(SingleInstanceServer, SocketLeftByACrashedCopyIsTakenOver)
{
    ASSERT_TRUE(makeStaleSocket(name));
    EXPECT_FALSE(SingleInstance::activateRunning(name, 200));

    SingleInstance restarted;
    ASSERT_TRUE(restarted.listen(name)) << restarted.errorString().toStdString();
    QSignalSpy spy(&restarted, &SingleInstance::activationRequested);
    EXPECT_TRUE(SingleInstance::activateRunning(name));
    EXPECT_TRUE(spy.wait(3000));
}
