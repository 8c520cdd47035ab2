#!/usr/bin/env bash
# Runs the built program in its window under Xvfb on a fresh sample folder and
# takes screenshots of the main window, the task editor and the settings pages
# into DIR (default ./screenshots), for a person to look at.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
data=$work/data
scripts/make-sample-data.sh "$data" >/dev/null
"$bin" --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
app=$!
xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
sleep 1

# The window sits at the screen's corner (no window manager): click by position.
shot main
xdotool mousemove 60 510 click 1 && sleep 1 && shot editor            # 新增任务
xdotool mousemove 880 584 click 1 && sleep 0.5                        # 取消
xdotool mousemove 189 103 click 1 && sleep 0.5 && shot settings       # 系统设置
xdotool mousemove 266 103 click 1 && sleep 0.5 && shot stop-dates     # 停播与关机
