#!/usr/bin/env bash
# Runs the built program under Xvfb with a window manager (openbox) on a
# fresh data folder whose short sound task ends with 显示图片 on, and takes
# screenshots into DIR (default ./screenshots) for a person to look at: the
# advertising slideshow between tasks in the player window (a wide and a tall
# picture, each scaled in whole), its window frmPic, and the message log's
# lines about a missing picture.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
with_openbox
sox -n -r 44100 -c 2 "$work/bell.wav" synth 3 sine 660 vol 0.3
sox -n -r 44100 -c 2 "$work/bgm.wav" synth 60 sine 440 vol 0.2
convert -size 1600x900 gradient:'#1e5799-#7db9e8' -gravity center -pointsize 120 -fill white \
  -annotate 0 'Wide 16:9' "$work/wide.jpg"
convert -size 600x1000 gradient:'#b8001f-#ffcc00' -gravity center -pointsize 70 -fill white \
  -annotate 0 'Tall' "$work/tall.png"
printf 'not a picture' >"$work/note.jpg"

ini() { sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$1"; }
at() { date -d "@$(($(date +%s) + $1))" +%-H:%M:%S; }

data="$work/data"
mkdir -p "$data"
printf '%s\n' "[FileInfo1]" "Name=上课铃" "Time=$(at 6)" "Duration=$(at 8)" "Type=30000" \
  "Device=每天" "Recurrence=顺序" "Remind=开" | ini "$data/【SONG】.ini"
printf '%s\n' "[多媒体文件数量]" "数量=1" "[歌曲]" "歌曲名称0=$work/bell.wav" | ini "$data/上课铃.ini"
printf '%s\n' "[复选控制]" "显示图片=1" "[播放窗口尺寸]" "PlayHeight=405" "PlayWidth=720" "PlayTop=0" \
  "PlayLeft=560" | ini "$data/【CONTROL】.ini"
printf '%s\n' "[图片文件数量]" "数量=4" "[图片]" "图片路径0=$work/wide.jpg" "图片路径1=$work/gone.jpg" \
  "图片路径2=$work/note.jpg" "图片路径3=$work/tall.png" \
  "[设置]" "图片播放模式=0" "个性音量=30000" "图片切换时间=5" "音乐模式=0" "播放音乐=1" "停播日期音乐静音=1" \
  "[多媒体文件数量]" "多媒体数量=1" "[歌曲]" "歌曲名称0=$work/bgm.wav" | ini "$data/【IMAGE】.ini"

"$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
app=$!
xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
sleep 11
# The player window (frameless, the console's title) came up where the fresh
# settings put it, under the console: bring it to the front.
for id in $(xdotool search --onlyvisible --name '^Tavrel'); do
  eval "$(xdotool getwindowgeometry --shell "$id")"
  ((WIDTH < 900)) && xdotool windowraise "$id"
done
sleep 1 && shot slideshow-between-tasks
sleep 5 && shot slideshow-next-picture
# The tools menu's second entry opens the slideshow's window.
for id in $(xdotool search --onlyvisible --name '^Tavrel'); do
  eval "$(xdotool getwindowgeometry --shell "$id")"
  if ((WIDTH > 900)); then
    xdotool windowactivate --sync "$id" key alt+o && sleep 0.5 && xdotool key Down Return
    break
  fi
done
xdotool search --sync --onlyvisible --name '图片广告设置' >/dev/null && sleep 1 && shot frmpic
iconv -f GBK -t UTF-8 "$data/【PLAYLOG】.txt" | tr -d '\r' >"$out/slideshow-playlog.txt"
