#!/usr/bin/env bash
# Builds the .deb from an already-built tree with cpack and checks what it
# holds: exactly the program and its desktop files (no test or benchmark
# program), the control fields, the icon sizes, and that the packaged
# program runs. The desktop entry and the user unit go through
# desktop-file-validate and systemd-analyze verify where those exist.
# Usage: check-package.sh BUILD_DIR SOURCE_DIR   (exit 77: cannot check here)
set -euo pipefail

build=$(cd "$1" && pwd)
source=$(cd "$2" && pwd)
for tool in cpack dpkg-deb dpkg-shlibdeps; do
  command -v "$tool" >/dev/null 2>&1 || { echo "check-package: $tool is missing, not checked"; exit 77; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

if ! cpack --config "$build/CPackConfig.cmake" -B "$work/out" >"$work/cpack.log" 2>&1; then
  cat "$work/cpack.log"
  echo "FAIL: cpack could not build the package"
  exit 1
fi
shopt -s nullglob
debs=("$work"/out/tavplayer_*.deb)
((${#debs[@]} == 1)) || { echo "FAIL: expected one tavplayer_*.deb, got ${#debs[@]}"; exit 1; }
deb=${debs[0]}
echo "package: $(basename "$deb")"

# Files, exactly.
expected=(
  ./usr/bin/tavplayer
  ./usr/bin/tavplayer-headless
  ./usr/lib/systemd/user/tavplayer.service
  ./usr/share/applications/tavplayer.desktop
  ./usr/share/doc/tavplayer/README.md
  ./usr/share/doc/tavplayer/changelog.Debian.gz
  ./usr/share/doc/tavplayer/copyright
  ./usr/share/doc/tavplayer/帮助说明.html
  ./usr/share/icons/hicolor/scalable/apps/tavplayer.svg
  ./usr/share/man/man1/tavplayer.1.gz
  ./usr/share/man/zh_CN/man1/tavplayer.1.gz
  ./usr/share/tavplayer/prometheus/prometheus-example.yml
  ./usr/share/tavplayer/prometheus/tavplayer-rules.yml
  ./usr/share/tavplayer/syncthing/stignore
)
sizes=(16 24 32 48 64 128 256)
for size in "${sizes[@]}"; do
  expected+=("./usr/share/icons/hicolor/${size}x${size}/apps/tavplayer.png")
done
dpkg-deb --contents "$deb" >"$work/contents"
awk '$1 !~ /^d/ { print $6 }' "$work/contents" | sort >"$work/files"
printf '%s\n' "${expected[@]}" | sort >"$work/expected"
if ! diff -u "$work/expected" "$work/files" >"$work/files.diff"; then
  fail "the package's files differ from the expected ones (- missing, + unexpected):"
  cat "$work/files.diff"
fi
awk '$2 != "root/root" { print "FAIL: not owned by root: " $0 }' "$work/contents" | tee "$work/owners"
[[ -s "$work/owners" ]] && failures=$((failures + 1))
for program in tavplayer tavplayer-headless; do
  grep -q "^-rwxr-xr-x .* \./usr/bin/$program\$" "$work/contents" || fail "usr/bin/$program is not mode 0755"
done

# Control fields.
field() { dpkg-deb --field "$deb" "$1"; }
[[ $(field Package) == tavplayer ]] || fail "Package is $(field Package)"
[[ $(field Architecture) == $(dpkg --print-architecture) ]] || fail "Architecture is $(field Architecture)"
changelog_version=$(sed -n '1s/^tavplayer (\([^)]*\)).*/\1/p' "$source/packaging/changelog")
[[ $(field Version) == "$changelog_version" ]] ||
  fail "Version $(field Version) is not the changelog's latest ($changelog_version)"
depends=$(field Depends)
for dep in libmpv2 libqt6core6 espeak-ng-data libopencc-data; do
  [[ ", $depends," == *", $dep "* || ", $depends," == *", $dep,"* ]] || fail "Depends lacks $dep: $depends"
done
[[ $(field Recommends) == *fonts-noto-cjk* ]] || fail "Recommends lacks fonts-noto-cjk"

# The packaged program itself.
dpkg-deb -x "$deb" "$work/root"
upstream=${changelog_version%-*}
version=$(env -u DISPLAY -u WAYLAND_DISPLAY "$work/root/usr/bin/tavplayer" --version 2>&1) || true
[[ $version == "tavplayer $upstream" ]] || fail "the packaged program says '$version', not 'tavplayer $upstream'"

# The manual pages hold every option of the program's help.
for page in man1 zh_CN/man1; do
  gz="$work/root/usr/share/man/$page/tavplayer.1.gz"
  [[ -f $gz ]] || continue
  # Read once into a file: grep -q ends at its first match, and with
  # pipefail the page's writer killed by that would read as a miss.
  zcat "$gz" | sed 's/\\-/-/g' >"$work/page.txt"
  for option in --headless --data-dir --player-option --trace --help --version; do
    grep -q -- "$option" "$work/page.txt" || fail "$page/tavplayer.1 lacks $option"
  done
  if command -v groff >/dev/null 2>&1; then
    warnings=$(zcat "$gz" | groff -k -man -Tutf8 -ww -Wbreak -z 2>&1) || true
    [[ -z $warnings ]] || fail "$page/tavplayer.1: $warnings"
  fi
done

# Icon sizes, from each PNG's header.
for size in "${sizes[@]}"; do
  png="$work/root/usr/share/icons/hicolor/${size}x${size}/apps/tavplayer.png"
  [[ -f $png ]] || continue
  read -r w h < <(od -An -tu1 -j16 -N8 "$png" | awk '{ print $1*16777216+$2*65536+$3*256+$4, $5*16777216+$6*65536+$7*256+$8 }')
  [[ "$w $h" == "$size $size" ]] || fail "the ${size}x${size} icon is ${w}x${h}"
done

# The desktop entry starts the packaged program with the packaged icon.
desktop="$work/root/usr/share/applications/tavplayer.desktop"
grep -qx 'Exec=tavplayer' "$desktop" || fail "desktop entry: Exec is not tavplayer"
grep -qx 'Icon=tavplayer' "$desktop" || fail "desktop entry: Icon is not tavplayer"
grep -qx 'Name=Tavrel多媒体定时播放系统' "$desktop" || fail "desktop entry: wrong Name"
if command -v desktop-file-validate >/dev/null 2>&1; then
  out=$(desktop-file-validate "$desktop" 2>&1) || true
  [[ -z $out ]] || fail "desktop-file-validate: $out"
else
  echo "desktop-file-validate is missing, desktop entry not validated"
fi

# The user unit runs the installed program headless; systemd-analyze checks
# a copy pointing at the unpacked program, since nothing is installed here.
unit="$work/root/usr/lib/systemd/user/tavplayer.service"
grep -qx 'ExecStart=/usr/bin/tavplayer --headless' "$unit" || fail "unit: ExecStart is not /usr/bin/tavplayer --headless"
grep -qx 'Restart=on-failure' "$unit" || fail "unit: no Restart=on-failure"
grep -qx 'KillSignal=SIGTERM' "$unit" || fail "unit: no KillSignal=SIGTERM"
if command -v systemd-analyze >/dev/null 2>&1; then
  mkdir -p "$work/unit"
  sed "s|^ExecStart=/usr/bin/|ExecStart=$work/root/usr/bin/|" "$unit" >"$work/unit/tavplayer.service"
  # Its Documentation= names the packaged manual page.
  out=$(MANPATH="$work/root/usr/share/man" systemd-analyze verify "$work/unit/tavplayer.service" 2>&1) || fail "systemd-analyze verify failed"
  [[ -z $out ]] || fail "systemd-analyze verify: $out"
else
  echo "systemd-analyze is missing, user unit not verified"
fi

if ((failures > 0)); then
  echo "$failures check(s) failed"
  exit 1
fi
echo "package checks passed"
