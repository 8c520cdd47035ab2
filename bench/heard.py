"""What a listener hears, on the wall clock: a recorder of a PulseAudio null
sink's monitor, shared by the latency benchmarks.

A private PulseAudio daemon (its own runtime folder, no other client sees it)
runs with one null sink, "tav", made the default sink; programs started with
env() play into it. parec records the sink's monitor in chunks of 2.5 ms,
each stamped with the wall clock on arrival. A chunk arrives a little after
its last sample was rendered, never before, so the mapping from sample number
to wall clock is the lower envelope: offset = min(arrival - frames / rate),
wall(n) = offset + n / rate. Its error is the monitor's shortest delivery
delay (a few milliseconds at most, see calibrate()). The recording's rate is
not quite the wall clock's (here it gained about 0.4 ms a second), and on a
loaded machine the recorder can lose samples: one offset for a whole
recording would put events minutes in tens of milliseconds off. So the
envelope is taken locally, over the chunks within a second of a sample, and
moved() says how far it went over the recording.

Sound is found in 2 ms windows: a window is sound when its RMS is above
-50 dBFS, and a tone at a known frequency is told apart from other sound
(speech, music) by the share of the window's energy at that frequency.
"""
import array, math, os, shutil, subprocess, sys, tempfile, threading, time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from benchstation import percentile  # noqa: E402,F401  (row() and the benchmarks use it)

RATE = 44100
WINDOW = 88  # 2 ms at 44.1 kHz


class Pulse:
    """A private PulseAudio daemon with a null sink "tav"; None from start()
    when PulseAudio is missing or will not start."""

    def __init__(self):
        self.dir = tempfile.mkdtemp(prefix="tav-pulse-")

    def env(self):
        e = dict(os.environ)
        e.update(XDG_RUNTIME_DIR=self.dir, PULSE_RUNTIME_PATH=os.path.join(self.dir, "pulse"), HOME=self.dir,
                 PULSE_SERVER="unix:" + os.path.join(self.dir, "pulse", "native"), PULSE_SINK="tav")
        return e

    @classmethod
    def start(cls):
        if not shutil.which("pulseaudio") or not shutil.which("parec"):
            return None
        p = cls()
        sink = "module-null-sink sink_name=tav rate=44100"
        cmd = ["pulseaudio", "-n", "--daemonize=yes", "--exit-idle-time=-1", "--disable-shm=yes",
               "--use-pid-file=yes", "-L", "module-native-protocol-unix", "-L", sink,
               "--log-target=file:" + os.path.join(p.dir, "pulse.log")]
        try:
            subprocess.run(cmd, env=p.env(), check=True, timeout=10, capture_output=True)
        except (subprocess.SubprocessError, OSError):
            p.stop()
            return None
        for _ in range(50):
            if subprocess.run(["pactl", "info"], env=p.env(), capture_output=True).returncode == 0:
                break
            time.sleep(0.1)
        else:
            p.stop()
            return None
        return p

    def stop(self):
        subprocess.run(["pulseaudio", "--kill"], env=self.env(), capture_output=True, timeout=10)
        shutil.rmtree(self.dir, ignore_errors=True)


