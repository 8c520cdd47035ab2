#pragma once

#include "fakes/rig.h"
#include "scheduler/scheduler.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskstore.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// A station with fake player, clock, prompt and shutdown on a temporary folder.
struct SchedulerRig : tav::test::PlaybackRig
{
    SchedulerRig() : PlaybackRig("2026-11-23 08:59:58") {}
    tav::TaskStore store{dir, settings};
    tav::StopDates stopDates{dir};
    tav::Scheduler scheduler{clock, settings, store, stopDates, playback, log, shutdown, prompt};

    void addTask(int n, const QString &name, const QString &start, const QString &end,
                 const QString &volume = u"50000"_s)
    {
        songs += tav::test::taskSection(n, {.name = name, .start = start, .end = end, .volume = volume, .order = u"顺序"_s});
        d.write(u"【SONG】.ini"_s, songs);
        d.write(name + u".ini"_s, tav::test::mediaList({u"/m/%1-a.mp3"_s.arg(name), u"/m/%1-b.mp3"_s.arg(name)}));
    }
    void startAt(const char *when) { startAt(tav::test::at(when)); }
    void startAt(const QDateTime &when)
    {
        clock.set(when);
        settings.load();
        stopDates.load();
        scheduler.startDay();
    }
    // Runs the once-a-second work at each of the given seconds.
    void secondsAt(std::initializer_list<const char *> times)
    {
        for (const char *t : times) {
            clock.set(tav::test::at(t));
            scheduler.onSecond();
        }
    }
    // Times the task's first item was opened.
    qsizetype starts(const QString &task) const { return player.opened.count(u"/m/"_s + task + u"-a.mp3"_s); }
    QString songs;
};

class SchedulerTest : public ::testing::Test, public SchedulerRig
{
};
