#!/usr/bin/env bash
# Builds the fuzz targets with clang and libFuzzer (address sanitizer on,
# the project's libraries instrumented) in build-fuzz/, and runs each for
# SECONDS (default 300). See tests/fuzz/README.md.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-300}
command -v clang++ >/dev/null || { echo "needs clang (apt-get install clang)" >&2; exit 1; }
cd "$here"
CC=clang CXX=clang++ cmake -G Ninja -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAV_FUZZ=ON \
  -DCMAKE_C_FLAGS="-fsanitize=fuzzer-no-link,address" -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link,address" \
  -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address" >/dev/null
ninja -C build-fuzz -j2 fuzz_ini fuzz_taskstore fuzz_listfile
status=0
for target in ini taskstore listfile; do
  case $target in
    ini) seeds=(tests/core/profile/corpus tests/fuzz/seeds/song tests/fuzz/seeds/list) ;;
    taskstore) seeds=(tests/fuzz/seeds/song tests/core/profile/corpus) ;;
    listfile) seeds=(tests/fuzz/seeds/list) ;;
  esac
  mkdir -p "build-fuzz/corpus-$target"
  echo "== fuzz_$target for ${seconds}s" >&2
  (cd build-fuzz && "tests/fuzz/fuzz_$target" -max_total_time="$seconds" -print_final_stats=1 \
     "corpus-$target" "${seeds[@]/#/$here/}") || status=1
done
exit $status
