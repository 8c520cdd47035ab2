#!/usr/bin/env python3
"""CPU and memory of video in the player window against mpv's own window.

Under one Xvfb (software OpenGL), one after the other on the same test clip:
  - the player window (build's bench/video_check: MpvVideoWidget, vo=libmpv),
  - mpv itself with --vo=gpu (the same renderer, in mpv's own window),
first with a 1920x1080 H.264 clip (ffmpeg testsrc2, 30 s) in a 1920x1080
window, then with a 1280x720 clip in a 1280x720 window. For each it prints the
CPU used (% of one core over the measuring window), the resident memory at the
end of it, the ratios widget / mpv, and mpv's frame-drop-count.

usage: bench/video_cpu.py [--build build] [--seconds 20] [--keep DIR]
"""
import argparse, json, os, shutil, socket, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(__file__))
from idle_usage import cpu_seconds, rss_mb  # noqa: E402


def make_clip(path, size):
    if not os.path.exists(path):
        subprocess.run(["ffmpeg", "-loglevel", "error", "-y", "-f", "lavfi", "-i", f"testsrc2=size={size}:rate=30",
                        "-t", "30", "-pix_fmt", "yuv420p", "-c:v", "libx264", path], check=True)


def free_display():
    n = 90
    while os.path.exists(f"/tmp/.X{n}-lock") or os.path.exists(f"/tmp/.X11-unix/X{n}"):
        n += 1
    return n


def measure(cmd, env, settle, seconds, drops):
    """Starts cmd, measures CPU from settle to settle + seconds; drops(proc) gives the drop count."""
    proc = subprocess.Popen(cmd, env=env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        time.sleep(settle)
        if proc.poll() is not None:
            raise RuntimeError(f"{cmd[0]} ended early with {proc.returncode}")
        c0, t0 = cpu_seconds(proc.pid), time.monotonic()
        time.sleep(seconds)
        c1, t1 = cpu_seconds(proc.pid), time.monotonic()
        rss = rss_mb(proc.pid)
        dropped = drops(proc)
    finally:
        if proc.poll() is None:
            proc.terminate()
        proc.wait(timeout=30)
    return 100 * (c1 - c0) / (t1 - t0), rss, dropped


def widget_drops(proc):
    out, _ = proc.communicate(timeout=60)  # video_check prints its counts when its hold is over
    for word in out.split():
        if word.startswith("frame-drop-count="):
            return word.split("=", 1)[1]
    return "?"


def mpv_drops(sock_path):
    def query(_proc):
        with socket.socket(socket.AF_UNIX) as s:
            s.settimeout(5)
            s.connect(sock_path)
            s.sendall(b'{"command": ["get_property", "frame-drop-count"]}\n')
            reply = b""
            while b"\n" not in reply:
                reply += s.recv(4096)
            for line in reply.decode().splitlines():
                answer = json.loads(line)
                if "error" in answer:
                    return answer.get("data", "?")
        return "?"
    return query


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", default="build")
    ap.add_argument("--seconds", type=float, default=20)
    ap.add_argument("--keep", help="folder for the clips (kept between runs)")
    args = ap.parse_args()
    check = os.path.join(args.build, "bench", "video_check")
    for tool in (check, shutil.which("mpv"), shutil.which("ffmpeg"), shutil.which("Xvfb")):
        if not tool or not os.path.exists(tool):
            sys.exit(f"video_cpu: missing {tool or 'mpv/ffmpeg/Xvfb'} (build video_check; scripts/install-deps.sh)")

    work = args.keep or tempfile.mkdtemp(prefix="tav-video-")
    os.makedirs(work, exist_ok=True)
    settle = 4.0
    hold = int(args.seconds + settle + 1)  # video_check plays this long after output began
    if hold > 28:
        sys.exit("video_cpu: --seconds must leave the 30 s clip playing until the end of the window")

    display = free_display()
    xvfb = subprocess.Popen(["Xvfb", f":{display}", "-screen", "0", "1920x1080x24"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        for _ in range(50):
            if os.path.exists(f"/tmp/.X11-unix/X{display}"):
                break
            time.sleep(0.1)
        env = dict(os.environ, DISPLAY=f":{display}", QT_QPA_PLATFORM="xcb")
        rows = []
        for w, h in ((1920, 1080), (1280, 720)):
            clip = os.path.join(work, f"testsrc2-{w}x{h}.mp4")
            make_clip(clip, f"{w}x{h}")
            shots = os.path.join(work, f"shots-{w}x{h}")
            widget = measure([check, clip, shots, "--hold", str(hold), "--width", str(w), "--height", str(h),
                              "--no-full"], env, settle, args.seconds, widget_drops)
            sock = os.path.join(work, "mpv.sock")
            mpv = measure(["mpv", "--no-config", "--vo=gpu", "--gpu-sw=yes", "--ao=null", "--no-border",
                           f"--geometry={w}x{h}+0+0", "--no-keepaspect", "--really-quiet",
                           f"--input-ipc-server={sock}", clip], env, settle, args.seconds, mpv_drops(sock))
            rows.append((f"{w}x{h}", widget, mpv))
    finally:
        xvfb.terminate()
        xvfb.wait(timeout=10)

    print(f"H.264 testsrc2 30 fps, Xvfb software OpenGL, CPU over {args.seconds:.0f} s of playback")
    print(f"{'clip/window':<12} {'player':<22} {'CPU % of a core':>16} {'RSS MB':>8} {'dropped':>8}")
    for size, widget, mpv in rows:
        print(f"{size:<12} {'player window':<22} {widget[0]:>16.1f} {widget[1]:>8.1f} {widget[2]:>8}")
        print(f"{size:<12} {'mpv --vo=gpu':<22} {mpv[0]:>16.1f} {mpv[1]:>8.1f} {mpv[2]:>8}")
        cpu_ratio = widget[0] / mpv[0] if mpv[0] else float("nan")
        rss_ratio = widget[1] / mpv[1] if mpv[1] else float("nan")
        print(f"{size:<12} {'ratio window / mpv':<22} {cpu_ratio:>16.2f} {rss_ratio:>8.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
