#!/usr/bin/env python3
"""CPU and memory of an idle headless station (aim: < 0.2% of one core, <= 55 MB).

Runs `tavplayer --headless` on a folder with 200 tasks none of which is due
during the run, lets it settle, then samples /proc for the measuring window.
With --bin-old a second binary (an older build, say) runs beside it over the
same window, each on a folder of its own, and the ratios new/old are given:
the machine's noise then falls on both alike.

usage: bench/idle_usage.py [--bin build/src/app/tavplayer] [--bin-old OTHER] [--seconds 60]
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


def private_mb(pid):
    """Pages of the process's own: written library data, heap, stacks. Unlike the
    resident figure it leaves out clean pages of the library files, which the
    system's file cache holds and can take back at any time."""
    kb = 0
    for line in open(f"/proc/{pid}/smaps_rollup"):
        if line.startswith("Private_Dirty:"):
            kb += int(line.split()[1])
    return kb / 1024


def data_folder():
    data = tempfile.mkdtemp(prefix="tav-idle-")
    lines = []
    for i in range(1, 201):  # at 3 a.m., so nothing starts during the run
        lines += [f"[FileInfo{i}]", f"Name=任务{i}", "Time=3:00:00", "Duration=3:10:00", "Type=50000",
                  "Device=每一三五", "Recurrence=循环", "Remind=开"]
    with open(os.path.join(data, "【SONG】.ini"), "wb") as f:
        f.write(("\r\n".join(lines) + "\r\n").encode("gbk"))
    return data


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer")
    ap.add_argument("--bin-old", help="a second binary measured over the same window, for the ratios")
    ap.add_argument("--seconds", type=float, default=60)
    args = ap.parse_args()

    bins = [args.bin] + ([args.bin_old] if args.bin_old else [])
    procs = [subprocess.Popen([b, "--headless", "--data-dir", data_folder(), "--player-option", "ao=null"],
                              stdout=subprocess.DEVNULL) for b in bins]
    time.sleep(3)
    c0, t0 = [cpu_seconds(p.pid) for p in procs], time.monotonic()
    time.sleep(args.seconds)
    c1, t1 = [cpu_seconds(p.pid) for p in procs], time.monotonic()
    rss = [rss_mb(p.pid) for p in procs]
    private = [private_mb(p.pid) for p in procs]
    for p in procs:
        p.send_signal(signal.SIGTERM)
        p.wait(timeout=10)
    cpu = [100 * (b - a) / (t1 - t0) for a, b in zip(c0, c1)]
    for b, c, r, d in zip(bins, cpu, rss, private):
        print(f"idle over {t1 - t0:.0f} s: CPU {c:.3f}% of one core, resident {r:.1f} MB, private {d:.1f} MB"
              + (f"  ({b})" if args.bin_old else ""))
    if args.bin_old:
        # CPU time is counted in clock ticks (10 ms): a few ticks make no ratio.
        ticks = 10 / os.sysconf("SC_CLK_TCK")
        cpu_ratio = (f"{cpu[0] / cpu[1]:.2f}" if c1[1] - c0[1] >= ticks
                     else "n/a (the old used fewer than 10 clock ticks)")
        print(f"new/old: resident {rss[0] / rss[1]:.2f}, private {private[0] / private[1]:.2f}, CPU {cpu_ratio}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
