#!/usr/bin/env bash
# Configures and builds tavplayer, its tests and benchmarks in ./build.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -G Ninja -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}"
ninja -C build -j2