class Recorder:
    """Records the sink's monitor from start() to stop(); then times(),
    segments() and wall() read the recording."""

    def __init__(self, pulse):
        self.pulse = pulse
        self.samples = array.array("h")
        self.offsets = []
        self.proc = None

    def start(self):
        self.proc = subprocess.Popen(["parec", "--device=tav.monitor", "--raw", "--format=s16le", f"--rate={RATE}",
                                      "--channels=1", "--latency-msec=2", "--process-time-msec=1"],
                                     env=self.pulse.env(), stdout=subprocess.PIPE, bufsize=0)
        self.thread = threading.Thread(target=self._read, daemon=True)
        self.thread.start()
        time.sleep(0.5)
        return self

    def _read(self):
        out = self.proc.stdout
        pending = b""
        while True:
            data = out.read(220)
            now = time.time()
            if not data:
                return
            pending += data
            whole = len(pending) // 2 * 2
            self.samples.frombytes(pending[:whole])
            pending = pending[whole:]
            self.offsets.append((len(self.samples), now - len(self.samples) / RATE))

    def stop(self):
        self.proc.terminate()
        self.proc.wait(timeout=5)
        self.thread.join(timeout=5)
        seconds = len(self.samples) // RATE + 1
        lowest = [float("inf")] * seconds
        for n, o in self.offsets:
            b = min(n // RATE, seconds - 1)
            lowest[b] = min(lowest[b], o)
        self.local = [min(lowest[max(0, b - 1):b + 2]) for b in range(seconds)]
        known = [o for o in self.local if o != float("inf")] or [0.0]
        self.offset = min(known)
        self.local = [o if o != float("inf") else self.offset for o in self.local]

    def _offset(self, n):
        return self.local[min(max(0, n // RATE), len(self.local) - 1)]

    def calibrate(self):
        """How unevenly chunks arrived (ms): the 5th percentile of their delay
        beyond the quickest one nearby; the mapping's error is about this or less."""
        d = sorted(o - self._offset(n) for n, o in self.offsets)
        return d[len(d) // 20] * 1000 if d else float("nan")

    def moved(self):
        """How far the mapping moved over the recording (ms): drift and lost samples."""
        return (max(self.local) - min(self.local)) * 1000 if self.local else 0.0

    def wall(self, n):
        return self._offset(n) + n / RATE

    def index(self, t):
        """The sample number heard at wall time t (within the recording)."""
        n = int((t - self.offset) * RATE)
        n = int((t - self._offset(n)) * RATE)
        return min(max(0, n), len(self.samples))

    def windows(self, freq=None):
        """Per 2 ms window: (wall time of its start, sound?, share of its energy at freq)."""
        s = self.samples
        out = []
        for start in range(0, len(s) - WINDOW, WINDOW):
            chunk = s[start:start + WINDOW]
            energy = sum(x * x for x in chunk)
            rms = math.sqrt(energy / WINDOW) / 32768
            share = 0.0
            if freq and energy > 0:
                w = 2 * math.pi * freq / RATE
                re = sum(x * math.cos(w * i) for i, x in enumerate(chunk))
                im = sum(x * math.sin(w * i) for i, x in enumerate(chunk))
                share = 2 * (re * re + im * im) / WINDOW / energy
            out.append((self.wall(start), rms > 0.00316, share))
        return out

    def onset(self, after, before):
        """Wall time of the first sound sample between two wall times (sample-exact), or None."""
        first, last = self.index(after), self.index(before)
        for n in range(first, last):
            if abs(self.samples[n]) > 100:
                return self.wall(n)
        return None

    def segments(self, gap_ms=20, freq=None, tone_share=0.6):
        """Runs of sound split by at least gap_ms of silence: (start, end, tone?)
        in wall seconds; tone? when most of the run's windows are at freq."""
        runs, cur, silent = [], None, 0
        gap = gap_ms / 2
        for t, sound, share in self.windows(freq):
            if sound:
                if cur is None:
                    cur = [t, t + WINDOW / RATE, 0, 0]
                cur[1] = t + WINDOW / RATE
                cur[2] += 1
                cur[3] += share > tone_share
                silent = 0
            elif cur is not None:
                silent += 1
                if silent >= gap:
                    runs.append((cur[0], cur[1], cur[3] * 2 > cur[2]))
                    cur, silent = None, 0
        if cur is not None:
            runs.append((cur[0], cur[1], cur[3] * 2 > cur[2]))
        return runs


def row(label, values, unit="ms"):
    if not values:
        return f"{label:28s} no data"
    return (f"{label:28s} p50 {percentile(values, 50):7.1f} {unit}  p95 {percentile(values, 95):7.1f} {unit}"
            f"  min {min(values):7.1f}  max {max(values):7.1f}  (n={len(values)})")

