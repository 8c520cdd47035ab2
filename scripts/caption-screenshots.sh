#!/usr/bin/env bash
# Runs the built program under Xvfb (1920x1080) with openbox on a data folder
# whose captions are switched on, with a video task played full screen, and
# takes two screenshots of the running caption one second apart into DIR
# (default ./screenshots): caption-1.png, caption-2.png. The caption must
# stand above the full-screen video and have moved between them.
# XVFB_DISPLAY picks the Xvfb display (default: the first free from 93).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

XVFB_DISPLAY=${XVFB_DISPLAY:-93} XVFB_SCREEN=1920x1080x24 source scripts/xvfb.sh
openbox >/dev/null 2>&1 &
wm=$!
trap 'kill "${app:-}" "$wm" "$xvfb" 2>/dev/null || true; rm -rf "$work" "$XDG_CONFIG_HOME"' EXIT

ffmpeg -loglevel error -f lavfi -i testsrc=size=640x360:rate=25 -t 60 -pix_fmt yuv420p -c:v libx264 "$work/test.mp4"
ini() { sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$1"; }
at() { date -d "@$(($(date +%s) + $1))" +%-H:%M:%S; }
data="$work/data"
mkdir -p "$data"
printf '%s\n' "[FileInfo1]" "Name=宣传片" "Time=$(at 6)" "Duration=$(at 60)" "Type=30000" \
  "Device=每天" "Recurrence=循环" "Remind=开" | ini "$data/【SONG】.ini"
printf '%s\n' "[多媒体文件数量]" "数量=1" "[歌曲]" "歌曲名称0=$work/test.mp4" | ini "$data/宣传片.ini"
printf '%s\n' "[复选控制]" "滚动文字=1" "是否播放时全屏=1" "[速度]" "MOVE=3" "[跳跃速度]" "JUMP=10" \
  "[高度位置]" "Y=960" "[字幕播放方式]" "Manner=0" "[字幕切换时间]" "titleChangeTime=1" \
  "[字体]" "Name=Noto Sans CJK SC" "Size=30" "Bold=True" "ForeColor=65535" | ini "$data/【CONTROL】.ini"
printf '%s\n' "[Scroll1]" "content=欢迎光临 —— 本店今日全场八折，营业时间 9:00 至 21:00" "startTime=08:00:00" \
  "endTime=22:00:00" "swicth=开" | ini "$data/【SCROLL】.ini"

"$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
app=$!
xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
sleep 12 # the video task has started full screen
shot caption-1
sleep 1
shot caption-2
kill "$app"; wait "$app" 2>/dev/null || true

# The caption editor, opened from the tools menu, with the captions running.
rm "$data/【SONG】.ini"
printf '%s\n' "[Scroll2]" "content=下午三点开会，请准时到场" "startTime=15:00:00" "endTime=15:30:00" \
  "swicth=开" "[Scroll3]" "content=停用的字幕" "startTime=18:00:00" "endTime=18:10:00" "swicth=关" \
  | ini "$work/more.ini" && cat "$work/more.ini" >>"$data/【SCROLL】.ini"
"$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
app=$!
main=$(xdotool search --sync --onlyvisible --name '^Tavrel' | head -1)
sleep 2
xdotool windowactivate --sync "$main" key alt+o && sleep 0.5 && xdotool key Down Return
xdotool search --sync --onlyvisible --name '^滚动字幕$' >/dev/null
sleep 1 && shot caption-editor
