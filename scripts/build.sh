#!/usr/bin/env bash
# Configures and builds tavplayer, its tests and benchmarks in ./build.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cmake -G Ninja -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
ninja -C build -j2
