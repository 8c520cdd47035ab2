#!/usr/bin/env python3
"""Start lateness of the headless station under a flood of web requests.

One run of `tavplayer-headless` with the web console on and N tasks
starting two seconds apart (millisecond trace). While the starts go by,
`wrk` (keep-alive connections on 127.0.0.1 with a manager's session cookie)
floods GET /api/v1/status in bursts: loaded and quiet stretches alternate,
so each start is measured either under the flood or without it, in the same
process at the same time of day. Then, still in that run:
  - the API's latency with 200 concurrent clients (wrk -c 200);
  - the page's load time (index.html, app.js and style.css on a fresh
    connection each, as a browser's first visit);
  - resident memory: at rest, after the flood; and that of a second run with
    the web console off, for what the server adds.
A bench, not a test: it prints figures. Needs `wrk` (Debian package wrk).

usage: bench/web_wrk.py [--bin build/src/app/tavplayer-headless] [--starts 30] [--burst 10]
                        [--connections 64] [--threads 1] [--path /api/v1/status]
"""
import argparse, datetime as dt, http.client, os, re, shutil, signal, subprocess, sys, time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from benchstation import free_port, percentile  # noqa: E402
from web_load import lay_out, login, rss_kb  # noqa: E402


def starts_of(trace):
    """(wall time of the start's second, ms after that second) for each start."""
    out = []
    for line in open(trace, encoding="utf-8"):
        stamp, event = line.split(" ", 2)[:2]
        if event == "start":
            t = dt.datetime.strptime(stamp, "%Y-%m-%dT%H:%M:%S.%f")
            second = t.replace(microsecond=0)
            out.append((second.timestamp(), (t - second).total_seconds() * 1000))
    return out


def wrk(port, cookie, seconds, connections, threads, path):
    cmd = ["wrk", "-t", str(threads), "-c", str(connections), "-d", f"{seconds}s", "--latency",
           "-H", f"Cookie: {cookie}", f"http://127.0.0.1:{port}{path}"]
    began = time.time()
    out = subprocess.run(cmd, capture_output=True, text=True, timeout=seconds + 30).stdout
    ended = time.time()
    rate = float(re.search(r"Requests/sec:\s+([\d.]+)", out).group(1))
    errors = re.search(r"Non-2xx or 3xx responses: (\d+)|Socket errors: (.*)", out)
    lat = {}
    for p, value, unit in re.findall(r"^\s+(50|75|90|99)%\s+([\d.]+)(us|ms|s)\s*$", out, re.M):
        lat[int(p)] = float(value) * {"us": 0.001, "ms": 1.0, "s": 1000.0}[unit]
    return {"began": began, "ended": ended, "rate": rate, "latency": lat,
            "errors": errors.group(0) if errors else "", "raw": out}


def page_load_ms(port, rounds=20):
    times = []
    for _ in range(rounds):
        t0 = time.perf_counter()
        for path in ("/", "/app.js", "/style.css"):
            c = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
            c.request("GET", path)
            r = c.getresponse()
            r.read()
            c.close()
            if r.status != 200:
                raise SystemExit(f"{path}: {r.status}")
        times.append((time.perf_counter() - t0) * 1000)
    return times


def station(binary, data, trace, port):
    cmd = [binary, "--headless", "--data-dir", data, "--player-option", "ao=null"]
    if trace:
        cmd += ["--trace", trace]
    if port:
        cmd += ["--web-port", str(port)]
    return subprocess.Popen(cmd, stdout=subprocess.DEVNULL)


def stop(proc):
    proc.send_signal(signal.SIGTERM)
    proc.wait(timeout=15)


