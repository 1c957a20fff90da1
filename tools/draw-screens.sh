#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Draws the pictures of docs/images again, with the program that ./test builds or, if given, another one:
#   tools/draw-screens.sh [PROGRAM]
# The viewfinders and the sliders are drawn by the examples beside it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
program=${1:-build/debug/bin/velmora-camera}
images=docs/images
mkdir -p "$images"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# draw NAME ARGUMENT...: docs/images/NAME.png
draw() {
  local name=$1
  shift
  "$program" --quiet snapshot --png "$work/$name.png" --scale 1 --footage footage/field.jpg "$@" >/dev/null
  mv "$work/$name.png" "$images/$name.png"
}

draw screen --size 360x720
draw screen-wide --size 844x390
printf '0.1 down 180 668\n0.8 move 180 668\n' >"$work/pressed"
draw screen-pressed --size 360x720 --script "$work/pressed"
# A photo closes the shutter for a moment.
printf '0.1 down 180 668\n0.2 up 180 668\n0.31 down 2 2\n' >"$work/closing"
draw screen-closing --size 360x720 --script "$work/closing"

examples=$(realpath "$(dirname "$program")")
viewfinder=$examples/example_viewfinder
for size in "360 720" "844 390"; do
  (cd "$work" && "$viewfinder" denied $size)
  mv "$work/viewfinder.png" "$images/viewfinder-denied-${size/ /x}.png"
done
(cd "$work" && "$examples/example_slider")
mv "$work/slider.png" "$images/slider.png"
