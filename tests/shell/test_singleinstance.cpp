#include "shell/singleinstance.h"

#include <QCoreApplication>
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

// That one holder per folder whatever the path's spelling (a link, a
// trailing slash, "..") wins, and that a killed one leaves no lock, is caught
// with the real program by Headless.ExactlyOneOfManySimultaneousStartsRuns...
// Here: the lock is told, and a link in the lock file's place is not followed.
TEST(SingleInstanceLock, IsToldAndALinkInItsPlaceIsNotFollowed)
{
    QTemporaryDir place;
    auto holder = std::make_unique<SingleInstance>();
    ASSERT_TRUE(holder->lock(place.path())) << holder->errorString().toStdString();
    SingleInstance other;
    EXPECT_FALSE(other.lock(place.path() + u"/"_s));
    EXPECT_TRUE(other.heldElsewhere());
    EXPECT_TRUE(SingleInstance::isLocked(place.path()));
    holder.reset();
    EXPECT_FALSE(SingleInstance::isLocked(place.path()));

    QTemporaryDir trap;
    const QString outside = trap.filePath(u"outside"_s);
    ASSERT_TRUE(QFile::link(outside, trap.filePath(SingleInstance::kLockName)));
    SingleInstance trapped;
    EXPECT_FALSE(trapped.lock(trap.path()));
    EXPECT_FALSE(trapped.heldElsewhere());
    EXPECT_FALSE(trapped.errorString().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(outside));
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
