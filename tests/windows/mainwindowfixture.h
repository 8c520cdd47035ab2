#pragma once

#include "playback/frmplay.h"
#include "shell/autostart.h"
#include "shell/mainform1.h"
#include "shell/station.h"
#include "core/ini.h"
#include "widgets.h"

// The console on a Monday morning, on a temporary data folder.
class MainWindowTest : public ::testing::Test, protected tav::test::StationFakes, protected tav::test::BroadcastFakes,
                       public tav::test::WindowDriver
{
protected:
    MainWindowTest() : StationFakes("2026-11-23 10:00:00") {}
    tav::test::FakeClockSetter setter; // given to the station by the tests that synchronise
    bool withBroadcasts = false; // the station gets its broadcast players and voice
    tav::test::DataFolder autostartDir;
    tav::AutoStart autoStart{autostartDir.path()};
    std::unique_ptr<tav::Station> station;
    std::unique_ptr<tav::frmPlay> video; // the player window, when a test asks for one
    std::unique_ptr<tav::MainForm1> window;

    // Starts (or restarts) the program on the folder, with its player window or without.
    void start(bool withVideo = false)
    {
        window.reset();
        video.reset();
        station = std::make_unique<tav::Station>(d.path(), player, prompt, clock, shutdown);
        if (withBroadcasts)
            station->setBroadcastDevices(broadcastPlayer, voicePlayer, synth);
        if (withVideo)
            video = std::make_unique<tav::frmPlay>(station->settings(), station->dataDir(), nullptr);
        window = std::make_unique<tav::MainForm1>(*station, autoStart, video.get());
        window->startUp();
    }
    const QObject *root() const override { return window.get(); }
    QStringList gridNames() const { return tav::test::texts(get<QTableWidget>("MSHFlexGrid1"), 1); }
    void selectTask(const QString &name)
    {
        auto *grid = get<QTableWidget>("MSHFlexGrid1");
        for (int r = 0; r < grid->rowCount(); ++r)
            if (grid->item(r, 1)->text() == name)
                grid->setCurrentCell(r, 1);
    }
    // A task with its media list; tasks accumulate in 【SONG】.ini.
    void addTask(const QString &name, const QString &start, const QString &end, const QStringList &media = {},
                 const QString &days = u"每天"_s, const QString &volume = u"50000"_s)
    {
        songs += tav::test::taskSection(++taskCount, {.name = name, .start = start, .end = end, .days = days,
                                                      .volume = volume, .order = u"顺序"_s});
        d.write(u"【SONG】.ini"_s, songs);
        d.write(name + u".ini"_s, tav::test::mediaList(media));
    }
    // Runs the once-a-second work as the real ticker does: `count` seconds one
    // after another, the first at `from`.
    void tickRun(const char *from, int count)
    {
        for (int s = 0; s < count; ++s) {
            clock.set(at(from).addSecs(s));
            emit station->ticker().second();
        }
    }
    void tickAt(const char *when) { tickRun(when, 1); }
    QString control(const QString &section, const QString &key) const
    {
        return tav::IniFile(d.file(u"【CONTROL】.ini"_s)).value(section, key);
    }
    QString songs;
    int taskCount = 0;
};
