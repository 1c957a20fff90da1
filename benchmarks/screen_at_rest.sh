#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The camera screen in a window while nothing moves: how often each of its threads wakes, what it computes, and what
# memory it has, over some seconds. Without a camera the screen is all there is; without the right to one its frames
# are black, and go the whole way.
#   benchmarks/screen_at_rest.sh [SECONDS]       (10)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/steps.sh
seconds=${1:-10}
build "${PRESET:=release}" velmora-camera
folder=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; rm -rf "$folder"' EXIT
Xvfb -displayfd 3 -screen 0 1280x2200x24 -noreset 3>"$folder/display" 2>/dev/null &
until [ -s "$folder/display" ]; do sleep 0.1; done
export DISPLAY=:$(cat "$folder/display") HOME=$folder XDG_CONFIG_HOME=$folder

# wakes PID: of each thread, how often it gave up the processor or lost it.
wakes() { for task in /proc/"$1"/task/*; do
  echo "$(basename "$task") $(awk '/ctxt_switches/ { n += $2 } END { print n }' "$task/status") $(cat "$task/comm")"
done | sort; }
# ticks PID: processor time, in hundredths of a second.
ticks() { awk '{ print $14 + $15 }' /proc/"$1"/stat; }

# measure NAME PHONE
measure() {
  echo "$2" >"$folder/phone.json"
  build/$PRESET/bin/velmora-camera --phone "$folder/phone.json" --quiet screen &
  local pid=$! before after
  sleep 4
  wakes $pid >"$folder/before"
  before=$(ticks $pid)
  sleep "$seconds"
  wakes $pid >"$folder/after"
  after=$(ticks $pid)
  echo "$1: $(((after - before) * 10)) ms of processor time in $seconds s"
  join "$folder/before" "$folder/after" | awk '$4 > $2 { printf "  %-20s %6d wake-ups\n", $5, $4 - $2 }'
  awk '/^(Pss|Private_Dirty|Rss):/ { printf "  %-20s %6.1f MB\n", $1, $2 / 1024 }' /proc/$pid/smaps_rollup
  kill $pid
  wait $pid || true
}

phone='"formats": { "hd": { "size": [1920, 1080], "highResolutionStill": [4032, 3024] } },
  "cameras": [{ "id": "back", "type": "wide", "formats": ["hd"] }]'
measure "without a camera" '{ "cameras": [] }'
measure "without the right to the camera" "{ $phone, \"permissions\": { \"camera\": \"denied\" } }"
measure "with the preview of 1920x1080" "{ $phone }"
