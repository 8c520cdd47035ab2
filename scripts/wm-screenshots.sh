#!/usr/bin/env bash
# Runs the built program under Xvfb with a window manager (openbox) on a
# fresh, empty data folder holding a sound task and a video task, and takes
# screenshots into DIR (default ./screenshots) for a person to look at:
# the first start (no player window yet), the sound task (still none, its
# row marked), the video task (the player window where the fresh settings
# put it), its row marked in the grid, and the task grid in each of the three looks.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
with_openbox
ffmpeg -loglevel error -f lavfi -i testsrc=size=640x360:rate=25 -t 30 -pix_fmt yuv420p -c:v libx264 "$work/test.mp4"
sox -n -r 44100 -c 2 "$work/bell.wav" synth 30 sine 660 vol 0.3

ini() { sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$1"; }
at() { date -d "@$(($(date +%s) + $1))" +%-H:%M:%S; }

data="$work/data"
mkdir -p "$data"
printf '%s\n' "[FileInfo1]" "Name=上课铃" "Time=$(at 8)" "Duration=$(at 60)" "Type=30000" \
  "Device=每天" "Recurrence=循环" "Remind=开" \
  "[FileInfo2]" "Name=宣传片" "Time=$(at 16)" "Duration=$(at 60)" "Type=50000" \
  "Device=每天" "Recurrence=循环" "Remind=开" | ini "$data/【SONG】.ini"
printf '%s\n' "[多媒体文件数量]" "数量=1" "[歌曲]" "歌曲名称0=$work/bell.wav" | ini "$data/上课铃.ini"
printf '%s\n' "[多媒体文件数量]" "数量=1" "[歌曲]" "歌曲名称0=$work/test.mp4" | ini "$data/宣传片.ini"

"$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
app=$!
xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
sleep 2 && shot fresh-start
sleep 8 && shot sound-task
sleep 8 && shot video-task
# The window manager placed the console (the player window has the same
# title but no frame): click its first tab by the console's place.
for id in $(xdotool search --onlyvisible --name '^Tavrel'); do
  eval "$(xdotool getwindowgeometry --shell "$id")"
  if ((WIDTH > 900)); then
    xdotool mousemove $((X + 44)) $((Y + 83)) click 1 && sleep 0.5 && shot running-row
    break
  fi
done
iconv -f GBK -t UTF-8 "$data/【CONTROL】.ini" | tr -d '\r' >"$out/fresh-control.ini.txt"
kill "$app"; wait "$app" 2>/dev/null || true

for skin in 1 2 3; do
  sed -i "s/^skin=.*/skin=$skin\r/" "$data/【CONTROL】.ini"
  "$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
  app=$!
  xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
  sleep 2 && shot "look-$skin"
  kill "$app"; wait "$app" 2>/dev/null || true
done
