#!/usr/bin/env bash
# Runs the built program in its window under Xvfb on a fresh sample folder and
# takes screenshots of the main window, the task editor and the settings pages
# into DIR (default ./screenshots), for a person to look at.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
out=$(mkdir -p "${1:-screenshots}" && cd "${1:-screenshots}" && pwd)

display=90
while [ -e "/tmp/.X$display-lock" ]; do display=$((display + 1)); done
export DISPLAY=":$display" XDG_CONFIG_HOME
XDG_CONFIG_HOME=$(mktemp -d)
data=$(mktemp -d)
Xvfb "$DISPLAY" -screen 0 1280x860x24 >/dev/null 2>&1 &
xvfb=$!
trap 'kill "${app:-}" "$xvfb" 2>/dev/null || true; rm -rf "$data" "$XDG_CONFIG_HOME"' EXIT
sleep 1
scripts/make-sample-data.sh "$data" >/dev/null
build/src/app/tavplayer --data-dir "$data" --player-option ao=null >/dev/null 2>&1 &
app=$!
xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
sleep 1

shot() { import -window root "$out/$1.png"; echo "$out/$1.png"; }
# The window sits at the screen's corner (no window manager): click by position.
shot main
xdotool mousemove 60 510 click 1 && sleep 1 && shot editor            # 新增任务
xdotool mousemove 880 584 click 1 && sleep 0.5                        # 取消
xdotool mousemove 189 103 click 1 && sleep 0.5 && shot settings       # 系统设置
xdotool mousemove 266 103 click 1 && sleep 0.5 && shot stop-dates     # 停播与关机
