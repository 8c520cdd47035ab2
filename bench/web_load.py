#!/usr/bin/env python3
"""The web console under load, beside the clockwork.

Runs `tavplayer-headless` three times on a fresh data folder with N tasks
starting two seconds apart and a millisecond trace:
  1. web console off: resident memory at rest (the baseline);
  2. web console on, no requests: start lateness (the "start" trace event
     after its second's boundary);
  3. web console on while local load generators (processes with keep-alive
     connections on 127.0.0.1, bounded in count and time) send as many API
     calls as they can: start lateness, the request rate reached, then the
     API's latency with 200 concurrent clients, and resident memory.
A bench, not a test: it prints figures.

usage: bench/web_load.py [--bin build/src/app/tavplayer-headless] [--starts 12] [--workers 4]
                         [--clients 200] [--rounds 20]
"""
import argparse, asyncio, datetime as dt, http.client, json, multiprocessing as mp, os, signal
import struct, subprocess, sys, tempfile, time, wave

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from benchstation import free_port, gbk_ini, hms, percentile  # noqa: E402

PASSWORD = "bench-secret"


def rss_kb(pid):
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return -1


def lay_out(binary, starts_at, count):
    data = tempfile.mkdtemp(prefix="tav-webload-")
    tone = os.path.join(data, "tone.wav")
    with wave.open(tone, "wb") as w:
        w.setnchannels(1); w.setsampwidth(2); w.setframerate(8000)
        w.writeframes(struct.pack("<h", 0) * 4000)
    tasks = []
    for i in range(count):
        s = starts_at + dt.timedelta(seconds=2 * i)
        name = f"测速{i + 1}"
        tasks.append((f"FileInfo{i + 1}", [("Name", name), ("Time", hms(s)), ("Duration", hms(s + dt.timedelta(seconds=1))),
                                           ("Type", "50000"), ("Device", "每天"), ("Recurrence", "顺序"), ("Remind", "开")]))
        gbk_ini(os.path.join(data, f"{name}.ini"), [("多媒体文件数量", [("数量", "1")]), ("歌曲", [("歌曲名称0", tone)])])
    gbk_ini(os.path.join(data, "【SONG】.ini"), tasks)
    subprocess.run([binary, "--web-password", "--data-dir", data], input=PASSWORD + "\n", text=True,
                   check=True, capture_output=True)
    return data


def lateness(trace):
    out = []
    for line in open(trace, encoding="utf-8"):
        stamp, event = line.split(" ", 2)[:2]
        if event == "start":
            t = dt.datetime.strptime(stamp, "%Y-%m-%dT%H:%M:%S.%f")
            out.append((t - t.replace(microsecond=0)).total_seconds() * 1000)
    return out


def login(port):
    c = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    c.request("POST", "/api/v1/login", json.dumps({"password": PASSWORD}), {"Content-Type": "application/json"})
    r = c.getresponse()
    body = r.read()
    if r.status != 200:
        raise SystemExit(f"login failed: {r.status} {body!r}")
    cookie = r.getheader("Set-Cookie").split(";")[0]
    return c, cookie


def hammer(port, until, limit, counter):
    c, cookie = login(port)
    paths = ["/api/v1/status", "/api/v1/today", "/api/v1/tasks", "/api/v1/status"]
    n = 0
    while time.time() < until and n < limit:
        c.request("GET", paths[n % len(paths)], headers={"Cookie": cookie})
        r = c.getresponse()
        r.read()
        n += 1
    with counter.get_lock():
        counter.value += n


async def one_client(port, cookie, rounds, latencies):
    reader, writer = await asyncio.open_connection("127.0.0.1", port)
    request = f"GET /api/v1/status HTTP/1.1\r\nHost: 127.0.0.1\r\nCookie: {cookie}\r\n\r\n".encode()
    for _ in range(rounds):
        t0 = time.perf_counter()
        writer.write(request)
        head = await reader.readuntil(b"\r\n\r\n")
        length = 0
        for line in head.split(b"\r\n"):
            if line.lower().startswith(b"content-length:"):
                length = int(line.split(b":")[1])
        await reader.readexactly(length)
        latencies.append((time.perf_counter() - t0) * 1000)
    writer.close()


async def concurrent(port, cookie, clients, rounds):
    latencies = []
    t0 = time.perf_counter()
    await asyncio.gather(*(one_client(port, cookie, rounds, latencies) for _ in range(clients)))
    return latencies, time.perf_counter() - t0


def run(binary, starts, web, load, args):
    first = (dt.datetime.now() + dt.timedelta(seconds=12)).replace(microsecond=0)
    data = lay_out(binary, first, starts)
    trace = os.path.join(data, "trace.txt")
    port = free_port()
    cmd = [binary, "--headless", "--data-dir", data, "--trace", trace, "--player-option", "ao=null"]
    if web:
        cmd += ["--web-port", str(port)]
    proc = subprocess.Popen(cmd, stdout=subprocess.DEVNULL)
    result = {}
    try:
        time.sleep(5)
        result["rss_rest"] = rss_kb(proc.pid)
        last = first + dt.timedelta(seconds=2 * (starts - 1))
        workers = []
        counter = mp.Value("l", 0)
        if load:
            until = last.timestamp() + 1
            began = time.time()
            for _ in range(args.workers):
                p = mp.Process(target=hammer, args=(port, until, 500000, counter))
                p.start()
                workers.append(p)
        time.sleep(max(0, (last - dt.datetime.now()).total_seconds() + 1.5))
        for p in workers:
            p.join(30)
        if load:
            result["rate"] = counter.value / (time.time() - began)
            _, cookie = login(port)
            lat, took = asyncio.run(concurrent(port, cookie, args.clients, args.rounds))
            result["latency"] = lat
            result["latency_rate"] = len(lat) / took
            result["rss_loaded"] = rss_kb(proc.pid)
    finally:
        proc.send_signal(signal.SIGTERM)
        proc.wait(timeout=15)
    result["late"] = lateness(trace)
    return result


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer-headless")
    ap.add_argument("--starts", type=int, default=12)
    ap.add_argument("--workers", type=int, default=4)
    ap.add_argument("--clients", type=int, default=200)
    ap.add_argument("--rounds", type=int, default=20)
    args = ap.parse_args()
    binary = os.path.abspath(args.bin)

    off = run(binary, args.starts, False, False, args)
    quiet = run(binary, args.starts, True, False, args)
    loaded = run(binary, args.starts, True, True, args)
    for label, r in [("web off", off), ("web on, idle", quiet), ("web on, loaded", loaded)]:
        v = r["late"]
        print(f"{label:15s} start after its second: p50 {percentile(v, 50):6.1f} ms  max {max(v):6.1f} ms"
              f"  (n={len(v)} of {args.starts})")
    print(f"load: {loaded['rate']:.0f} requests/s from {args.workers} keep-alive clients during the starts")
    lat = loaded["latency"]
    print(f"GET /api/v1/status, {args.clients} concurrent clients x {args.rounds}: p50 {percentile(lat, 50):.1f} ms"
          f"  p99 {percentile(lat, 99):.1f} ms  ({loaded['latency_rate']:.0f} requests/s)")
    print(f"resident memory at rest: web off {off['rss_rest']} kB, web on {quiet['rss_rest']} kB;"
          f" after the load {loaded['rss_loaded']} kB")
    return 0


if __name__ == "__main__":
    sys.exit(main())
