#!/usr/bin/env bash
# A fleet over Syncthing on loopback: a task added at the editing folder
# reaches a running headless station and plays on its second; the station's
# own files never travel back, nor does a change made at the station.
#   syncthing_station.sh BUILD_DIR SOURCE_DIR      (77: syncthing or sox missing)
set -euo pipefail
build=$1 src=$2
command -v syncthing >/dev/null || { echo "syncthing is not installed"; exit 77; }
command -v sox >/dev/null || { echo "sox is not installed"; exit 77; }
work=$(mktemp -d)
edit=$work/edit station=$work/station
station_pid=
cleanup() {
  [[ -n $station_pid ]] && kill "$station_pid" 2>/dev/null && wait "$station_pid" 2>/dev/null
  "$src/scripts/fleet-syncthing.sh" stop "$work/st" || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; echo "--- station output"; cat "$work/station.out" 2>/dev/null | tail -30; exit 1; }
now() { date +%s.%N; }
# Waits up to $1 seconds for a command to succeed.
wait_for() {
  local until=$((SECONDS + $1)); shift
  until "$@"; do ((SECONDS < until)) || return 1; sleep 0.05; done
}

mkdir -p "$edit" "$station"
sox -n -r 44100 -c 2 "$work/tone.wav" synth 20 sine 440 2>/dev/null
task() { # n name start end
  printf '[FileInfo%s]\r\nName=%s\r\nTime=%s\r\nDuration=%s\r\nType=50000\r\nDevice=每天\r\nRecurrence=顺序\r\nRemind=开\r\n' "$@"
}
gbk() { iconv -f UTF-8 -t GBK; }
list() { printf '[多媒体文件数量]\r\n数量=1\r\n[歌曲]\r\n歌曲名称0=%s\r\n' "$work/tone.wav"; }
task 1 早操 23:59:00 23:59:30 | gbk >"$edit/【SONG】.ini"
list | gbk >"$edit/早操.ini"
# The station's own files, before anything is shared.
printf '[METRICS]\r\nName=station-1\r\n' | gbk >"$station/【CONTROL】.ini"

"$src/scripts/fleet-syncthing.sh" start "$work/st" "$edit" "$station"
wait_for 30 test -f "$station/早操.ini" || fail "the first files never reached the station"

"$build/src/app/tavplayer-headless" --data-dir "$station" --player-option ao=null \
  --trace "$work/trace.txt" >"$work/station.out" 2>&1 &
station_pid=$!
wait_for 20 grep -q '将播' "$work/station.out" || fail "the station did not start"

# A task ten seconds from now, added at the editing place (written whole, as
# an editor saving through a temporary file does).
start_epoch=$(( $(date +%s) + 10 ))
start_time=$(date -d "@$start_epoch" +%-H:%M:%S)
list | gbk >"$edit/.新任务.ini.part" && mv "$edit/.新任务.ini.part" "$edit/新任务.ini"
{ task 1 早操 23:59:00 23:59:30; task 2 新任务 "$start_time" 23:59:59; } | gbk >"$edit/.SONG.part"
changed_at=$(now)
mv "$edit/.SONG.part" "$edit/【SONG】.ini"
has_new_task() { iconv -f GBK -t UTF-8 "$station/【SONG】.ini" | grep -q 新任务; }
wait_for 8 has_new_task || fail "the change did not reach the station folder"
arrived_at=$(now)
wait_for 4 grep -q '已载入其他程序修改的数据文件：“【SONG】.ini”' "$work/station.out" || fail "the station did not take the change in"
taken_at=$(now)

wait_for 15 grep -q ' start 新任务' "$work/trace.txt" || fail "the new task did not start"
wait_for 5 grep -q ' playing ' "$work/trace.txt" || fail "the new task did not sound"
started=$(grep ' start 新任务' "$work/trace.txt" | head -n1 | cut -d' ' -f1)
sounded=$(grep ' playing ' "$work/trace.txt" | head -n1 | cut -d' ' -f1)
[[ $started == $(date -d "@$start_epoch" +%Y-%m-%dT%H:%M:%S).* ]] || fail "started at $started, not on its second $start_time"
late_ms=$(( ($(date -d "${sounded/T/ }" +%s%3N) - start_epoch * 1000) ))

# The station's own files, and a change made at the station, stay there.
echo "[x]" >>"$station/早操.ini"
sleep 4
for own in 【PLAYLOG】.txt 【CONTROL】.ini; do
  [[ -f $station/$own ]] || fail "the station has no $own"
  [[ ! -e $edit/$own ]] || fail "$own travelled back to the editing place"
done
grep -q '^\[x\]' "$edit/早操.ini" && fail "a change at the station travelled back"
kill -0 "$station_pid" || fail "the station died"

awk -v c="$changed_at" -v a="$arrived_at" -v t="$taken_at" -v l="$late_ms" 'BEGIN {
  printf "change at the editing folder -> station folder: %.2f s; -> taken in by the station: %.2f s\n", a - c, t - c
  printf "start at %s, first sound %d ms after its second\n", "'"$start_time"'", l }'
echo PASS
