// How big a list file and a task file may be before a start misses its
// second. Prints, for each size, how long reading takes and how long the
// tick that starts a task with that list (or reloads that task file at
// midnight) holds the clockwork's thread.
//
// Figures on the 2-core build machine (RelWithDebInfo), 2026-11-25:
//   list items  file KB  tick ms  first item after ms
//         5000      207      6.3        6.3   read within the tick (<= 256 KB)
//        32767     1418      0.1       52.3   read on a thread from here on
//       100000     4372      0.1      156.0   (32,767 kept, the rest logged)
//       300000    13552      0.1      488.1
//   tasks   file KB  midnight tick ms  tasks read in after ms
//    2000       232        0.9            0.9
//   20000      2361        0.1          229.8
//  400000     48685        0.1         4894.6  (what fell due meanwhile starts then)
// Before, a 32,767-item list held the tick 4 s and a 50 MB task file 9 s.
// No list or task file size makes a start miss its second now; the first
// item of a list comes later the longer the list.
#include "core/ini.h"
#include "core/zhtext.h"
#include "fakes/fakes.h"
#include "scheduler/schedulerfixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

#include <cstdio>

using tav::test::at;

namespace {

QByteArray listFile(int count)
{
    QString text = u"[多媒体文件数量]\r\n数量=%1\r\n[歌曲]\r\n"_s.arg(count);
    for (int i = 0; i < count; ++i)
        text += u"歌曲名称%1=/srv/media/节目/第%1集.mp3\r\n"_s.arg(i);
    return tav::toGbk(text);
}

QByteArray songFile(int tasks)
{
    QString text;
    for (int i = 1; i <= tasks; ++i)
        text += u"[FileInfo%1]\r\nName=定时任务%1\r\nTime=%2\r\nDuration=%3\r\nType=50000\r\nDevice=每天\r\n"
                "Recurrence=循环\r\nRemind=开\r\n"_s.arg(i)
                    .arg(tav::zh::timeText(3600 + i % 80000), tav::zh::timeText(3600 + i % 80000 + 30));
    return tav::toGbk(text);
}

using Station = SchedulerRig;

double msSince(const QElapsedTimer &t)
{
    return double(t.nsecsElapsed()) / 1e6;
}

void lists()
{
    std::printf("list items  file KB  re-read ms  tick ms  first item after ms\n");
    for (int count : {1000, 5000, 10000, 32767, 100000, 300000}) {
        Station s;
        s.d.writeBytes(u"【SONG】.ini"_s, tav::toGbk(u"[FileInfo1]\r\nName=大列表\r\nTime=9:00:00\r\nDuration=9:30:00\r\n"
                                                   "Type=50000\r\nDevice=每天\r\nRecurrence=循环\r\nRemind=开\r\n"_s));
        const QByteArray bytes = listFile(count);
        s.d.writeBytes(u"大列表.ini"_s, bytes);
        s.settings.load();
        s.scheduler.startDay();
        s.clock.set(at("2026-11-23 09:00:00"));
        QElapsedTimer tick;
        tick.start();
        s.scheduler.onSecond();
        const double tickMs = msSince(tick);
        if (!QTest::qWaitFor([&] { return !s.player.opened.isEmpty(); }, 60000))
            std::printf("the first item never came\n");
        const double firstItemMs = msSince(tick);
        QElapsedTimer read; // again, now from the parsed-file cache for files up to 1 MB
        read.start();
        const int items = int(tav::TaskStore::readMediaList(s.dir, u"大列表"_s).size());
        const double readMs = msSince(read);
        std::printf("%10d %8lld %11.1f %8.1f %10.1f  (%d items kept)\n", count, qint64(bytes.size() / 1024), readMs,
                    tickMs, firstItemMs, items);
    }
}

void songs()
{
    std::printf("\ntasks  file KB  midnight tick ms  read in after ms\n");
    for (int tasks : {200, 2000, 20000, 100000, 400000}) {
        Station s;
        const QByteArray bytes = songFile(tasks);
        s.d.writeBytes(u"【SONG】.ini"_s, bytes);
        s.clock.set(at("2026-11-23 23:59:59"));
        s.settings.load();
        s.scheduler.startDay();
        s.scheduler.onSecond();
        s.clock.set(at("2026-11-24 00:00:00"));
        QElapsedTimer tick;
        tick.start();
        s.scheduler.onSecond();
        const double tickMs = msSince(tick);
        if (!QTest::qWaitFor([&] { return s.store.listDate() == QDate(2026, 11, 24); }, 120000))
            std::printf("the new day's tasks never came\n");
        std::printf("%6d %8lld %10.1f %12.1f  (%lld tasks listed)\n", tasks, qint64(bytes.size() / 1024), tickMs,
                    msSince(tick), qint64(s.store.rows().size()));
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    lists();
    songs();
    return 0;
}
