#!/usr/bin/env bash
# Runs the built program under Xvfb with a window manager (openbox) with the
# station logo and the clock switched on, over a task that plays a generated
# test video: once in the player window, once full screen, then the screen
# saver after the task. Screenshots go into DIR (default ./screenshots).
# XVFB_DISPLAY picks the first display number tried.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
with_openbox
ffmpeg -loglevel error -f lavfi -i testsrc=size=640x360:rate=25 -t 30 -pix_fmt yuv420p -c:v libx264 "$work/test.mp4"

# GBK INI text with CRLF from UTF-8 lines.
ini() { sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$1"; }
at() { date -d "@$(($(date +%s) + $1))" +%-H:%M:%S; }

# A logo on the see-through grey: a red disc, a frame one step lighter than
# the grey (it must stay visible) and white letters.
logo() {
  convert -size 240x90 xc:'#808080' -fill '#c00000' -draw 'circle 45,45 45,8' \
    -fill '#818181' -draw 'rectangle 96,14 232,76' -fill white -font "$(fc-match -f '%{file}' sans:bold)" -pointsize 40 -annotate +110+62 'TAV' \
    "BMP3:$1/LOGO.bmp"
}

# One run: a task from $3 s to 10 s later; full screen when $1 is 1, the
# screen saver when $2 is 1 (then with a background picture PBG.JPG).
run() {
  local data="$work/data$1$2"
  mkdir -p "$data"
  logo "$data"
  if (($2)); then convert -size 320x180 gradient:'#203060-#60a0e0' "JPEG:$data/PBG.JPG"; fi
  printf '%s\n' "[FileInfo1]" "Name=视频演示" "Time=$(at "$3")" "Duration=$(at $(($3 + 10)))" "Type=50000" \
    "Device=每天" "Recurrence=循环" "Remind=开" | ini "$data/【SONG】.ini"
  printf '%s\n' "[多媒体文件数量]" "数量=1" "[歌曲]" "歌曲名称0=$work/test.mp4" | ini "$data/视频演示.ini"
  # The logo 20 px inside the player window's top left corner (twips: px × 15).
  printf '%s\n' "[播放窗口尺寸]" "PlayHeight=360" "PlayWidth=640" "PlayTop=420" "PlayLeft=620" \
    "[复选控制]" "是否播放时全屏=$1" "台标LOGO=1" "时间显示=1" "屏保=$2" \
    "[LOGO顶边]" "LOGOTop=6600" "[LOGO左边]" "LOGOLeft=9600" \
    "[时间字体]" "Name=Noto Sans CJK SC" "Size=26" "Bold=True" "ForeColor=65535" | ini "$data/【CONTROL】.ini"
  "$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
  app=$!
}

run 0 0 4
sleep 9 && shot overlay-video-window
convert "$out/overlay-video-window.png" -crop 400x200+600+400 +repage "$out/overlay-video-window-detail.png"
kill "$app"; wait "$app" || true

run 1 0 4
sleep 9 && shot overlay-video-full-screen
convert "$out/overlay-video-full-screen.png" -crop 400x200+620+420 +repage "$out/overlay-video-full-screen-detail.png"
kill "$app"; wait "$app" || true

# Nothing due for ten minutes: the screen saver after five quiet seconds.
run 0 1 600
sleep 9 && shot overlay-screen-saver
