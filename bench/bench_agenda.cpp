// Targets: the week ahead of 200 tasks (each with a list of 5 files, looked
// for on disk) computed in <= 20 ms; the page with 200 tasks, 50 broadcasts
// and 50 captions a day drawn in <= 50 ms.
#include "core/agenda.h"
#include "core/ini.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "fakes/fakes.h"
#include "scheduler/stopdates.h"
#include "scheduler/taskagenda.h"
#include "scheduler/taskstore.h"
#include "shell/agendapage.h"

#include <QApplication>
#include <QImage>
#include <QPainter>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kTasks = 200;

struct Folder
{
    tav::test::DataFolder d;
    tav::DataDir dir{d.path()};
    tav::Settings settings{dir};
    tav::StopDates stopDates{dir};
    tav::TaskStore store{dir, settings};

    Folder()
    {
        tav::IniDocument song;
        for (int i = 1; i <= kTasks; ++i) {
            const QString sec = u"FileInfo%1"_s.arg(i), name = u"定时任务%1"_s.arg(i);
            song.setValue(sec, u"Name"_s, name);
            song.setValue(sec, u"Time"_s, tav::zh::timeText(7 * 3600 + i * 240));
            song.setValue(sec, u"Duration"_s, tav::zh::timeText(7 * 3600 + i * 240 + 120));
            song.setValue(sec, u"Type"_s, u"50000"_s);
            song.setValue(sec, u"Device"_s, i % 3 ? u"每天"_s : u"每一三五"_s);
            song.setValue(sec, u"Recurrence"_s, u"循环"_s);
            song.setValue(sec, u"Remind"_s, u"开"_s);
            tav::IniDocument list;
            list.setValue(u"多媒体文件数量"_s, u"数量"_s, u"5"_s);
            for (int k = 0; k < 5; ++k) {
                const QString file = d.file(u"节目%1-%2.mp3"_s.arg(i).arg(k));
                if (k != 4 || i % 10)
                    d.write(QFileInfo(file).fileName(), u"x"_s);
                list.setValue(u"歌曲"_s, u"歌曲名称%1"_s.arg(k), file);
            }
            tav::IniFile(dir.taskListFile(name)).write(list);
        }
        tav::IniFile(dir.song()).write(song);
        d.write(u"【DATE】.ini"_s, u"[The number of Date]\nquantity=1\n[Holiday]\nDate0=2026/11/26\n"_s);
        settings.load();
        stopDates.load();
        store.load(QDate(2026, 11, 23));
    }
};

Folder &folder()
{
    static Folder f;
    return f;
}

// Stands for the broadcast and caption lanes: 50 starts a day each.
class SyntheticLane final : public tav::AgendaLane
{
public:
    explicit SyntheticLane(QString title) : m_title(std::move(title)) {}
    QString title() const override { return m_title; }
    QList<tav::AgendaItem> itemsOn(QDate date) const override
    {
        QList<tav::AgendaItem> items;
        for (int i = 0; i < 50; ++i) {
            tav::AgendaItem item;
            item.date = date;
            item.lane = m_title;
            item.name = m_title + QString::number(i);
            item.start = 7 * 3600 + i * 900;
            item.end = item.start + 300;
            if (i % 7 == 0)
                item.reason = u"超出日期范围"_s;
            items.append(item);
        }
        return items;
    }

private:
    QString m_title;
};

const QDateTime kNow = tav::test::at("2026-11-23 10:00:00");

void BM_WeekOf200Tasks(benchmark::State &state)
{
    tav::TaskAgendaLane lane(folder().store, folder().settings, folder().stopDates);
    for (auto _ : state) {
        const QList<tav::AgendaItem> week = tav::agenda::compute({&lane}, kNow, 7);
        benchmark::DoNotOptimize(week.size());
    }
}
BENCHMARK(BM_WeekOf200Tasks)->Unit(benchmark::kMillisecond);

void BM_DrawWeekOf300Starts(benchmark::State &state)
{
    tav::TaskAgendaLane lane(folder().store, folder().settings, folder().stopDates);
    SyntheticLane broadcasts(u"语音播报"_s), captions(u"滚动字幕"_s);
    const QList<tav::AgendaItem> week = tav::agenda::compute({&lane, &broadcasts, &captions}, kNow, 7);
    tav::AgendaChart chart;
    chart.resize(1800, 1400);
    QImage image(chart.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        chart.setItems(week, {lane.title(), broadcasts.title(), captions.title()}, kNow, 7);
        QPainter painter(&image);
        chart.render(&painter);
    }
    state.counters["starts"] = double(week.size());
}
BENCHMARK(BM_DrawWeekOf300Starts)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
