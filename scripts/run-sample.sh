#!/usr/bin/env bash
# Installs what is missing, builds, makes a fresh sample data folder in
# ./sample-data and runs the station on it: in its window where a display
# exists, headless otherwise. Ctrl+C stops it. Arguments are passed on to
# tavplayer (e.g. --headless, --player-option ao=null, --trace trace.log).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install-deps.sh
scripts/build.sh
rm -rf ./sample-data
scripts/make-sample-data.sh ./sample-data
exec build/src/app/tavplayer --data-dir ./sample-data "$@"
