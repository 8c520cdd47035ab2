#!/usr/bin/env python3
"""The station console under Xvfb: cold start and idle cost (aims: a painted
main window with 200 tasks in under 1 s; idle under 1% of one core and under
150 MB resident).

Cold start is measured from launching the program to its main window being
mapped and viewable (xdotool), five times; then one copy is left idle.

usage: bench/gui_startup.py [--bin build/src/app/tavplayer] [--idle 30]
"""
import argparse, os, shutil, signal, statistics, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(__file__))
from idle_usage import cpu_seconds, rss_mb  # noqa: E402

TITLE = "^Tavrel"  # xdotool matches names as a regex in the C locale: keep it ASCII


def task_file(folder):
    lines = []
    for i in range(1, 201):
        lines += [f"[FileInfo{i}]", f"Name=任务{i}", "Time=3:00:00", "Duration=3:10:00", "Type=50000",
                  "Device=每一三五", "Recurrence=循环", "Remind=开"]
    with open(os.path.join(folder, "【SONG】.ini"), "wb") as f:
        f.write(("\r\n".join(lines) + "\r\n").encode("gbk"))


def window_visible(env):
    r = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", TITLE], env=env,
                       stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return r.returncode == 0 and r.stdout.strip() != b""


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer")
    ap.add_argument("--idle", type=float, default=30)
    args = ap.parse_args()

    display = next(f":{n}" for n in range(90, 200) if not os.path.exists(f"/tmp/.X{n}-lock"))
    env = dict(os.environ, DISPLAY=display, XDG_CONFIG_HOME=tempfile.mkdtemp(prefix="tav-config-"))
    xvfb = subprocess.Popen(["Xvfb", display, "-screen", "0", "1280x860x24"], stderr=subprocess.DEVNULL)
    time.sleep(1)
    try:
        starts = []
        for _ in range(5):
            data = tempfile.mkdtemp(prefix="tav-gui-")
            task_file(data)
            t0 = time.monotonic()
            proc = subprocess.Popen([args.bin, "--data-dir", data, "--player-option", "ao=null"], env=env,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            while not window_visible(env):
                if time.monotonic() - t0 > 10:
                    print("the window did not appear within 10 s", file=sys.stderr)
                    return 1
                time.sleep(0.01)
            starts.append(time.monotonic() - t0)
            if len(starts) < 5:
                proc.send_signal(signal.SIGTERM)
                proc.wait(timeout=10)
                shutil.rmtree(data, ignore_errors=True)
        print(f"cold start to a visible window with 200 tasks: median {1000 * statistics.median(starts):.0f} ms,"
              f" max {1000 * max(starts):.0f} ms (n={len(starts)})")
        time.sleep(3)
        c0, t0 = cpu_seconds(proc.pid), time.monotonic()
        time.sleep(args.idle)
        c1, t1 = cpu_seconds(proc.pid), time.monotonic()
        print(f"idle with the window open over {t1 - t0:.0f} s: CPU {100 * (c1 - c0) / (t1 - t0):.2f}% of one core,"
              f" resident {rss_mb(proc.pid):.1f} MB")
        proc.send_signal(signal.SIGTERM)
        proc.wait(timeout=10)
    finally:
        xvfb.terminate()
    return 0


if __name__ == "__main__":
    sys.exit(main())
