#!/usr/bin/env bash
# Prometheus on loopback scraping two headless stations: after a start the
# stations' series hold the right values; a station killed shows as down.
#   prometheus_scrape.sh BUILD_DIR SOURCE_DIR      (77: prometheus or sox missing)
set -euo pipefail
build=$1 src=$2
command -v prometheus >/dev/null || { echo "prometheus is not installed"; exit 77; }
command -v sox >/dev/null || { echo "sox is not installed"; exit 77; }
work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; tail -n 20 "$work"/*.out; exit 1; }
free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
wait_for() {
  local until=$((SECONDS + $1)); shift
  until "$@" >/dev/null 2>&1; do ((SECONDS < until)) || return 1; sleep 0.2; done
}
gbk() { iconv -f UTF-8 -t GBK; }

sox -n -r 44100 -c 2 "$work/tone.wav" synth 30 sine 440 2>/dev/null
song() { # start time
  printf '[FileInfo1]\r\nName=整点\r\nTime=%s\r\nDuration=23:59:59\r\nType=50000\r\nDevice=每天\r\nRecurrence=顺序\r\nRemind=开\r\n' "$1" | gbk
}
ports=()
for n in 1 2; do
  dir=$work/station$n
  mkdir -p "$dir"
  song 23:59:58 >"$dir/【SONG】.ini"
  printf '[多媒体文件数量]\r\n数量=1\r\n[歌曲]\r\n歌曲名称0=%s\r\n' "$work/tone.wav" | gbk >"$dir/整点.ini"
  printf '[METRICS]\r\nName=分店%s\r\n' "$n" | gbk >"$dir/【CONTROL】.ini"
  ports+=("$(free_port)")
  "$build/src/app/tavplayer-headless" --data-dir "$dir" --player-option ao=null \
    --metrics-listen "127.0.0.1:${ports[-1]}" >"$work/station$n.out" 2>&1 &
  pids+=($!)
done
station2_pid=${pids[1]}
for port in "${ports[@]}"; do
  wait_for 20 curl -fsS "http://127.0.0.1:$port/metrics" || fail "no /metrics on port $port"
done

prom_port=$(free_port)
cat >"$work/prometheus.yml" <<YAML
global:
  scrape_interval: 1s
  scrape_timeout: 1s
rule_files:
  - $src/deploy/prometheus/tavplayer-rules.yml
scrape_configs:
  - job_name: tavplayer
    static_configs:
      - targets: ["127.0.0.1:${ports[0]}", "127.0.0.1:${ports[1]}"]
YAML
prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/tsdb" \
  --web.listen-address="127.0.0.1:$prom_port" >"$work/prometheus.out" 2>&1 &
pids+=($!)

# query EXPR: "instance value" lines
query() {
  curl -fsS "http://127.0.0.1:$prom_port/api/v1/query" --data-urlencode "query=$1" | python3 -c '
import json, sys
for r in json.load(sys.stdin)["data"]["result"]:
    print(r["metric"].get("instance", ""), r["value"][1])'
}
expect() { # EXPR EXPECTED_LINES (in any order)
  [[ "$(query "$1" | sort)" == "$(sort <<<"$2")" ]]
}
a=127.0.0.1:${ports[0]} b=127.0.0.1:${ports[1]}
wait_for 20 expect 'up' "$a 1
$b 1" || fail "prometheus does not see both stations: $(query up)"
# The task, due in six seconds, delivered to both folders as a synchroniser does.
start_epoch=$(( $(date +%s) + 6 ))
for n in 1 2; do
  song "$(date -d "@$start_epoch" +%-H:%M:%S)" >"$work/station$n/.song.part"
  mv "$work/station$n/.song.part" "$work/station$n/【SONG】.ini"
done
sleep $(( start_epoch - $(date +%s) + 4 ))
wait_for 10 expect 'tavplayer_task_starts_total' "$a 1
$b 1" || fail "starts: $(query tavplayer_task_starts_total)"
expect 'tavplayer_task_starts_missed_total' "$a 0
$b 0" || fail "missed: $(query tavplayer_task_starts_missed_total)"
expect 'tavplayer_start_lateness_seconds_count' "$a 1
$b 1" || fail "lateness: $(query tavplayer_start_lateness_seconds_count)"
expect 'tavplayer_start_lateness_seconds_bucket{le="1"}' "$a 1
$b 1" || fail "a start sounded a second or more late: $(query tavplayer_start_lateness_seconds_sum)"
expect 'count by (instance) (tavplayer_station_info{station=~"分店[12]"})' "$a 1
$b 1" || fail "station names: $(query tavplayer_station_info)"
expect 'tavplayer_data_faults' "$a 0
$b 0" || fail "faults: $(query tavplayer_data_faults)"
query 'tavplayer_uptime_seconds > 0 and tavplayer_resident_memory_bytes > 1e6' | grep -q "$a" || fail "uptime or memory"
lateness=$(query 'tavplayer_start_lateness_seconds_sum' | awk '{printf "%s %.0f ms; ", $1, $2 * 1000}')
scrape=$(query 'scrape_duration_seconds' | awk '{printf "%s %.2f ms; ", $1, $2 * 1000}')

kill "$station2_pid"
wait_for 15 expect 'up' "$a 1
$b 0" || fail "a killed station is not down: $(query up)"
echo "start lateness to first sound: $lateness"
echo "scrape time as prometheus measured it: $scrape"
echo PASS
