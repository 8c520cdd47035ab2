#!/usr/bin/env bash
# Renders the program's icon from packaging/icons/tavplayer.svg into the PNG
# sizes of the hicolor theme. The PNGs are committed, so building needs no
# SVG renderer; run this after changing the drawing (needs librsvg2-bin).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

command -v rsvg-convert >/dev/null 2>&1 || { echo "make-icons: rsvg-convert is missing (apt-get install librsvg2-bin)" >&2; exit 1; }
for size in 16 24 32 48 64 128 256; do
  rsvg-convert -w "$size" -h "$size" packaging/icons/tavplayer.svg -o "packaging/icons/tavplayer-$size.png"
done
ls -l packaging/icons
