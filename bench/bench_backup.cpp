// Target: backing up a data folder of 2,000 files takes at most twice as long
// as `cp -r` of the same folder, and shows its progress throughout (no gap
// between two progress reports longer than a tenth of the run).
// Both are measured in this run, alternately, and compared as a ratio.
#include "backup/filebackup.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int kFiles = 2000;
constexpr int kRounds = 5;

// A station with many lists: task files of 0.5 to 8 KB in 40 folders,
// text files beside them, and media that is not copied.
void makeStation(const QString &root)
{
    for (int i = 0; i < kFiles; ++i) {
        const QString dir = root + (i < 40 ? QString() : u"/分组%1"_s.arg(i % 40));
        QDir().mkpath(dir);
        QFile f(dir + (i % 4 == 0 ? u"/字幕%1.txt"_s : u"/任务%1.ini"_s).arg(i));
        f.open(QIODevice::WriteOnly);
        f.write(QByteArray(512 + (i * 37) % 7680, char('a' + i % 26)));
    }
    QFile media(root + u"/media.mp3"_s);
    media.open(QIODevice::WriteOnly);
    media.write(QByteArray(4 << 20, 'm'));
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir work;
    const QString station = work.filePath(u"station"_s);
    makeStation(station);
    // cp copies the media too; the same data files alone are the fair measure.
    QFile::remove(station + u"/media.mp3"_s);

    std::vector<double> cp, ours, maxGapShare;
    int reports = 0;
    const auto runCp = [&](int round) {
        QElapsedTimer t;
        t.start();
        if (QProcess::execute(u"cp"_s, {u"-r"_s, station, work.filePath(u"cp%1"_s.arg(round))}) != 0)
            return false;
        cp.push_back(t.nsecsElapsed() / 1e6);
        return true;
    };
    const auto runOurs = [&](int round) {
        const QString target = work.filePath(u"backup%1"_s.arg(round));
        QDir().mkpath(target);
        std::vector<qint64> stamps;
        QElapsedTimer t;
        t.start();
        const tav::FileBackup::CopyResult result = tav::FileBackup::backup(
            station, target, [&](const QString &, int) { stamps.push_back(t.nsecsElapsed()); });
        const double ms = t.nsecsElapsed() / 1e6;
        ours.push_back(ms);
        qint64 last = 0, gap = 0;
        for (const qint64 s : stamps) {
            gap = std::max(gap, s - last);
            last = s;
        }
        gap = std::max(gap, qint64(ms * 1e6) - last);
        maxGapShare.push_back(gap / 1e6 / ms);
        reports = int(stamps.size());
        return result.copied == kFiles && result.failed.isEmpty();
    };
    // Alternately first: the file system's state favours neither.
    for (int round = 0; round < kRounds; ++round) {
        const bool ok = round % 2 ? runOurs(round) && runCp(round) : runCp(round) && runOurs(round);
        if (!ok) {
            std::fprintf(stderr, "round %d: a copy failed\n", round);
            return 1;
        }
        std::printf("round %d: cp -r %.1f ms, backup %.1f ms\n", round, cp.back(), ours.back());
    }
    const double ratio = median(ours) / median(cp);
    const double gapShare = median(maxGapShare);
    std::printf("files                 %d\n", kFiles);
    std::printf("cp -r (median)        %.1f ms\n", median(cp));
    std::printf("backup (median)       %.1f ms\n", median(ours));
    std::printf("ratio                 %.2f  (target <= 2.00)\n", ratio);
    std::printf("progress reports      %d, longest gap %.1f%% of the run (target <= 10%%)\n", reports,
                gapShare * 100);
    return ratio <= 2.0 && gapShare <= 0.10 ? 0 : 2;
}
