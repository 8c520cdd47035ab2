// One caption running across the screen: how much CPU it costs and how
// evenly it moves. Prints the frame steps' mean, standard deviation and
// largest deviation from MOVE × frame interval / JUMP, and the CPU time of
// this process over the run. Run on a display (bench/caption_strip.py
// starts Xvfb at 1920x1080 and adds the X server's own CPU).
//
// usage: bench_captions [seconds=10] [MOVE=2] [JUMP=20] [timer|requests]
#include "captions/captionbook.h"
#include "captions/captionscroller.h"
#include "captions/captionstrip.h"
#include "core/clock.h"
#include "core/datadir.h"
#include "core/messagelog.h"
#include "core/settings.h"

#include <QApplication>
#include <QScreen>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/resource.h>

#include <cmath>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

double cpuSeconds()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

struct Frame
{
    qint64 ns;
    int x;
};

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const double seconds = argc > 1 ? std::atof(argv[1]) : 10.0;
    const int move = argc > 2 ? std::atoi(argv[2]) : 2;
    const int jump = argc > 3 ? std::atoi(argv[3]) : 20;
    const bool requests = argc > 4 && QByteArray(argv[4]) == "requests";

    QTemporaryDir folder;
    tav::DataDir dir(folder.path());
    tav::SystemClock clock;
    tav::MessageLog log(dir.playLog(), clock);
    tav::Settings settings(dir);
    tav::CaptionBook book(dir, log, clock);
    tav::CaptionSettings s;
    s.move = move;
    s.jump = jump;
    s.y = 900;
    s.fontSize = 30;
    book.saveSettings(s);
    book.add({u"08:00:00"_s, u"22:00:00"_s, u"开"_s,
              u"欢迎光临 —— 本店今日全场八折，营业时间 9:00 至 21:00，欢迎惠顾！"_s});
    tav::CaptionScroller scroller(clock, settings, book);
    tav::CaptionStrip strip(scroller, book, settings, log, clock);
    if (requests)
        strip.setPacing(tav::CaptionStrip::Pacing::UpdateRequests);

    std::vector<Frame> frames;
    frames.reserve(100000);
    bool measuring = false;
    QObject::connect(&strip, &tav::CaptionStrip::framePainted, [&](qint64 ns, int x) {
        if (measuring)
            frames.push_back({ns, x});
    });
    scroller.playMode();
    double cpuStart = 0;
    // A second to settle (the window maps, the fonts load), then measure.
    QTimer::singleShot(1000, [&] {
        measuring = true;
        cpuStart = cpuSeconds();
    });
    QTimer::singleShot(int(1000 + seconds * 1000), [&] { app.quit(); });
    app.exec();
    const double cpu = cpuSeconds() - cpuStart;

    // Steps between frames; a wrap back to the right edge is not a step.
    std::vector<double> steps, deviations, intervals;
    for (size_t i = 1; i < frames.size(); ++i) {
        const int step = frames[i - 1].x - frames[i].x;
        if (step < 0)
            continue;
        const double ms = double(frames[i].ns - frames[i - 1].ns) / 1e6;
        steps.push_back(step);
        intervals.push_back(ms);
        deviations.push_back(step - double(move) * ms / double(jump));
    }
    const auto mean = [](const std::vector<double> &v) {
        double sum = 0;
        for (double d : v)
            sum += d;
        return v.empty() ? 0.0 : sum / double(v.size());
    };
    const auto stddev = [&](const std::vector<double> &v) {
        const double m = mean(v);
        double sum = 0;
        for (double d : v)
            sum += (d - m) * (d - m);
        return v.empty() ? 0.0 : std::sqrt(sum / double(v.size()));
    };
    double worst = 0;
    for (double d : deviations)
        worst = std::max(worst, std::abs(d));
    double longest = 0;
    for (double d : intervals)
        longest = std::max(longest, d);
    const double nominal = strip.framePeriod();
    std::printf("screen %dx%d refresh %.1f Hz, MOVE %d JUMP %d, paced by %s\n",
                strip.screen()->geometry().width(), strip.screen()->geometry().height(),
                strip.screen()->refreshRate(), move, jump,
                requests ? "update requests" : qPrintable(u"a timer at every %1 ms"_s.arg(strip.framePeriod(), 0, 'f', 3)));
    std::printf("frames %zu in %.1f s (%.1f fps), interval mean %.2f ms sd %.2f max %.2f\n", frames.size(),
                seconds, double(frames.size()) / seconds, mean(intervals), stddev(intervals), longest);
    std::printf("step mean %.3f px (ideal %.3f at the nominal interval), sd %.3f px, "
                "max |step - MOVE*interval/JUMP| %.3f px\n",
                mean(steps), double(move) * nominal / double(jump), stddev(steps), worst);
    std::printf("cpu %.2f %% of a core (this process)\n", 100.0 * cpu / seconds);
    return frames.empty() ? 1 : 0;
}
