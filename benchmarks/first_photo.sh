#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# From the start of the program to its first complete photo file, in milliseconds: the whole process, several times.
#   benchmarks/first_photo.sh [RUNS]       (21)
# COLD=1, as root, empties the system's file caches before each run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/steps.sh
runs=${1:-21}
build release velmora-camera
photos=$(mktemp -d)
trap 'rm -rf "$photos"' EXIT

# measure NAME ARGUMENT...: median and 90th percentile of the wall time.
measure() {
  local name=$1 i begun
  shift
  for ((i = 0; i < runs; i++)); do
    [ -z "${COLD:-}" ] || { sync && echo 3 >/proc/sys/vm/drop_caches; }
    begun=$(date +%s%N)
    build/release/bin/velmora-camera --camera virtual --quiet "$@" --out "$photos" >/dev/null
    echo $((($(date +%s%N) - begun) / 1000))
  done | sort -n | awk -v name="$name" '{ t[NR] = $1 / 1000 }
    END { printf "%-28s median %7.1f ms   90%% %7.1f ms   (%d runs)\n", name, t[int((NR + 1) / 2)], t[int(NR * 0.9 + 0.5)], NR }'
}

measure "drawn scene, 12 MP" shoot
measure "footage/field.jpg, 12 MP" shoot --footage footage/field.jpg
measure "footage and a place" shoot --footage footage/field.jpg --at 35.0116,135.7681
