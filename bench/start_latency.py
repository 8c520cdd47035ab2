#!/usr/bin/env python3
"""Start accuracy of the headless station, from its millisecond trace.

Lays out a data folder with N tasks starting two seconds apart, runs
`tavplayer --headless` with a trace, and reports for each start how long after
its second's boundary (a) the scheduler decided to start it and (b) the media
engine reported output, as p50 and p95. Aim: decision within 2 ms, sound
p50 <= 2 ms and p95 <= 6 ms.

How output is observed: "playing" in the trace is mpv's first playback
restart of the item, its first decoded frames handed to the audio output.
The station makes a task's first item ready three seconds ahead, loaded and
held paused at its first sample: on the player when it stands idle (the
default here: half-second tones), or with --over on its spare engine while
the item before still plays (3-second tones, so that every start replaces an
item playing). For such an item "playing" is the moment its pause is lifted
at the second, its frames already waiting at the output. --pairs puts two
tasks on each start second; the later one plays.

Every start second must show exactly one "playing": a start lost or doubled
is reported and fails the run.

--floor runs bench's mpv_floor in the same run: one warm libmpv calling
loadfile at each boundary on an absolute sleep, the best a program that
loads at the second can do.

usage: bench/start_latency.py [--bin build/src/app/tavplayer] [--starts 24] [--ao null] [--over] [--pairs]
                              [--floor build/bench/mpv_floor]
"""
import argparse, datetime as dt, os, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from benchstation import Station, gbk_ini, hms, percentile  # noqa: E402


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer")
    ap.add_argument("--starts", type=int, default=24)
    ap.add_argument("--ao", default="null", help="audio output: null, pcm, or a real device driver")
    ap.add_argument("--over", action="store_true", help="every start replaces an item still playing")
    ap.add_argument("--pairs", action="store_true", help="two tasks on each start second")
    ap.add_argument("--floor", help="the mpv_floor program, run in the same run for comparison")
    args = ap.parse_args()

    data = tempfile.mkdtemp(prefix="tav-latency-")
    tone = os.path.join(data, "tone.wav")
    subprocess.run(["sox", "-n", "-r", "44100", "-c", "2", tone, "synth", "3" if args.over else "0.5", "sine", "440"], check=True)
    first = (dt.datetime.now() + dt.timedelta(seconds=6)).replace(microsecond=0)
    starts = [first + dt.timedelta(seconds=2 * i) for i in range(args.starts)]
    tasks = []
    for i, s in enumerate([s for s in starts for _ in range(2 if args.pairs else 1)], 1):
        name = f"测速{i}"
        end = s + dt.timedelta(seconds=3 if args.over else 1)
        tasks.append((f"FileInfo{i}", [("Name", name), ("Time", hms(s)), ("Duration", hms(end)),
                                       ("Type", "50000"), ("Device", "每天"), ("Recurrence", "顺序"), ("Remind", "开")]))
        gbk_ini(os.path.join(data, f"{name}.ini"), [("多媒体文件数量", [("数量", "1")]), ("歌曲", [("歌曲名称0", tone)])])
    gbk_ini(os.path.join(data, "【SONG】.ini"), tasks)

    options = [f"ao={args.ao}"]
    if args.ao == "pcm":
        options.append("ao-pcm-file=" + os.path.join(data, "out.pcm"))
    with Station(args.bin, data, options) as station:
        time.sleep((starts[-1] - dt.datetime.now()).total_seconds() + 3)
    trace = station.trace

    decisions, sounds, outputs = [], [], {}  # outputs: start second -> "playing" count
    pending = None  # boundary of the start second awaiting output
    second = None
    for line in open(trace, encoding="utf-8"):
        stamp, event = line.split(" ", 2)[:2]
        t = dt.datetime.strptime(stamp, "%Y-%m-%dT%H:%M:%S.%f")
        if event == "start" and t.replace(microsecond=0) != second:
            second = pending = t.replace(microsecond=0)
            outputs[second] = 0
            decisions.append((t - pending).total_seconds() * 1000)
        elif event == "playing" and second is not None:
            outputs[second] += 1
            if pending is not None:
                sounds.append((t - pending).total_seconds() * 1000)
                pending = None
    lost = sum(1 for n in outputs.values() if n == 0) + args.starts - len(outputs)
    doubled = sum(1 for n in outputs.values() if n > 1)
    print(f"starts {args.starts}: lost {lost}, doubled {doubled}")
    if lost or doubled or len(sounds) < args.starts:
        print(f"see {trace}", file=sys.stderr)
        return 1
    rows = [("decision", decisions), ("sound", sounds)]
    if args.floor:
        out = subprocess.run([os.path.abspath(args.floor), tone, str(args.starts), "2", args.ao], cwd=data,  # pcm: a file there
                             capture_output=True, text=True, check=True).stdout.split()
        rows.append(("floor", [float(v) for v in out if v != "error"]))
    for label, v in rows:
        print(f"{label:8s} after the second: p50 {percentile(v, 50):6.1f} ms  p95 {percentile(v, 95):6.1f} ms"
              f"  max {max(v):6.1f} ms  (n={len(v)})")
    return 0


if __name__ == "__main__":
    sys.exit(main())
