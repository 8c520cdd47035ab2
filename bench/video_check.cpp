// Plays a video in the player window under a real display (Xvfb will do),
// grabs the window, goes full screen and grabs again. Not a unit test:
// scripts/video-check.sh runs it and the pictures are looked at.
//
//   video_check FILE OUTDIR [--hold SECONDS] [--width W --height H] [--no-full]
//               [--background PICTURE]
//
// The background picture stands in for the data folder's Vbg.jpg; the last
// grab is of the window once the item is stopped. Prints the PNG paths, then
// mpv's frame drop counts.

#include "core/datadir.h"
#include "core/settings.h"
#include "platform/mpvplayer.h"
#include "platform/prompt.h"
#include "playback/frmfullmv.h"
#include "playback/frmplay.h"
#include "playback/mpvvideowidget.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

int fail(const QString &why)
{
    std::fprintf(stderr, "video_check: %s\n", qUtf8Printable(why));
    return 1;
}

bool waitFor(const std::function<bool()> &done, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > milliseconds)
            return false;
        QTest::qWait(20);
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    // The video widget changes windows; its GL context must survive that.
    QApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    std::setlocale(LC_NUMERIC, "C");

    QStringList args = app.arguments().mid(1);
    int hold = 2;
    int width = 640;
    int height = 360;
    bool goFull = true;
    QString background;
    QStringList rest;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &a = args.at(i);
        if (a == u"--hold" && i + 1 < args.size())
            hold = args.at(++i).toInt();
        else if (a == u"--width" && i + 1 < args.size())
            width = args.at(++i).toInt();
        else if (a == u"--height" && i + 1 < args.size())
            height = args.at(++i).toInt();
        else if (a == u"--background" && i + 1 < args.size())
            background = args.at(++i);
        else if (a == u"--no-full")
            goFull = false;
        else
            rest.append(a);
    }
    if (rest.size() != 2 || hold <= 0 || width <= 0 || height <= 0)
        return fail(u"usage: video_check FILE OUTDIR [--hold SECONDS] [--width W --height H] [--no-full]"
                    " [--background PICTURE]"_s);
    const QString file = QFileInfo(rest.at(0)).absoluteFilePath();
    const QString outDir = rest.at(1);
    if (!QFileInfo::exists(file))
        return fail(u"no such file: %1"_s.arg(file));
    QDir().mkpath(outDir);

    QTemporaryDir data;
    tav::DataDir dir(data.path());
    if (!background.isEmpty() && !QFile::copy(background, dir.file(u"Vbg.jpg"_s)))
        return fail(u"cannot copy the background picture %1"_s.arg(background));
    tav::Settings settings(dir);
    settings.load();
    settings.setText(tav::Setting::PlayHeight, QString::number(height));
    settings.setText(tav::Setting::PlayWidth, QString::number(width));
    settings.setText(tav::Setting::PlayTop, u"0"_s);
    settings.setText(tav::Setting::PlayLeft, u"0"_s);

    tav::MpvPlayer player({u"vo=libmpv"_s, u"ao=null"_s});
    if (!player.isValid())
        return fail(player.errorString());
    tav::frmPlay play(settings, dir, &player);
    tav::HeadlessPrompt prompt;
    tav::frmFullMV full(play, prompt);
    play.show();
    if (!waitFor([&] { return play.video()->isRendering() || !play.video()->errorString().isEmpty(); }, 5000))
        return fail(u"the video widget never got an OpenGL context"_s);
    if (!play.video()->isRendering())
        return fail(play.video()->errorString());

    bool started = false;
    QObject::connect(&player, &tav::MediaPlayer::mediaStarted, [&] { started = true; });
    player.open(file);
    if (!waitFor([&] { return started; }, 10000))
        return fail(u"the video did not start"_s);
    QTest::qWait(hold * 1000);

    const QString windowShot = QDir(outDir).filePath(u"frmplay.png"_s);
    if (!play.grab().save(windowShot))
        return fail(u"cannot write %1"_s.arg(windowShot));
    std::printf("%s\n", qUtf8Printable(windowShot));

    if (goFull) {
        full.showFull();
        QTest::qWait(1000);
        const QString fullShot = QDir(outDir).filePath(u"frmfullmv.png"_s);
        if (!full.grab().save(fullShot))
            return fail(u"cannot write %1"_s.arg(fullShot));
        std::printf("%s\n", qUtf8Printable(fullShot));
        full.leaveFull();
        QTest::qWait(500);
        const QString backShot = QDir(outDir).filePath(u"frmplay-after.png"_s);
        if (!play.grab().save(backShot))
            return fail(u"cannot write %1"_s.arg(backShot));
        std::printf("%s\n", qUtf8Printable(backShot));
    }
    std::printf("frame-drop-count=%s decoder-frame-drop-count=%s rendering=%d\n",
                qUtf8Printable(player.propertyText(u"frame-drop-count"_s)),
                qUtf8Printable(player.propertyText(u"decoder-frame-drop-count"_s)),
                play.video()->isRendering() ? 1 : 0);
    std::fflush(stdout);
    player.stop();
    if (goFull) {
        QTest::qWait(500);
        const QString idleShot = QDir(outDir).filePath(u"frmplay-idle.png"_s);
        if (!play.grab().save(idleShot))
            return fail(u"cannot write %1"_s.arg(idleShot));
        std::printf("%s\n", qUtf8Printable(idleShot));
    }
    return 0;
}
