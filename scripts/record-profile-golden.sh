#!/usr/bin/env bash
# Re-records tests/core/profile/golden.txt: what the Windows profile
# functions (GetPrivateProfileStringA, GetPrivateProfileIntA,
# GetPrivateProfileSectionNamesA, WritePrivateProfileStringA) answer on the
# corpus, as Wine implements them in the Simplified Chinese code page (936).
# The INI reader's tests hold the project's reader against that file; they do
# not need Wine. Needs what `scripts/install-deps.sh --profile-golden` installs.
# Usage: scripts/record-profile-golden.sh
set -euo pipefail

here=$(cd "$(dirname "$0")/.." && pwd)
dir="$here/tests/core/profile"

"$here/scripts/install-deps.sh" --profile-golden

work=$(mktemp -d)
trap 'wineserver -k >/dev/null 2>&1 || true; [[ -n ${KEEP:-} ]] || rm -rf "$work"' EXIT
export WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
# Code page 936, as on the stations.
export LANG=zh_CN.UTF-8 LC_ALL=zh_CN.UTF-8
unset DISPLAY

(cd "$dir" && python3 make_cases.py)
x86_64-w64-mingw32-gcc -O1 -Wall -o "$work/probe.exe" "$dir/probe.c"
echo "Preparing a Wine prefix (first run takes a minute)…" >&2
wineboot -i >/dev/null 2>&1 || true
mkdir -p "$work/scratch"
winpath() { echo "Z:${1//\//\\}"; }
wine "$work/probe.exe" "$(winpath "$dir/corpus")" "$(winpath "$work/scratch")" \
  < "$dir/cases.txt" > "$work/golden.txt"
head -1 "$work/golden.txt" | grep -q '^# ACP 936$' || { echo "Wine did not run in code page 936" >&2; exit 1; }
cases=$(grep -vc '^#' "$dir/cases.txt")
answers=$(grep -vc '^#' "$work/golden.txt")
[[ $cases -eq $answers ]] || { echo "$answers answers for $cases cases" >&2; exit 1; }
mv "$work/golden.txt" "$dir/golden.txt"
echo "Recorded $answers answers into tests/core/profile/golden.txt" >&2
