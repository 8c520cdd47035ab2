# Sourced by the screenshot scripts: starts Xvfb on a free display with a
# throw-away desktop configuration, and ends it (and $app, when set) on exit.
# XVFB_DISPLAY is the first display number tried, XVFB_SCREEN the screen size.
# Run from the project's folder; the screenshots go into the sourcing
# script's first argument (default ./screenshots), $out, and $bin is the
# built program.
out=$(mkdir -p "${1:-screenshots}" && cd "${1:-screenshots}" && pwd)
bin=$(pwd)/build/src/app/tavplayer
display=${XVFB_DISPLAY:-90}
while [ -e "/tmp/.X$display-lock" ]; do display=$((display + 1)); done
export DISPLAY=":$display" XDG_CONFIG_HOME
XDG_CONFIG_HOME=$(mktemp -d)
work=$(mktemp -d)
Xvfb "$DISPLAY" -screen 0 "${XVFB_SCREEN:-1280x860x24}" >/dev/null 2>&1 &
xvfb=$!
trap 'kill "${app:-}" "$xvfb" 2>/dev/null || true; rm -rf "$work" "$XDG_CONFIG_HOME"' EXIT
sleep 1
shot() { import -window root "$out/$1.png"; echo "$out/$1.png"; }
# A window manager (openbox) on the display, ended with the rest.
with_openbox() {
  openbox >/dev/null 2>&1 &
  wm=$!
  trap 'kill "${app:-}" "$wm" "$xvfb" 2>/dev/null || true; rm -rf "$work" "$XDG_CONFIG_HOME"' EXIT
}
