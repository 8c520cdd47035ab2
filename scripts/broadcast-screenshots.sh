#!/usr/bin/env bash
# Runs the built program under Xvfb with a window manager on a fresh sample
# folder, opens 语音播报 from the tools menu and takes screenshots into DIR
# (default ./screenshots) for a person to look at: the broadcast window, the
# window while it speaks (the spoken word highlighted), the broadcast task
# editor, the scripts page and the script dialog.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
with_openbox
scripts/make-sample-data.sh "$work/data" >/dev/null
"$bin" --data-dir "$work/data" --player-option ao=null >/dev/null 2>&1 &
app=$!
xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
sleep 2
xdotool key alt+o && sleep 0.5 && xdotool key Return            # 工具 → 语音播报...
id=$(xdotool search --sync --onlyvisible --name '^语音播报$' | head -n 1)
sleep 1.5
# The client area's place on the screen (the window manager adds its frame).
X=$(xwininfo -id "$id" | awk '/Absolute upper-left X/ {print $4}')
Y=$(xwininfo -id "$id" | awk '/Absolute upper-left Y/ {print $4}')
click() { xdotool mousemove $((X + $1)) $((Y + $2)) click 1; }
shot broadcast-window
click 946 138 && sleep 0.3                                         # the text box
xdotool type --delay 120 "各位同学请注意，现在是课间操时间，请大家到操场集合。"
click 776 523 && sleep 2 && shot broadcast-speaking                # Speak; the tone first
click 61 426 && sleep 1.5 && shot broadcast-editor                 # 新增
xdotool key Escape && sleep 0.5
click 106 43 && sleep 0.7 && shot broadcast-scripts                # 文稿
click 61 684 && sleep 1.2 && shot broadcast-script-dialog          # 增加文稿