def summary(values):
    if not values:
        return "none"
    return (f"p50 {percentile(values, 50):5.1f}  p95 {percentile(values, 95):5.1f}  max {max(values):5.1f} ms"
            f"  (n={len(values)})")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer-headless")
    ap.add_argument("--starts", type=int, default=30)
    ap.add_argument("--burst", type=int, default=10, help="seconds of flood, then as many quiet")
    ap.add_argument("--connections", type=int, default=64)
    ap.add_argument("--threads", type=int, default=1)
    ap.add_argument("--path", default="/api/v1/status")
    args = ap.parse_args()
    if not shutil.which("wrk"):
        raise SystemExit("wrk is not installed (apt-get install wrk)")
    binary = os.path.abspath(args.bin)

    # What the server adds: the same station with the console off, at rest.
    rest = lay_out(binary, dt.datetime.now() + dt.timedelta(hours=1), args.starts)
    proc = station(binary, rest, None, None)
    time.sleep(5)
    rss_off = rss_kb(proc.pid)
    stop(proc)

    first = (dt.datetime.now() + dt.timedelta(seconds=10)).replace(microsecond=0)
    data = lay_out(binary, first, args.starts)
    trace = os.path.join(data, "trace.txt")
    port = free_port()
    proc = station(binary, data, trace, port)
    bursts = []
    try:
        time.sleep(5)
        rss_on = rss_kb(proc.pid)
        _, cookie = login(port)
        last = first.timestamp() + 2 * (args.starts - 1)
        time.sleep(max(0.0, first.timestamp() - 1 - time.time()))
        while time.time() < last:
            bursts.append(wrk(port, cookie, args.burst, args.connections, args.threads, args.path))
            time.sleep(min(args.burst, max(0.0, last + 1 - time.time())))
        time.sleep(max(0.0, last + 1.5 - time.time()))
        rss_flooded = rss_kb(proc.pid)
        many = wrk(port, cookie, 10, 200, 2, args.path)
        page = page_load_ms(port)
        rss_after = rss_kb(proc.pid)
    finally:
        stop(proc)

    loaded, quiet = [], []
    for second, late in starts_of(trace):
        # A start counts as loaded when wrk ran through its whole second.
        if any(b["began"] + 0.3 <= second and second + 1 <= b["ended"] for b in bursts):
            loaded.append(late)
        elif all(second + 1 < b["began"] or second > b["ended"] + 0.3 for b in bursts):
            quiet.append(late)
    starts = len(starts_of(trace))
    rate = sum(b["rate"] for b in bursts) / len(bursts)
    print(f"starts seen {starts} of {args.starts}")
    print(f"start lateness, quiet : {summary(quiet)}")
    print(f"start lateness, flood : {summary(loaded)}")
    if quiet and loaded:
        # The trace has whole milliseconds: a ratio counts a quiet 0 as 1 ms.
        def ratio(a, b):
            return max(a, 1.0) / max(b, 1.0)
        print(f"flood - quiet: p50 {percentile(loaded, 50) - percentile(quiet, 50):+.1f} ms"
              f"  p95 {percentile(loaded, 95) - percentile(quiet, 95):+.1f} ms  max {max(loaded) - max(quiet):+.1f} ms;"
              f" flood / quiet (1 ms floor): p50 x{ratio(percentile(loaded, 50), percentile(quiet, 50)):.1f}"
              f"  p95 x{ratio(percentile(loaded, 95), percentile(quiet, 95)):.1f}  max x{ratio(max(loaded), max(quiet)):.1f}")
    print(f"machine load average during the run: {os.getloadavg()[0]:.1f} on {os.cpu_count()} processors")
    print(f"flood: {rate:.0f} requests/s ({args.connections} keep-alive connections, GET {args.path})"
          + "".join(f"; {b['errors']}" for b in bursts if b["errors"]))
    print(f"200 concurrent clients: {many['rate']:.0f} requests/s, p50 {many['latency'].get(50, -1):.2f} ms,"
          f" p99 {many['latency'].get(99, -1):.2f} ms" + (f"; {many['errors']}" if many["errors"] else ""))
    print(f"page load (index.html + app.js + style.css, new connections): p50 {percentile(page, 50):.1f} ms,"
          f" max {max(page):.1f} ms")
    print(f"resident memory: console off {rss_off} kB, on at rest {rss_on} kB (+{rss_on - rss_off} kB),"
          f" after the flood {rss_flooded} kB, after 200 clients {rss_after} kB")
    return 0


if __name__ == "__main__":
    sys.exit(main())
