#!/usr/bin/env python3
"""From an emergency's request to its first sound, as heard: the headless
station plays into a PulseAudio null sink whose monitor is recorded on the
wall clock (bench/heard.py), with a 300 ms prompt tone ("TONE.wav") and the
default emergency text.

Each round starts the emergency by one path, waits for it to sound, clears
it from the command line and lets the station stand for a few seconds (as
an emergency comes out of the blue, not on the heels of the last one):
- station: the station's own receipt of the request (its trace's
  "emergency-request"), which is where the main window's button and the
  tray's entry come in once their one question is answered;
- local: `tavplayer --emergency` started on the folder (the client's own
  start-up included, as an operator or a script would see it; --client
  names another program for it, e.g. tavplayer-headless);
- web: `POST /api/v1/emergency` with `Authorization: Bearer TOKEN`, as an
  alarm panel sends it (a fresh connection each time).
Reported per path: request to the first sample heard and request to the
station's receipt, p50/p95/max. Aim: under 300 ms. Exit status 77 without PulseAudio, 1 when a round was not heard, 2
when the aim was missed.

usage: bench/emergency_latency.py [--bin build/src/app/tavplayer] [--client PROGRAM] [--rounds 8]
                                  [--path all|local|web]
                                  [--player-option NAME=VALUE ...] [--keep]
"""
import argparse, datetime as dt, http.client, os, shutil, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import heard  # noqa: E402
from benchstation import Station, free_port, gbk_ini  # noqa: E402

TOKEN = "bench-alarm-panel-token"
AIM_MS = 300


def trace_times(path, event):
    """Wall times of one event of the station's trace."""
    out = []
    for line in open(path, encoding="utf-8"):
        parts = line.split(" ", 2)
        if len(parts) >= 2 and parts[1] == event:
            out.append(dt.datetime.strptime(parts[0], "%Y-%m-%dT%H:%M:%S.%f").timestamp())
    return out


def local(args, data, env, clear=False):
    cmd = [args.client, "--emergency-clear" if clear else "--emergency", "--data-dir", data]
    t = time.time()
    r = subprocess.run(cmd, env=env, capture_output=True, text=True, timeout=20)
    if r.returncode != 0:
        raise RuntimeError(f"{' '.join(cmd)}: {r.returncode} {r.stdout} {r.stderr}")
    return t


def web(port):
    conn = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    body = b"{}"
    t = time.time()
    conn.request("POST", "/api/v1/emergency", body=body,
                 headers={"Authorization": "Bearer " + TOKEN, "Content-Type": "application/json"})
    reply = conn.getresponse()
    reply.read()
    conn.close()
    if not 200 <= reply.status < 300:
        raise RuntimeError(f"POST /api/v1/emergency: {reply.status}")
    return t


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer")
    ap.add_argument("--client", help="the program for the command line path (default: --bin)")
    ap.add_argument("--rounds", type=int, default=8)
    ap.add_argument("--path", default="all", choices=["all", "local", "web"])
    ap.add_argument("--player-option", action="append", default=[])
    ap.add_argument("--keep", action="store_true")
    ap.add_argument("--verbose", action="store_true", help="each round's times")
    args = ap.parse_args()
    args.bin = os.path.abspath(args.bin)
    args.client = os.path.abspath(args.client or args.bin)

    pulse = heard.Pulse.start()
    if not pulse:
        print("PulseAudio could not be started: skipped", file=sys.stderr)
        return 77
    data = tempfile.mkdtemp(prefix="tav-emergency-")
    subprocess.run(["sox", "-n", "-r", "44100", "-c", "2", os.path.join(data, "TONE.wav"), "synth", "0.3",
                    "sine", "3000"], check=True)
    port = free_port()
    gbk_ini(os.path.join(data, "【CONTROL】.ini"), [("WEB", [("On", "1"), ("Port", str(port)),
                                                           ("Listen", "127.0.0.1")])])
    env = pulse.env()
    subprocess.run([args.bin, "--emergency-token", TOKEN, "--data-dir", data], env=env, check=True,
                   capture_output=True, timeout=20)
    paths = ["local", "web"] if args.path == "all" else [args.path]
    asked = {p: [] for p in paths}  # wall time of each request, by path
    rec = heard.Recorder(pulse).start()
    failed = False
    try:
        with Station(args.bin, data, ["ao=pulse"] + args.player_option, env=env) as station:
            time.sleep(6)  # up, its web console listening, the alarm made ready
            for i in range(args.rounds):
                for p in paths:
                    try:
                        asked[p].append(local(args, data, env) if p == "local" else web(port))
                        time.sleep(1.5)
                        local(args, data, env, clear=True)
                    except (RuntimeError, OSError, subprocess.SubprocessError) as e:
                        print(e, file=sys.stderr)
                        failed = True
                    time.sleep(4)
        received = trace_times(station.trace, "emergency-request")
    finally:
        rec.stop()
        pulse.stop()
    print(f"  (recording mapped to the wall clock within ~{rec.calibrate():.1f} ms, moving {rec.moved():.0f} ms over the recording)")
    missed = False
    inside = []
    for p in paths:
        delays, reached = [], []
        for t in asked[p]:
            onset = rec.onset(t, t + 3)
            if onset is None:
                failed = True
                continue
            delays.append((onset - t) * 1000)
            got = [r for r in received if t - 0.05 <= r <= onset + 0.05]
            if args.verbose:
                print(f"  {p} at {time.strftime('%H:%M:%S', time.localtime(t))}.{int(t % 1 * 1000):03d}: station "
                      f"{'-' if not got else f'{(got[0] - t) * 1000:.1f}'} ms, sound {(onset - t) * 1000:.1f} ms")
            if got:
                reached.append((got[0] - t) * 1000)
                inside.append((onset - got[0]) * 1000)
        print(heard.row(f"{p}: request to sound", delays))
        print(heard.row(f"{p}: request to station", reached))
        if delays and max(delays) > AIM_MS:
            missed = True
    print(heard.row("station: receipt to sound", inside))
    if inside and max(inside) > AIM_MS:
        missed = True
    if args.keep:
        print(f"  data and trace: {data}")
    else:
        shutil.rmtree(data, ignore_errors=True)
    if failed:
        print("a round was not heard or not taken", file=sys.stderr)
        return 1
    return 2 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
