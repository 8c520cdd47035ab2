#!/usr/bin/env python3
"""CPU and memory of the logo and clock overlay at rest (aim: < 0.5% of one core).

Under Xvfb with openbox, runs the build's bench/overlay_show on a data folder
with a 240x90 LOGO.bmp (grey 808080 around a disc and a frame), the clock
shown under it and updated every second, lets it settle, then samples /proc
over the measuring window. Also prints the X server's CPU over the same
window: the shape of the clock's part is sent to it every second.

usage: bench/overlay_cpu.py [--build build] [--seconds 20] [--display N]
"""
import argparse, os, shutil, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(__file__))
from idle_usage import cpu_seconds, rss_mb  # noqa: E402
from video_cpu import free_display  # noqa: E402


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--seconds", type=float, default=20)
    ap.add_argument("--display", type=int, help="X display number (default: the first free one)")
    args = ap.parse_args()

    data = tempfile.mkdtemp(prefix="tav-overlay-")
    subprocess.run(["convert", "-size", "240x90", "xc:#808080", "-fill", "#c00000", "-draw", "circle 45,45 45,8",
                    "-fill", "#818181", "-draw", "rectangle 96,14 232,76", f"BMP3:{data}/LOGO.bmp"], check=True)
    display = args.display if args.display is not None else free_display()
    env = dict(os.environ, DISPLAY=f":{display}", QT_QPA_PLATFORM="xcb")
    xvfb = subprocess.Popen(["Xvfb", f":{display}", "-screen", "0", "1280x860x24"], stderr=subprocess.DEVNULL)
    wm = None
    proc = None
    try:
        time.sleep(1)
        wm = subprocess.Popen(["openbox"], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(1)
        proc = subprocess.Popen([os.path.join(args.build, "bench", "overlay_show"), data], env=env,
                                stderr=subprocess.DEVNULL)
        time.sleep(3)
        if proc.poll() is not None:
            raise RuntimeError(f"overlay_show ended early with {proc.returncode}")
        c0, x0, t0 = cpu_seconds(proc.pid), cpu_seconds(xvfb.pid), time.monotonic()
        time.sleep(args.seconds)
        c1, x1, t1 = cpu_seconds(proc.pid), cpu_seconds(xvfb.pid), time.monotonic()
        rss = rss_mb(proc.pid)
        span = t1 - t0
        print(f"overlay at rest over {span:.0f} s: CPU {100 * (c1 - c0) / span:.3f}% of one core, "
              f"resident {rss:.1f} MB; X server {100 * (x1 - x0) / span:.3f}%")
    finally:
        for p in (proc, wm, xvfb):
            if p and p.poll() is None:
                p.terminate()
                p.wait(timeout=10)
        shutil.rmtree(data, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
