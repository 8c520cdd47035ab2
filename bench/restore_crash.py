#!/usr/bin/env python3
"""A restore killed with SIGKILL at a random moment, again and again.

Lays out a data folder of N files (half at the top level, half in
subfolders) and a backup holding a new version of each, runs
`tavplayer --restore BACKUP --data-dir DATA` and kills it after a random
delay. Right after the kill every file must hold its old or its new
version (none missing, none mixed); then the station is started headless
until it has dealt with the journal, which completes or undoes the interrupted restore: every
file must then be all old or all new, and no journal or staging folder
remains. Each trial is reported; any file missing or mixed fails the run.

usage: bench/restore_crash.py [--bin build/src/app/tavplayer] [--trials 50] [--files 1502]
"""
import argparse, os, random, signal, subprocess, sys, tempfile, time


def lay_out(root, files):
    data, backup = os.path.join(root, "data"), os.path.join(root, "backup")
    names = []
    for i in range(files):
        rel = f"任务{i}.ini" if i % 2 == 0 else os.path.join(f"列表{i % 7}", f"{i}.txt")
        names.append(rel)
        for folder, text in ((data, f"old {i}\n"), (backup, f"new {i} " + "x" * (i % 300) + "\n")):
            path = os.path.join(folder, rel)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as f:
                f.write(text)
    return data, backup, names


def census(data, backup, names):
    old = new = missing = mixed = 0
    for rel in names:
        path = os.path.join(data, rel)
        if not os.path.exists(path):
            missing += 1
            continue
        with open(path, encoding="utf-8") as f:
            got = f.read()
        with open(os.path.join(backup, rel), encoding="utf-8") as f:
            fresh = f.read()
        if got == fresh:
            new += 1
        elif got.startswith("old "):
            old += 1
        else:
            mixed += 1
    return old, new, missing, mixed


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bin", default="build/src/app/tavplayer")
    ap.add_argument("--trials", type=int, default=50)
    ap.add_argument("--files", type=int, default=1502)
    ap.add_argument("--max-delay", type=float, default=0.0, help="seconds; 0: measured from one whole restore")
    args = ap.parse_args()
    env = dict(os.environ, LANG="zh_CN.UTF-8")
    env.pop("DISPLAY", None)

    max_delay = args.max_delay
    if max_delay <= 0:
        with tempfile.TemporaryDirectory() as root:
            data, backup, _ = lay_out(root, args.files)
            t = time.monotonic()
            subprocess.run([args.bin, "--restore", backup, "--data-dir", data], env=env,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
            max_delay = (time.monotonic() - t) * 1.2
        print(f"one whole restore of {args.files} files: {max_delay / 1.2 * 1000:.0f} ms")

    bad = 0
    outcomes = {"completed": 0, "undone": 0, "finished before the kill": 0}
    for trial in range(args.trials):
        with tempfile.TemporaryDirectory() as root:
            data, backup, names = lay_out(root, args.files)
            p = subprocess.Popen([args.bin, "--restore", backup, "--data-dir", data], env=env,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(random.uniform(0, max_delay))
            p.send_signal(signal.SIGKILL)
            killed = p.wait() == -signal.SIGKILL
            old, new, missing, mixed = census(data, backup, names)
            after_kill = f"after the kill {old} old, {new} new, {missing} missing, {mixed} mixed"
            station = subprocess.Popen([args.bin, "--headless", "--data-dir", data, "--player-option", "ao=null"],
                                       env=env, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            # Until the station has dealt with the journal (a loaded machine starts slowly).
            deadline = time.monotonic() + 30
            while time.monotonic() < deadline and any(
                    os.path.exists(os.path.join(data, n)) for n in (".tavplayer-restore.journal", ".tavplayer-restore")):
                time.sleep(0.1)
            time.sleep(0.5)
            station.send_signal(signal.SIGTERM)
            _, err = station.communicate(timeout=15)
            old2, new2, missing2, mixed2 = census(data, backup, names)
            leftovers = [n for n in (".tavplayer-restore.journal", ".tavplayer-restore")
                         if os.path.exists(os.path.join(data, n))]
            whole = old2 == len(names) or new2 == len(names)
            ok = missing == 0 and mixed == 0 and whole and not leftovers
            outcome = ("finished before the kill" if not killed
                       else "completed" if new2 == len(names) else "undone")
            outcomes[outcome] += 1
            bad += not ok
            print(f"trial {trial + 1:2}: {after_kill}; next start: {outcome}"
                  + ("" if ok else f"  FAILED ({old2} old, {new2} new, {missing2} missing, leftovers {leftovers})"))
    print(f"{args.trials} trials: " + ", ".join(f"{k} {v}" for k, v in outcomes.items())
          + f"; {bad} left files missing or mixed")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
