// A broadcast file of N sections, each firing every minute of the day,
// against the once-a-second clockwork. Prints, for each size, how long the
// rebuild call holds the clockwork's thread (the list is built on a worker),
// when the list is in, the longest tick over the next minute, the rows held
// and the memory the process grew by.
//
// Figures on the 2-core build machine under load (RelWithDebInfo), 2026-11-25,
// no text files (every firing fails and is logged):
//   sections  rebuild ms  list in ms  worst tick ms  rows   grew KB
//        100         0.2       138.2            1.2  20000      2148
//       1000         0.1       365.1           65.6  20000      6664
//      10000         0.2      1909.9         1411.3  20000     35708
// The worst tick is the first after the list is in, speaking the listed
// firings of the last minute (thousands here, each looked up among all
// tasks); the rebuild call itself no longer holds the clockwork (29 s before).
#include "fakes/broadcastrig.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

long residentKb()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    return -1;
}

void run(int sections)
{
    tav::test::BroadcastRig rig("2026-11-23 08:00:00");
    QString file;
    for (int i = 1; i <= sections; ++i)
        file += u"[TTS%1]\nTTS_Name=播音%1\nTTS_TimeStart=00:00:%2\nTTS_TimeEnd=23:59:59\nTTS_DateStart=2026/11/1\n"
                "TTS_DateEnd=2026/11/30\nTTS_Week=一\nTTS_Interval=1\nTTS_Switch=开\nTTS_Delay=0\nTTS_Frequency=1\n"_s
                    .arg(i)
                    .arg(i % 60, 2, 10, QChar(u'0'));
    rig.d.write(u"【TTS】.ini"_s, file);
    const long before = residentKb();
    QElapsedTimer t;
    t.start();
    rig.scheduler.setEnabled(true);
    const double callMs = t.nsecsElapsed() / 1e6;
    if (!rig.built())
        std::printf("%8d  list never came in\n", sections);
    const double inMs = t.nsecsElapsed() / 1e6;
    double worst = 0;
    for (int s = 0; s < 60; ++s) {
        rig.clock.advance(1);
        t.restart();
        rig.scheduler.tick();
        worst = std::max(worst, t.nsecsElapsed() / 1e6);
        QCoreApplication::processEvents();
    }
    std::printf("%8d  %12.1f  %10.1f  %12.1f  %7lld  %9ld\n", sections, callMs, inMs, worst,
                qlonglong(rig.scheduler.rows().size()), residentKb() - before);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    std::printf("sections  rebuild ms  list in ms  worst tick ms  rows  grew KB\n");
    for (const int n : {100, 1000, 10000})
        run(n);
    return 0;
}
