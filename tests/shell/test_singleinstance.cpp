#include "shell/singleinstance.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
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

// One entry of a /proc look-alike: a "comm" file and, when given, an "exe" link.
void addProcess(const QTemporaryDir &proc, const QString &pid, const QByteArray &comm, const QString &exe = {})
{
    ASSERT_TRUE(QDir().mkpath(proc.filePath(pid)));
    QFile file(proc.filePath(pid + u"/comm"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(comm + '\n') > 0);
    ASSERT_TRUE(exe.isEmpty() || QFile::link(exe, proc.filePath(pid + u"/exe"_s)));
}

} // namespace

TEST(SingleInstanceCount, CountsByExecutableNameWithTheShortenedCommAsFallback)
{
    QTemporaryDir proc;
    addProcess(proc, u"100"_s, "tavplayer");                                       // link unreadable: comm
    addProcess(proc, u"200"_s, "renamed", u"/opt/站/tavplayer"_s);                 // the link wins over comm
    addProcess(proc, u"300"_s, "tavplayer", u"/usr/bin/tavplayer (deleted)"_s);    // updated while running
    addProcess(proc, u"400"_s, "tavplayer2", u"/usr/bin/tavplayer2"_s);
    addProcess(proc, u"self"_s, "tavplayer");                                      // not a process number
    addProcess(proc, u"500"_s, "tavplayer-stati");                                 // the kernel keeps 15 bytes
    EXPECT_EQ(SingleInstance::countProcesses(u"tavplayer"_s, proc.path()), 3);
    EXPECT_EQ(SingleInstance::countProcesses(u"tavplayer-station"_s, proc.path()), 1);
    EXPECT_GE(SingleInstance::countProcesses(QFileInfo(QCoreApplication::applicationFilePath()).fileName()), 1);
}

TEST(SingleInstanceServer, OneCopyOwnsTheSocketUntilItIsGone)
{
    QTemporaryDir dir;
    const QString name = dir.filePath(u"station.sock"_s);
    sockaddr_un addr{AF_UNIX, {}}; // a socket file left by a copy that crashed
    qstrncpy(addr.sun_path, QFile::encodeName(name).constData(), sizeof addr.sun_path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
    ::close(fd);
    EXPECT_FALSE(SingleInstance::activateRunning(name, 200));

    auto first = std::make_unique<SingleInstance>();
    ASSERT_TRUE(first->listen(name)) << first->errorString().toStdString();
    QSignalSpy spy(first.get(), &SingleInstance::activationRequested);
    SingleInstance second;
    EXPECT_FALSE(second.listen(name));
    EXPECT_TRUE(SingleInstance::activateRunning(name)); // the refused copy left the first reachable
    ASSERT_TRUE(spy.wait(3000));
    QTest::qWait(100);
    EXPECT_EQ(spy.count(), 1);
    first.reset();
    EXPECT_TRUE(second.listen(name)) << second.errorString().toStdString();
}
