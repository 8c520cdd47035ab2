#include "fakes/fakes.h"
#include "platform/loadertables.h"

#include <QLibrary>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// This program carries Qt's and the media engine's libraries: megabytes of
// loading tables leave the resident set, and the program goes on finding
// symbols, for a library loaded now as for functions bound later.
TEST(LoaderTables, LeaveTheResidentSetAndSymbolsAreStillFound)
{
    const qint64 before = tav::test::residentKb();
    ASSERT_GT(before, 0);
    const qint64 released = tav::releaseLoaderTables();
    const qint64 after = tav::test::residentKb();
    EXPECT_GT(released, 4 << 20);
    EXPECT_LT(after, before - 2048) << before << " kB before, " << after << " kB after";

    QLibrary zlib(u"z"_s, 1);
    ASSERT_TRUE(zlib.load()) << zlib.errorString().toStdString();
    const auto version = reinterpret_cast<const char *(*)()>(zlib.resolve("zlibVersion"));
    ASSERT_NE(version, nullptr);
    EXPECT_TRUE(QByteArray(version()).startsWith('1'));
}
