#include "fakes/fakes.h"
#include "platform/shutdown.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// The system command is run directly, found on PATH: a stand-in records it.
TEST(SystemShutdown, RunsShutdownInOneMinuteAndCancelsIt)
{
    tav::test::DataFolder d;
    QFile fake(d.file(u"shutdown"_s));
    ASSERT_TRUE(fake.open(QIODevice::WriteOnly));
    fake.write("#!/bin/sh\necho \"$*\" >> \"$(dirname \"$0\")/calls\"\n[ \"$1\" != -c ] || { echo busy >&2; exit 1; }\n");
    fake.close();
    fake.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(d.path()) + ':' + oldPath);

    tav::SystemShutdown shutdown;
    QString error;
    EXPECT_TRUE(shutdown.schedule(&error));
    EXPECT_FALSE(shutdown.cancel(&error));
    EXPECT_EQ(error, u"busy"); // the command's own words reach the log
    qputenv("PATH", oldPath);
    EXPECT_EQ(d.text(u"calls"_s), u"-h +1\n-c\n");
}
