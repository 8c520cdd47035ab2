"""What the benchmarks share: data files written the station's way and a
headless station started on a data folder and stopped again.

    with Station(binary, data, trace=True, options=["ao=null"]) as station:
        ...                      # the station runs; station.trace is its trace file
"""
import os, signal, socket, subprocess


def gbk_ini(path, sections):
    """Writes an INI file as the station keeps them: GBK, CRLF.
    sections: [(name, [(key, value), ...]), ...]"""
    lines = []
    for name, keys in sections:
        lines.append(f"[{name}]")
        lines += [f"{k}={v}" for k, v in keys]
    with open(path, "wb") as f:
        f.write(("\r\n".join(lines) + "\r\n").encode("gbk"))


def hms(t):
    """A time of day as the task file writes it (no leading zero on the hour)."""
    return f"{t.hour}:{t.minute:02d}:{t.second:02d}"


def percentile(values, p):
    values = sorted(values)
    k = (len(values) - 1) * p / 100
    lo, hi = int(k), min(int(k) + 1, len(values) - 1)
    return values[lo] + (values[hi] - values[lo]) * (k - lo)


def broadcast_section(index, name, time, day, tone):
    """One section of 【TTS】.ini: a broadcast read once at `time` on `day`
    (Y/M/D), with or without the prompt tone."""
    return (f"TTS{index}", [("TTS_Name", name), ("TTS_TimeStart", time), ("TTS_TimeEnd", time),
                            ("TTS_DateStart", day), ("TTS_DateEnd", day), ("TTS_Week", "一二三四五六日"),
                            ("TTS_Interval", "0"), ("TTS_Switch", "开"), ("TTS_BGVolume", "30"),
                            ("TTS_Tone", "1" if tone else "0"), ("TTS_Speaker", "VW Hui"),
                            ("TTS_Rate", "0"), ("TTS_txtVolume", "100"), ("TTS_BG_Music", ""),
                            ("TTS_Index", str(index)), ("TTS_Delay", "0"), ("TTS_Frequency", "1")])


def free_port():
    """A port on the loopback that nothing listens on now."""
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Station:
    """`tavplayer --headless` on a data folder, with a trace file in it
    (trace.txt) and the given player options (NAME=VALUE) and environment.
    stop() (or leaving the with-block) ends it with SIGTERM, as a service
    manager would, and waits for it."""

    def __init__(self, binary, data, options=(), env=None, extra=(), trace=True):
        self.binary, self.data = binary, data
        self.trace = os.path.join(data, "trace.txt") if trace else None
        self.cmd = [binary, "--headless", "--data-dir", data]
        if self.trace:
            self.cmd += ["--trace", self.trace]
        for option in options:
            self.cmd += ["--player-option", option]
        self.cmd += list(extra)
        self.env = env
        self.proc = None

    def start(self):
        self.proc = subprocess.Popen(self.cmd, env=self.env, stdout=subprocess.DEVNULL)
        return self

    def stop(self):
        if self.proc and self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                self.proc.wait(timeout=10)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait(timeout=5)

    def __enter__(self):
        return self.start()

    def __exit__(self, *exc):
        self.stop()
        return False
