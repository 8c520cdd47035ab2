// Targets: the slideshow switches within 50 ms of its interval on the real
// timer (p50/p95 of the lateness), and reading a 50-megapixel picture for the
// panel holds up neither the switches nor the event loop that runs the
// clockwork. Usage: bench_slideshow [switches] (default 40, 1 s apart).
#include "core/clock.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "fakes/fakes.h"
#include "pictures/picturepanel.h"
#include "pictures/slideshow.h"
#include "playback/playbackcontroller.h"
#include "scheduler/taskstore.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

double percentile(QList<double> values, double p)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    return values.at(qMin(values.size() - 1, qsizetype(p * double(values.size() - 1) + 0.5)));
}

QString writePicture(const QString &path, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    for (int y = 0; y < size.height(); y += 256)
        for (int x = 0; x < size.width(); x += 256)
            painter.fillRect(x, y, 256, 256, QColor::fromHsv((x / 256 * 37 + y / 256 * 11) % 360, 200, 220));
    painter.end();
    // Grain, so it compresses like a photograph rather than flat colour.
    quint32 seed = 12345;
    for (int y = 0; y < size.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int n = int(seed >> 27) - 16;
            const QRgb p = line[x];
            line[x] = qRgb(qBound(0, qRed(p) + n, 255), qBound(0, qGreen(p) + n, 255), qBound(0, qBlue(p) + n, 255));
        }
    }
    image.save(path, "JPG", 90);
    return path;
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int switches = argc > 1 ? std::max(4, atoi(argv[1])) : 40;

    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    QElapsedTimer made;
    made.start();
    const QString big = writePicture(d.file(u"50mp.jpg"_s), {8660, 5773});
    const QString small = writePicture(d.file(u"small.jpg"_s), {1280, 720});
    std::printf("pictures written: 8660x5773 (%.1f MB) and 1280x720 in %lld ms\n",
                QFileInfo(big).size() / 1e6, made.elapsed());

    tav::SystemClock clock;
    tav::test::FakePlayer player;
    tav::Settings settings{dir};
    tav::MessageLog log{dir.playLog(), clock};
    tav::PlaybackController playback{player, settings, log, clock};
    tav::Slideshow show{clock, dir, playback, log};
    show.setDisplay(true);
    tav::PicturePanel panel;
    panel.resize(1920, 1080);
    QObject::connect(&show, &tav::Slideshow::pictureChanged, &panel, &tav::PicturePanel::showPicture);
    QObject::connect(&panel, &tav::PicturePanel::failed, &show, &tav::Slideshow::pictureFailed);

    // Lateness of each switch against the time it was due.
    QList<double> lateness, decodeMs;
    QDateTime due;
    QElapsedTimer sinceSwitch;
    QString asked;
    QObject::connect(&show, &tav::Slideshow::pictureChanged, [&](const QString &path) {
        const QDateTime now = clock.now();
        if (due.isValid())
            lateness.append(double(due.msecsTo(now)));
        due = show.nextSwitchAt();
        asked = path;
        sinceSwitch.start();
        if (lateness.size() >= switches)
            QTimer::singleShot(0, &app, &QCoreApplication::quit);
    });
    QObject::connect(&panel, &tav::PicturePanel::shown, [&](const QString &path) {
        if (path == big)
            decodeMs.append(double(sinceSwitch.elapsed()));
    });
    // The event loop's own heartbeat: the longest gap says how long it was held up.
    QElapsedTimer beat;
    beat.start();
    qint64 lastBeat = 0, worstGap = 0;
    QTimer heart;
    heart.setTimerType(Qt::PreciseTimer);
    heart.setInterval(10);
    QObject::connect(&heart, &QTimer::timeout, [&] {
        const qint64 now = beat.elapsed();
        worstGap = std::max(worstGap, now - lastBeat);
        lastBeat = now;
    });

    // A task's pictures switch every second: the 50 MP picture every other switch.
    show.startTask(tav::PictureList{{big, small}, u"1"_s, 1});
    heart.start();
    lastBeat = beat.elapsed();
    app.exec();
    show.stop();
    panel.waitForDecode();

    std::printf("switches: %lld, 1 s apart, every other one a 8660x5773 JPEG\n", lateness.size());
    std::printf("switch lateness ms: p50 %.1f  p95 %.1f  max %.1f  (target <= 50)\n", percentile(lateness, 0.5),
                percentile(lateness, 0.95), percentile(lateness, 1.0));
    std::printf("50 MP picture on the panel after its switch, ms: p50 %.0f  max %.0f (on the worker)\n",
                percentile(decodeMs, 0.5), percentile(decodeMs, 1.0));
    std::printf("longest event-loop gap (10 ms heartbeat): %lld ms\n", worstGap);
    QElapsedTimer inline_;
    inline_.start();
    const tav::DecodedPicture same = tav::decodePicture(big, {1920, 1080});
    std::printf("the same picture read in line, for comparison: %lld ms (%dx%d)\n", inline_.elapsed(),
                same.image.width(), same.image.height());
    QImage whole;
    inline_.restart();
    const bool loaded = whole.load(big);
    std::printf("and read whole without scaling: %lld ms, %s\n", inline_.elapsed(),
                loaded ? "loaded" : "refused (beyond Qt's image allocation limit)");
    const bool ok = percentile(lateness, 0.95) <= 50 && worstGap < 100;
    std::printf("%s\n", ok ? "PASS" : "FAIL");
    return ok ? 0 : 1;
}
