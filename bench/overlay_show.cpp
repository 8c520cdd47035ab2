// Shows only the station's logo and clock overlay, for a CPU measurement at
// rest: the logo of the data folder given, the clock under it, updated on
// each second of the system clock as the station does. Runs until killed,
// or for --seconds N.
#include "core/clock.h"
#include "core/datadir.h"
#include "core/secondticker.h"
#include "pictures/frmtopmost.h"
#include "pictures/logosettings.h"

#include <QApplication>
#include <QTimer>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        std::fprintf(stderr, "usage: overlay_show DATA_DIR [--seconds N]\n");
        return 2;
    }
    const tav::DataDir dir(args.at(1));
    tav::SystemClock clock;
    tav::frmTopMost overlay(dir);
    overlay.loadPictures();
    tav::ClockFont font;
    font.name = u"Noto Sans CJK SC"_s;
    font.size = 28;
    overlay.setClockFont(font);
    overlay.placeAt({100, 100});
    overlay.showTime(clock.now().time());
    overlay.setLogoShown(true);
    overlay.setClockShown(true);

    tav::SecondTicker ticker(clock);
    QObject::connect(&ticker, &tav::SecondTicker::second, &overlay,
                     [&] { overlay.showTime(clock.now().time()); });
    ticker.start();
    const int at = int(args.indexOf(u"--seconds"_s));
    if (at > 0 && at + 1 < args.size())
        QTimer::singleShot(args.at(at + 1).toInt() * 1000, &app, &QCoreApplication::quit);
    return app.exec();
}
