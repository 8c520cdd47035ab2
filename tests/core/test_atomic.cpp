#include "core/atomicfile.h"
#include "core/ini.h"
#include "fakes/fakes.h"

#include <QDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// A writer killed at a random moment of its save leaves the old file or the
// new one, never a truncated or mixed one, and no stray temporary is read.
TEST(AtomicWrite, KilledWriterLeavesOldOrNewFile)
{
    tav::test::DataFolder d;
    const QString path = d.file(u"【SONG】.ini"_s);
    QByteArray versions[2];
    for (int v = 0; v < 2; ++v) {
        tav::IniDocument doc;
        for (int i = 1; i <= 400; ++i)
            doc.setValue(u"FileInfo%1"_s.arg(i), u"Name"_s, u"版本%1任务%2"_s.arg(v).arg(i));
        versions[v] = doc.toBytes();
    }
    ASSERT_TRUE(tav::writeFileAtomically(path, versions[0]));

    for (int round = 0; round < 40; ++round) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int i = 0;; ++i)
                tav::writeFileAtomically(path, versions[i % 2]);
        }
        ::usleep(useconds_t(2000 + (round * 3917) % 20000));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        QByteArray now;
        ASSERT_TRUE(tav::readWholeFile(path, &now));
        ASSERT_TRUE(now == versions[0] || now == versions[1]) << "round " << round << ": " << now.size() << " bytes";
    }
    // Killed writers may leave temporaries beside the file; they are never the file.
    for (const QString &name : QDir(d.path()).entryList(QDir::Files))
        EXPECT_TRUE(name == u"【SONG】.ini" || name.startsWith(u"【SONG】.ini.tmp-")) << name.toStdString();
}
