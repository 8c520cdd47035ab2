#!/usr/bin/env python3
"""Timing as the listener hears it: the headless station played into a
PulseAudio null sink whose monitor is recorded on the wall clock (bench/heard.py).

Scenarios (--what, default all):
- tasks: N tasks 6 s apart, each a list of two 1-second 440 Hz tones played
  in order: the first tone's heard onset after its start second, and the
  silence heard between the two tones (the station waits a second after an
  item has ended).
- tone: N broadcasts 5 s apart with a 300 ms 3 kHz prompt tone: the tone's
  heard onset after the second, and the gap from the tone's heard end to the
  speech's heard start (never negative: the speech must not start under the
  tone). The tone is told from speech by its frequency.
- speech: N broadcasts without a tone: the speech's heard onset after the second.

Aims: onset p95 <= 3 ms; tone end to speech 0-100 ms, never negative;
silence between items 1000 +- 50 ms. Exit status 1 when the run itself
failed (no PulseAudio: 77; too few events heard), 2 when an aim was missed.

--smoke: a short run of each (3 tasks, 3 + 3 broadcasts) for CI, with
the aims relaxed to catch gross faults only (onset p95 <= 30 ms, gap
never negative and below 300 ms, silence 1000 +- 150 ms): a shared CI
machine does not keep real time as a station PC does.

--player-option NAME=VALUE goes to the station (e.g. audio-buffer=2: mpv
decodes two seconds ahead, so a short item is handed over whole at once).
--sink-latency 2000 makes the station's output two seconds deep, as a
network or Bluetooth sink is (PULSE_LATENCY_MSEC): the ends must still be
heard ends, and starts still heard on their second.

--compare-lead runs tasks and tones a second time, in the same run, with
--output-lead 0: let go on their second instead of the measured latency
ahead of it, so that what the lead gains is seen against the same machine.

usage: bench/heard_latency.py [--bin build/src/app/tavplayer] [--what all|tasks|tone|speech]
                              [--count N] [--smoke] [--player-option NAME=VALUE ...] [--keep]
                              [--sink-latency MS] [--compare-lead]
"""
import argparse, datetime as dt, os, shutil, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import heard  # noqa: E402
from benchstation import Station, broadcast_section, gbk_ini, hms  # noqa: E402

TONE_HZ = 3000


def tasks_folder(data, count):
    item = os.path.join(data, "item.wav")
    subprocess.run(["sox", "-n", "-r", "44100", "-c", "2", item, "synth", "1", "sine", "440"], check=True)
    # The station is up and has made the first item ready well before it.
    first = (dt.datetime.now() + dt.timedelta(seconds=12)).replace(microsecond=0)
    starts = [first + dt.timedelta(seconds=6 * i) for i in range(count)]
    tasks = []
    for i, s in enumerate(starts, 1):
        name = f"听感{i}"
        tasks.append((f"FileInfo{i}", [("Name", name), ("Time", hms(s)), ("Duration", hms(s + dt.timedelta(seconds=5))),
                                       ("Type", "65535"), ("Device", "每天"), ("Recurrence", "顺序"), ("Remind", "开")]))
        gbk_ini(os.path.join(data, f"{name}.ini"),
                      [("多媒体文件数量", [("数量", "2")]), ("歌曲", [("歌曲名称0", item), ("歌曲名称1", item)])])
    gbk_ini(os.path.join(data, "【SONG】.ini"), tasks)
    return starts, starts[-1] + dt.timedelta(seconds=5)


def broadcasts_folder(data, count, tone):
    subprocess.run(["sox", "-n", "-r", "44100", "-c", "2", os.path.join(data, "TONE.wav"), "synth", "0.3",
                    "sine", str(TONE_HZ)], check=True)
    first = (dt.datetime.now() + dt.timedelta(seconds=14)).replace(microsecond=0)
    firings = [first + dt.timedelta(seconds=5 * i) for i in range(count)]
    day = f"{first.year}/{first.month}/{first.day}"
    sections = []
    for i, f in enumerate(firings, 1):
        name = f"听感{i}"
        t = f.strftime("%H:%M:%S")
        sections.append(broadcast_section(i, name, t, day, tone))
        with open(os.path.join(data, f"{name}.ini"), "wb") as fh:
            fh.write("请注意，现在测试。\r\n".encode("gbk"))
    gbk_ini(os.path.join(data, "【TTS】.ini"), sections)
    gbk_ini(os.path.join(data, "【CONTROL】.ini"), [("复选控制", [("播音", "1")])])
    return firings, firings[-1] + dt.timedelta(seconds=4)


def run_station(args, pulse, data, until, lead=None):
    rec = heard.Recorder(pulse).start()
    try:
        env = pulse.env()
        if args.sink_latency:
            env["PULSE_LATENCY_MSEC"] = str(args.sink_latency)  # the station's stream that deep
        extra = [] if lead is None else ["--output-lead", str(lead)]
        with Station(args.bin, data, ["ao=pulse"] + args.player_option, env=env, extra=extra):
            time.sleep(max(0, (until - dt.datetime.now()).total_seconds()) + 1)
    finally:
        rec.stop()
    print(f"  ({what_ran(data)}: recording mapped to the wall clock within ~{rec.calibrate():.1f} ms, moving {rec.moved():.0f} ms over the recording)")
    return rec


