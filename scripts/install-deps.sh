#!/usr/bin/env bash
# Installs the Debian 12 packages that building, running and testing tavplayer
# need. Does nothing (and needs no root) when all of them are installed.
# --profile-golden adds what re-recording the INI reader's golden answers needs.
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build pkg-config git ccache
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev libgl-dev libmpv-dev
  # speech: the espeak-ng library and its voices, OpenCC for traditional
  # Chinese, wave files written and resampled
  libespeak-ng-dev espeak-ng-data libopencc-dev libopencc-data opencc
  libsndfile1-dev libsamplerate0-dev
  # run: the media engine, iconv (in libc-bin) for the GBK data files
  mpv libc-bin
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev sox libsox-fmt-all
  xvfb xauth xdotool imagemagick fonts-noto-cjk fontconfig python3 ffmpeg
  # clock steps under a shifted clock; a window manager for screenshots;
  # a sound server to record what several players mix
  faketime libfaketime openbox pulseaudio pulseaudio-utils
  # Qt's own Chinese texts for its standard dialogs and buttons
  qt6-translations-l10n
  # the web console: Qt's HTTP server and WebSockets; a real browser driven
  # through WebDriver for its tests
  qt6-httpserver-dev qt6-websockets-dev chromium chromium-driver python3-selenium
  # the web console's load bench and its HTTPS test's throwaway certificate
  wrk openssl
  # fleets: the synchroniser and the monitoring server used by the fleet tests
  syncthing prometheus curl
  # the .deb: dpkg-shlibdeps for its dependencies, the desktop entry's validator
  dpkg-dev desktop-file-utils
)
# scripts/record-profile-golden.sh, which re-records the profile functions'
# answers under Wine, needs a Windows cross-compiler and Wine; the tests do not.
if [[ ${1:-} == --profile-golden ]]; then
  packages+=(wine wine64 gcc-mingw-w64-x86-64)
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}\n' "$package" 2>/dev/null || true)
  if ! grep -q '^install ok installed$' <<<"$status"; then
    missing+=("$package")
  fi
done

if ((${#missing[@]} == 0)); then
  echo "install-deps: all ${#packages[@]} packages are installed"
  exit 0
fi

if ((EUID == 0)); then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "install-deps: run as root or install sudo; missing packages: ${missing[*]}" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
