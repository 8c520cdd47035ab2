#!/usr/bin/env bash
# Runs the built program under Xvfb with a window manager (openbox) over a
# task that plays a generated test video full screen, with a caption running,
# then starts the emergency from the command line: the red screen must cover
# the video and the caption. Screenshots go into DIR (default ./screenshots).
# XVFB_DISPLAY picks the first display number tried.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
with_openbox
ffmpeg -loglevel error -f lavfi -i testsrc=size=640x360:rate=25 -t 60 -pix_fmt yuv420p -c:v libx264 "$work/test.mp4"

ini() { sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$1"; }
at() { date -d "@$(($(date +%s) + $1))" +%-H:%M:%S; }

data="$work/data"
mkdir -p "$data"
printf '%s\n' "[FileInfo1]" "Name=视频演示" "Time=$(at 4)" "Duration=$(at 60)" "Type=50000" \
  "Device=每天" "Recurrence=循环" "Remind=开" | ini "$data/【SONG】.ini"
printf '%s\n' "[多媒体文件数量]" "数量=1" "[歌曲]" "歌曲名称0=$work/test.mp4" | ini "$data/视频演示.ini"
printf '%s\n' "[复选控制]" "是否播放时全屏=1" "时间显示=1" | ini "$data/【CONTROL】.ini"
"$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
app=$!

sleep 9 && shot emergency-before
"$bin" --data-dir "$data" --emergency "火警！请立即从最近的安全出口有序撤离，不要乘坐电梯。"
sleep 2 && shot emergency-cover
"$bin" --data-dir "$data" --emergency-clear
sleep 2 && shot emergency-cleared
kill "$app"; wait "$app" || true
