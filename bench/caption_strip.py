#!/usr/bin/env python3
"""One caption strip across a 1920x1080 Xvfb screen (aim: < 5% of one core).

Starts Xvfb (display :93 or the next free one), runs bench_captions on it for
each MOVE/JUMP pair and adds the X server's CPU over the same run, since
drawing costs the server too.

usage: bench/caption_strip.py [--bin build/bench/bench_captions] [--seconds 10]
"""
import argparse, os, subprocess, time


def cpu_seconds(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/bench/bench_captions")
    ap.add_argument("--seconds", type=float, default=10)
    ap.add_argument("--display", type=int, default=93)
    args = ap.parse_args()

    display = args.display
    while os.path.exists(f"/tmp/.X{display}-lock"):
        display += 1
    xvfb = subprocess.Popen(["Xvfb", f":{display}", "-screen", "0", "1920x1080x24"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(1)
    env = dict(os.environ, DISPLAY=f":{display}", QT_QPA_PLATFORM="xcb")
    try:
        for move, jump, pacing in [(2, 20, "timer"), (1, 3, "timer"), (3, 10, "timer"),
                                   (2, 20, "requests"), (1, 3, "requests")]:
            before = cpu_seconds(xvfb.pid)
            out = subprocess.run([args.bin, str(args.seconds), str(move), str(jump), pacing], env=env,
                                 capture_output=True, text=True)
            server = cpu_seconds(xvfb.pid) - before
            print(out.stdout.strip())
            print(f"X server: {100 * server / (args.seconds + 1.5):.2f} % of a core over the run\n")
    finally:
        xvfb.terminate()


if __name__ == "__main__":
    main()
