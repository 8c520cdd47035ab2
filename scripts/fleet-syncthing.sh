#!/usr/bin/env bash
# A fleet's data folder carried by Syncthing, on one machine over loopback:
# the editing place shares its folder "send only", a station receives it
# "receive only". Two Syncthing homes, set up through Syncthing's own REST
# API (no GUI); nothing leaves 127.0.0.1 (no relays, no discovery, no NAT,
# no global announce, no usage or crash reports, no upgrades).
#
#   scripts/fleet-syncthing.sh start WORK EDIT_DIR STATION_DIR
#   scripts/fleet-syncthing.sh stop WORK
#
# WORK holds the two homes, their logs and pids. Both folders get the
# station's ignore file (deploy/syncthing/stignore) as .stignore, so that a
# station's own files never travel. "start" returns once the two devices
# are connected and the folder is shared.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
folder_id=tavplayer-data

free_port() {
  python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# The value of an element of a home's config.xml.
config_value() {
  sed -n "s|.*<$2>\(.*\)</$2>.*|\1|p" "$1/config.xml" | head -n1
}

# Syncthing's REST API: rest HOME PATH [METHOD JSON]
rest() {
  local home=$1 path=$2 method=${3:-GET} body=${4:-}
  curl -fsS -X "$method" -H "X-API-Key: $(config_value "$home" apikey)" ${body:+-d "$body"} \
    "http://$(sed -n '/<gui /,/<\/gui>/s|.*<address>\(.*\)</address>.*|\1|p' "$home/config.xml")$path"
}

# share HOME PATH TYPE PEER_ID: the folder, shared with the peer; changes
# are sent a second after they are made (the default waits ten).
share() {
  rest "$1" /rest/config/folders POST "{\"id\": \"$folder_id\", \"label\": \"tavplayer\", \"path\": \"$2\",
    \"type\": \"$3\", \"fsWatcherEnabled\": true, \"fsWatcherDelayS\": 1, \"rescanIntervalS\": 60,
    \"devices\": [{\"deviceID\": \"$4\"}]}"
}

make_home() {
  local home=$1 gui listen id
  gui=$(free_port)
  listen=$(free_port)
  id=$(syncthing generate --home="$home" --no-default-folder --skip-port-probing 2>&1 |
         sed -n 's/^.*Device ID: *//p')
  # Loopback only, before the first start, so that nothing is ever listened
  # on or sent elsewhere.
  sed -i \
    -e "/<gui /,/<\/gui>/s|<address>.*</address>|<address>127.0.0.1:$gui</address>|" \
    -e "s|<listenAddress>default</listenAddress>|<listenAddress>tcp://127.0.0.1:$listen</listenAddress>|" \
    -e 's|<globalAnnounceEnabled>true<|<globalAnnounceEnabled>false<|' \
    -e 's|<localAnnounceEnabled>true<|<localAnnounceEnabled>false<|' \
    -e 's|<relaysEnabled>true<|<relaysEnabled>false<|' \
    -e 's|<natEnabled>true<|<natEnabled>false<|' \
    -e 's|<crashReportingEnabled>true<|<crashReportingEnabled>false<|' \
    -e 's|<urAccepted>0<|<urAccepted>-1<|' \
    -e 's|<autoUpgradeIntervalH>[0-9]*<|<autoUpgradeIntervalH>0<|' \
    "$home/config.xml"
  echo "$id tcp://127.0.0.1:$listen" >"$home/device"
  STNOUPGRADE=1 syncthing serve --home="$home" --no-browser --no-restart --logflags=0 \
    >"$home/syncthing.log" 2>&1 &
  echo $! >"$home/pid"
}

wait_for() { # seconds, command...
  local until=$((SECONDS + $1)); shift
  until "$@" >/dev/null 2>&1; do
    if ((SECONDS >= until)); then return 1; fi
    sleep 0.2
  done
}

connected() {
  rest "$1" /rest/system/connections | grep -q '"connected": *true'
}

start() {
  local work=$1 edit=$2 station=$3
  mkdir -p "$work" "$edit" "$station"
  cp "$here/deploy/syncthing/stignore" "$edit/.stignore"
  cp "$here/deploy/syncthing/stignore" "$station/.stignore"
  make_home "$work/editor"
  make_home "$work/station"
  for side in editor station; do
    wait_for 30 rest "$work/$side" /rest/system/ping || { echo "syncthing ($side) did not start" >&2; exit 1; }
  done
  read -r editor_id editor_addr <"$work/editor/device"
  read -r station_id station_addr <"$work/station/device"
  rest "$work/editor" /rest/config/devices POST \
    "{\"deviceID\": \"$station_id\", \"name\": \"station\", \"addresses\": [\"$station_addr\"]}"
  rest "$work/station" /rest/config/devices POST \
    "{\"deviceID\": \"$editor_id\", \"name\": \"editor\", \"addresses\": [\"$editor_addr\"]}"
  share "$work/editor" "$edit" sendonly "$station_id"
  share "$work/station" "$station" receiveonly "$editor_id"
  wait_for 60 connected "$work/editor" || { echo "the two devices did not connect" >&2; exit 1; }
  echo "syncthing: $edit (send only) -> $station (receive only)"
}

stop() {
  local work=$1 pid
  for side in editor station; do
    if [[ -f "$work/$side/pid" ]]; then
      pid=$(cat "$work/$side/pid")
      kill "$pid" 2>/dev/null || true
      for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
      kill -9 "$pid" 2>/dev/null || true
      rm -f "$work/$side/pid"
    fi
  done
}

case "${1:-}" in
  start) shift; [[ $# -eq 3 ]] || { echo "usage: $0 start WORK EDIT_DIR STATION_DIR" >&2; exit 2; }; start "$@" ;;
  stop) shift; [[ $# -eq 1 ]] || { echo "usage: $0 stop WORK" >&2; exit 2; }; stop "$@" ;;
  *) echo "usage: $0 start WORK EDIT_DIR STATION_DIR | stop WORK" >&2; exit 2 ;;
esac
