#!/usr/bin/env bash
# Runs the built program under Xvfb with a window manager (openbox) on a data
# folder with only the logo, the clock and a caption switched on, every
# position left at its default, and photographs the screen in each look:
# the caption strip must stay clear of the logo and clock, and the status
# bar's warnings ("时钟：从未校时") must read on every look. Also prints what
# the program wrote on standard output and error at its start (the media
# engine's noise). Screenshots go into DIR (default ./screenshots).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

source scripts/xvfb.sh
with_openbox
ini() { sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$1"; }

data="$work/data"
mkdir -p "$data"
convert -size 200x120 xc:'#808080' -fill '#1060c0' -draw 'roundrectangle 4,4 196,116 18,18' \
  -fill white -font "$(fc-match -f '%{file}' sans:bold)" -pointsize 48 -annotate +40+78 'TAV' "BMP3:$data/Logo.BMP"
printf '%s\n' "[Scroll1]" "content=欢迎光临本店，今日全场八折" "startTime=00:00:00" "endTime=23:59:00" "swicth=开" \
  | ini "$data/【SCROLL】.ini"
for skin in 0 1 2 3; do
  printf '%s\n' "[复选控制]" "台标LOGO=1" "时间显示=1" "滚动文字=1" "skin=$skin" | ini "$data/【CONTROL】.ini"
  "$bin" --data-dir "$data" >"$out/defaults-stdout-$skin.txt" 2>"$out/defaults-stderr-$skin.txt" &
  app=$!
  xdotool search --sync --onlyvisible --name '^Tavrel' >/dev/null
  sleep 3 && shot "defaults-look-$skin"
  kill "$app"; wait "$app" 2>/dev/null || true
done
echo "--- standard output and error of a start:"
cat "$out/defaults-stdout-0.txt" "$out/defaults-stderr-0.txt"
