#!/usr/bin/env bash
# Runs the built program under Xvfb on a task that plays a generated test
# video, once in the player window and once full screen, and takes
# screenshots of both and of the window after the task ends, into DIR
# (default ./screenshots), for a person to look at.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
ffmpeg -loglevel error -f lavfi -i testsrc=size=640x360:rate=25 -t 30 -pix_fmt yuv420p -c:v libx264 "$work/test.mp4"

# GBK INI text with CRLF from UTF-8 lines.
ini() { sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$1"; }
at() { date -d "@$(($(date +%s) + $1))" +%-H:%M:%S; }

# One run: a task from 4 s to 12 s from now; full screen when $1 is 1.
run() {
  local data="$work/data$1"
  mkdir -p "$data"
  printf '%s\n' "[FileInfo1]" "Name=视频演示" "Time=$(at 4)" "Duration=$(at 12)" "Type=50000" \
    "Device=每天" "Recurrence=循环" "Remind=开" | ini "$data/【SONG】.ini"
  printf '%s\n' "[多媒体文件数量]" "数量=1" "[歌曲]" "歌曲名称0=$work/test.mp4" | ini "$data/视频演示.ini"
  printf '%s\n' "[播放窗口尺寸]" "PlayHeight=360" "PlayWidth=640" "PlayTop=420" "PlayLeft=620" \
    "[复选控制]" "是否播放时全屏=$1" | ini "$data/【CONTROL】.ini"
  "$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
  app=$!
}

run 0
sleep 8 && shot video-window
sleep 7 && shot video-ended
kill "$app"; wait "$app" || true
run 1
sleep 8 && shot video-full-screen
