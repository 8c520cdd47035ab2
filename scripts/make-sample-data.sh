#!/usr/bin/env bash
# Makes a sample station data folder: three 3-second tones and one timed task
# that starts about a minute from now and lasts two minutes, playing the
# tones in a loop. The INI files are GBK with CRLF line ends, like a
# station's own files.
set -euo pipefail

if (($# != 1)); then
  echo "usage: $0 DIR" >&2
  exit 2
fi
for tool in sox iconv date; do
  command -v "$tool" >/dev/null 2>&1 || { echo "make-sample-data: $tool is missing (run scripts/install-deps.sh)" >&2; exit 1; }
done

mkdir -p "$1/media"
dir=$(cd "$1" && pwd)

tones=()
for hz in 440 660 880; do
  tone="$dir/media/提示音-${hz}Hz.wav"
  sox -n -r 44100 -c 2 "$tone" synth 3 sine "$hz" vol 0.5
  tones+=("$tone")
done

# One clock reading for both times; date wraps past midnight by itself.
now=$(date +%s)
start=$(date -d "@$((now + 60))" +%-H:%M:%S)
end=$(date -d "@$((now + 180))" +%-H:%M:%S)
task="服务厅大屏视频演示"

# UTF-8 lines on stdin -> GBK with CRLF in file $1.
write_ini() {
  local tmp="$1.tmp"
  if ! sed 's/$/\r/' | iconv -f UTF-8 -t GBK >"$tmp"; then
    rm -f "$tmp"
    echo "make-sample-data: cannot write $1 in GBK (does the path hold characters GBK lacks?)" >&2
    exit 1
  fi
  mv "$tmp" "$1"
}

printf '%s\n' "[FileInfo1]" "Name=$task" "Time=$start" "Duration=$end" "Type=50000" \
  "Device=每天" "Recurrence=循环" "Remind=开" | write_ini "$dir/【SONG】.ini"

{
  printf '%s\n' "[多媒体文件数量]" "数量=${#tones[@]}" "[歌曲]"
  for i in "${!tones[@]}"; do
    printf '%s\n' "歌曲名称$i=${tones[$i]}"
  done
} | write_ini "$dir/$task.ini"

echo "Sample data folder: $dir"
echo "  task \"$task\": every day $start to $end, looping ${#tones[@]} tones"
for tone in "${tones[@]}"; do
  echo "  $tone"
done
echo "  $dir/【SONG】.ini"
echo "  $dir/$task.ini"
