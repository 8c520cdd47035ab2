#!/usr/bin/env bash
# Builds the Debian package of tavplayer: installs what is missing, builds in
# ./build, and makes build/package/tavplayer_VERSION_ARCH.deb with CPack.
# Install it on a station PC with: sudo apt install ./tavplayer_*.deb
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install-deps.sh
scripts/build.sh
rm -f build/package/tavplayer_*.deb
cpack --config build/CPackConfig.cmake -B build/package
echo
for deb in build/package/tavplayer_*.deb; do
  dpkg-deb --info "$deb" | sed -n 's/^ \(Package\|Version\|Depends\|Recommends\):/  \1:/p'
  echo "Package: $deb"
done
