#!/usr/bin/env bash
# Plays a 10-second test pattern in the player window under Xvfb (software
# OpenGL) and grabs the window, then the full-screen view, then the window
# again, and last the window once the item has stopped (showing a background
# picture that stands in for Vbg.jpg), into DIR (default ./video-check). The
# PNG paths are printed for a person to look at. Needs a build in BUILD
# (default ./build) with the video_check target.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
out=$(mkdir -p "${1:-video-check}" && cd "${1:-video-check}" && pwd)
build=${BUILD:-build}
check="$build/bench/video_check"
if [ ! -x "$check" ]; then
  echo "video-check: $check is missing; build the video_check target first" >&2
  exit 1
fi
command -v ffmpeg >/dev/null || { echo "video-check: ffmpeg is missing (scripts/install-deps.sh)" >&2; exit 1; }

clip="$out/testsrc-640x360.mp4"
if [ ! -s "$clip" ]; then
  ffmpeg -loglevel error -y -f lavfi -i testsrc=size=640x360:rate=25 -t 10 -pix_fmt yuv420p \
    -c:v libx264 "$clip"
fi

display=90
while [ -e "/tmp/.X$display-lock" ] || [ -e "/tmp/.X11-unix/X$display" ]; do display=$((display + 1)); done
export DISPLAY=":$display" QT_QPA_PLATFORM=xcb
Xvfb "$DISPLAY" -screen 0 1280x720x24 >/dev/null 2>&1 &
xvfb=$!
trap 'kill "$xvfb" 2>/dev/null || true' EXIT
for _ in $(seq 50); do [ -e "/tmp/.X11-unix/X$display" ] && break; sleep 0.1; done

picture="$out/background.jpg"
[ -s "$picture" ] || ffmpeg -loglevel error -y -f lavfi -i smptebars=size=320x180 -frames:v 1 "$picture"

"$check" "$clip" "$out" --background "$picture"