def latencies(data):
    """The output latencies the station measured, from its trace ("heard N ms")."""
    found = []
    with open(os.path.join(data, "trace.txt"), encoding="utf-8") as fh:
        for line in fh:
            parts = line.split()
            if len(parts) >= 4 and parts[1].endswith("heard") and parts[2].isdigit():
                found.append(float(parts[2]))
    return found


def what_ran(data):
    return os.path.basename(data).split("-")[2]


def ms(a, b):
    return (a - b) * 1000


def measure_tasks(rec, starts):
    onsets, silences = [], []
    runs = rec.segments(gap_ms=100)
    for s in starts:
        t = s.timestamp()
        mine = [r for r in runs if t - 0.5 <= r[0] < t + 4.5]
        if not mine:
            continue
        onset = rec.onset(mine[0][0] - 0.004, mine[0][1])
        onsets.append(ms(onset, t))
        if len(mine) >= 2:
            silences.append(ms(mine[1][0], mine[0][1]))
    return onsets, silences


def measure_broadcasts(rec, firings, tone):
    onsets, gaps = [], []
    windows = rec.windows(TONE_HZ if tone else None)
    for f in firings:
        t = f.timestamp()
        mine = [w for w in windows if t - 0.5 <= w[0] < t + 4]
        if tone:
            tones = [i for i, w in enumerate(mine) if w[1] and w[2] > 0.6]
            if not tones:
                continue
            first = mine[tones[0]][0]
            onsets.append(ms(rec.onset(first - 0.004, first + 0.004), t))
            # The tone's end: the last tone window before 60 ms without one.
            last = tones[0]
            for i in tones[1:]:
                if i - last > 30:
                    break
                last = i
            end = mine[last][0] + heard.WINDOW / heard.RATE
            speech = [w for w in mine if w[1] and w[2] <= 0.6 and w[0] > mine[tones[0]][0] + 0.1]
            if speech:
                gaps.append(ms(speech[0][0], end))
        else:
            sound = [w for w in mine if w[1]]
            if sound:
                onsets.append(ms(rec.onset(sound[0][0] - 0.004, sound[0][0] + 0.004), t))
    return onsets, gaps


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer")
    ap.add_argument("--what", default="all", choices=["all", "tasks", "tone", "speech"])
    ap.add_argument("--count", type=int, default=12)
    ap.add_argument("--smoke", action="store_true")
    ap.add_argument("--player-option", action="append", default=[])
    ap.add_argument("--sink-latency", type=int, help="ms: the station's output that deep (a network or "
                    "Bluetooth sink), e.g. 2000")
    ap.add_argument("--keep", action="store_true", help="keep the data folders (traces) and say where")
    ap.add_argument("--compare-lead", action="store_true", help="run tasks and tones a second time with "
                    "--output-lead 0 (let go on the second, not the output's latency ahead of it)")
    args = ap.parse_args()
    count = 3 if args.smoke else args.count
    onset_aim = 30 if args.smoke else 3
    gap_aim = 300 if args.smoke else 100
    silence_slack = 150 if args.smoke else 50

    pulse = heard.Pulse.start()
    if not pulse:
        print("PulseAudio could not be started: skipped", file=sys.stderr)
        return 77
    missed, failed = [], False
    try:
        runs = []
        for what in (["tasks", "tone", "speech"] if args.what == "all" else [args.what]):
            runs.append((what, None))
            if args.compare_lead and what != "speech":
                runs.append((what, 0))
        for what, lead in runs:
            data = tempfile.mkdtemp(prefix=f"tav-heard-{what}-")
            # Aims hold for the station as it runs; a run let go on the
            # second is there to compare with.
            run_missed, run_failed = [], False
            if lead is not None:
                print(f"  (--output-lead {lead})")
            if what == "tasks":
                starts, until = tasks_folder(data, count)
                rec = run_station(args, pulse, data, until, lead)
                onsets, silences = measure_tasks(rec, starts)
                print(heard.row("task heard onset", onsets))
                print(heard.row("silence between items", silences))
                if len(onsets) < count or len(silences) < count:
                    run_failed = True
                if onsets and heard.percentile(onsets, 95) > onset_aim:
                    run_missed.append("task onset")
                if silences and any(abs(s - 1000) > silence_slack for s in silences):
                    run_missed.append("silence between items")
            else:
                tone = what == "tone"
                firings, until = broadcasts_folder(data, count, tone)
                rec = run_station(args, pulse, data, until, lead)
                onsets, gaps = measure_broadcasts(rec, firings, tone)
                print(heard.row("tone heard onset" if tone else "speech-first heard onset", onsets))
                if tone:
                    print(heard.row("tone end to speech", gaps))
                    # Within a window (2 ms) of the tone's end counts as no overlap.
                    if gaps and (min(gaps) < -2 or max(gaps) > gap_aim):
                        run_missed.append("tone end to speech")
                if len(onsets) < count or (tone and len(gaps) < count):
                    run_failed = True
                if onsets and heard.percentile(onsets, 95) > onset_aim:
                    run_missed.append(f"{what} onset")
            print(heard.row("output latency measured", latencies(data)))
            if lead is None:
                missed += run_missed
                failed = failed or run_failed
            if args.keep:
                print(f"  data and trace: {data}")
            else:
                shutil.rmtree(data, ignore_errors=True)
    finally:
        pulse.stop()
    if failed:
        print("too few events were heard", file=sys.stderr)
        return 1
    if missed:
        print("aims missed: " + ", ".join(missed), file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
