#!/usr/bin/env python3
"""CPU and memory of an idle headless station (aim: < 0.2% of one core, < 60 MB).

Runs `tavplayer --headless` on a folder with 200 tasks none of which is due
during the run, lets it settle, then samples /proc for the measuring window.

usage: bench/idle_usage.py [--bin build/src/app/tavplayer] [--seconds 60]
"""
import argparse, os, signal, subprocess, sys, tempfile, time


def cpu_seconds(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")  # utime + stime


def rss_mb(pid):
    for line in open(f"/proc/{pid}/status"):
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) / 1024
    return 0.0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer")
    ap.add_argument("--seconds", type=float, default=60)
    args = ap.parse_args()

    data = tempfile.mkdtemp(prefix="tav-idle-")
    lines = []
    for i in range(1, 201):  # at 3 a.m., so nothing starts during the run
        lines += [f"[FileInfo{i}]", f"Name=任务{i}", "Time=3:00:00", "Duration=3:10:00", "Type=50000",
                  "Device=每一三五", "Recurrence=循环", "Remind=开"]
    with open(os.path.join(data, "【SONG】.ini"), "wb") as f:
        f.write(("\r\n".join(lines) + "\r\n").encode("gbk"))

    proc = subprocess.Popen([args.bin, "--headless", "--data-dir", data, "--player-option", "ao=null"],
                            stdout=subprocess.DEVNULL)
    time.sleep(3)
    c0, t0 = cpu_seconds(proc.pid), time.monotonic()
    time.sleep(args.seconds)
    c1, t1 = cpu_seconds(proc.pid), time.monotonic()
    rss = rss_mb(proc.pid)
    proc.send_signal(signal.SIGTERM)
    proc.wait(timeout=10)
    print(f"idle over {t1 - t0:.0f} s: CPU {100 * (c1 - c0) / (t1 - t0):.3f}% of one core, resident {rss:.1f} MB")
    return 0


if __name__ == "__main__":
    sys.exit(main())
