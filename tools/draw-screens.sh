#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Draws the pictures of docs/images again, with the program that ./test builds or, if given, another one:
#   tools/draw-screens.sh [PROGRAM]
# The viewfinders, the sliders and the way back from the photos are drawn by the examples beside it.
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

# An album for the browser and the thumbnail.
for zoom in 1 2 3 4; do
  "$program" --quiet --camera virtual --footage footage/field.jpg --library "$work/library" shoot --album Velmora \
    --zoom "$zoom" >/dev/null
done
"$program" --quiet --camera virtual --library "$work/library" shoot --album Velmora --orientation landscape-left >/dev/null

draw screen --size 360x720 --library "$work/library"
draw screen-wide --size 844x390
printf '0.1 down 180 668\n0.8 move 180 668\n' >"$work/pressed"
draw screen-pressed --size 360x720 --script "$work/pressed"
# A photo closes the shutter for a moment.
printf '0.1 down 180 668\n0.2 up 180 668\n0.31 down 2 2\n' >"$work/closing"
draw screen-closing --size 360x720 --script "$work/closing"

# The photos, over the camera screen.
open='0.1 down 42 668\n0.2 up 42 668\n'
photo="${open}2 down 60 120\n2.1 up 60 120\n"
browse() {
  local name=$1
  printf '%b' "$2" >"$work/$name"
  draw "$name" --size 360x720 --library "$work/library" --script "$work/$name"
}
browse photos "${open}2 down 359 719\n"
browse photos-pulled "${open}2 down 180 150\n2.2 move 180 250\n2.4 move 180 350\n2.6 move 180 450\n2.8 move 180 500\n3.3 move 180 501\n"
browse photo "${photo}4 down 359 1\n"
browse photo-delete "${photo}4 down 330 695\n4.1 up 330 695\n6 down 359 1\n"

examples=$(realpath "$(dirname "$program")")
viewfinder=$examples/example_viewfinder
for size in "360 720" "844 390"; do
  (cd "$work" && "$viewfinder" denied $size)
  mv "$work/viewfinder.png" "$images/viewfinder-denied-${size/ /x}.png"
done
(cd "$work" && "$examples/example_slider")
mv "$work/slider.png" "$images/slider.png"
for moment in rest pulled armed presenting dismissing sideways; do
  (cd "$work" && "$examples/example_camera_return" "$moment")
  mv "$work/camera_return.png" "$images/camera-return-$moment.png"
done
