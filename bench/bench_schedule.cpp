// Targets: ReadString on a 200-section file <= 20 us; loading a task file of
// 200 tasks with their list files <= 20 ms; one tick over 200 due tasks <= 50 us.
#include "core/ini.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "fakes/fakes.h"
#include "playback/playbackcontroller.h"
#include "scheduler/scheduler.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskstore.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kTasks = 200;

// A station folder with 200 daily tasks, each with a list file of 5 items.
struct Folder
{
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};

    Folder()
    {
        tav::IniDocument song;
        for (int i = 1; i <= kTasks; ++i) {
            const QString sec = u"FileInfo%1"_s.arg(i), name = u"定时任务%1"_s.arg(i);
            song.setValue(sec, u"Name"_s, name);
            song.setValue(sec, u"Time"_s, tav::zh::timeText(8 * 3600 + i * 60));
            song.setValue(sec, u"Duration"_s, tav::zh::timeText(8 * 3600 + i * 60 + 30));
            song.setValue(sec, u"Type"_s, u"50000"_s);
            song.setValue(sec, u"Device"_s, u"每天"_s);
            song.setValue(sec, u"Recurrence"_s, u"循环"_s);
            song.setValue(sec, u"Remind"_s, u"开"_s);
            tav::IniDocument list;
            list.setValue(u"多媒体文件数量"_s, u"数量"_s, u"5"_s);
            for (int k = 0; k < 5; ++k)
                list.setValue(u"歌曲"_s, u"歌曲名称%1"_s.arg(k), u"/srv/media/节目%1/第%2集.mp4"_s.arg(i).arg(k));
            tav::IniFile(dir.taskListFile(name)).write(list);
        }
        tav::IniFile(dir.song()).write(song);
    }
};

Folder &folder()
{
    static Folder f;
    return f;
}

void BM_ReadString(benchmark::State &state)
{
    tav::Class1 ini(folder().d.path());
    ini.SpecifyIni(folder().dir.song());
    int i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ini.ReadString(u"FileInfo%1"_s.arg(i % kTasks + 1), u"Device"_s, 100));
        ++i;
    }
}
BENCHMARK(BM_ReadString)->Unit(benchmark::kMicrosecond);

void BM_LoadTasksWithLists(benchmark::State &state)
{
    tav::Settings settings(folder().dir);
    tav::TaskStore store(folder().dir, settings);
    for (auto _ : state) {
        store.load(QDate(2026, 11, 23));
        qsizetype items = 0;
        for (const auto &row : store.rows())
            items += store.readMediaList(row.name).size();
        benchmark::DoNotOptimize(items);
    }
    state.counters["tasks"] = double(store.rows().size());
}
BENCHMARK(BM_LoadTasksWithLists)->Unit(benchmark::kMillisecond);

// A tick at a second when none of the 200 due tasks starts: the walk itself.
void BM_TickOver200DueTasks(benchmark::State &state)
{
    tav::test::FakeClock clock(tav::test::at("2026-11-23 07:00:00"));
    tav::test::FakePlayer player;
    tav::test::ScriptedPrompt prompt;
    tav::test::FakeShutdown shutdown;
    tav::Settings settings(folder().dir);
    tav::MessageLog log(folder().d.file(u"log.txt"_s), clock);
    tav::PlaybackController playback(player, settings, log, clock);
    tav::TaskStore store(folder().dir, settings);
    tav::StopDates stopDates(folder().dir);
    tav::Scheduler scheduler(clock, settings, store, stopDates, playback, log, shutdown, prompt);
    scheduler.startDay();
    for (auto _ : state)
        scheduler.tick();
    state.counters["due"] = double(store.today().size());
}
BENCHMARK(BM_TickOver200DueTasks)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
