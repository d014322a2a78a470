#!/usr/bin/env bash
# Makes a set of pictures with the program, one command each: demo.sh VOKRA [PICTURE]
set -euo pipefail
vokra=$1 picture=${2:-}
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ -n "$picture" ] || picture=examples/pictures/harbour.png
out=demo
mkdir -p "$out"

step() { # WHAT COMMAND...
    printf '\n%s\n  vokra' "$1"
    shift
    printf ' %q' "$@"
    printf '\n'
    "$vokra" "$@"
}

printf 'From %s into %s/:\n' "$picture" "$out"
step "what it holds" info "$picture"
read -r width height < <("$vokra" info "$picture" --json | tr -d ' \n' |
    sed -E 's/.*"dim":\[([0-9]+),([0-9]+)\].*/\1 \2\n/')
smaller() { echo $((width / $1 > 1 ? width / $1 : 1)) $((height / $1 > 1 ? height / $1 : 1)); }

step "half the size, interpolated" convert "$picture" $out/half.png --dim $(smaller 2) --interp
step "large pixels: small by the nearest cell ..." convert "$picture" $out/tiny.vkf --dim $(smaller 12)
step "... and large again" convert $out/tiny.vkf $out/pixels.png --dim "$width" "$height"
step "soft: the same way back, interpolated" convert $out/tiny.vkf $out/soft.png --dim "$width" "$height" --interp
step "what the softness took away" op absdiff "$picture" $out/soft.png -o $out/detail.png
step "the negative: 255 minus each cell" op '!-' "$picture" 255 -o $out/negative.png
step "four levels a colour, by a mask of bits" op '&' "$picture" 192 -o $out/poster.png
step "where a colour is above its half" op '>' "$picture" 127 -o $out/threshold.png
step "warm: a factor for alpha, red, green and blue, 255 being nearly one" op '*' "$picture" 255 255 205 140 -o $out/warm.png
step "as floating point ..." convert "$picture" $out/float.npy --type float32
step "... the square root of every cell: brighter shadows" op sqrt $out/float.npy -o $out/bright.png
step "grey" convert "$picture" $out/grey.jpg --planes 1
step "clouds: five octaves of a gradient noise" noise fractal.mono --set detail=5 --set level=-0.35 --set result=0.9 --set basis.filter=quintic --dim 640 400 -o $out/clouds.png
step "cells, each colour by itself" noise noise.voronoi --set density=1 --set postsqrt=1 --planes 3 --scale 10 --dim 640 400 -o $out/cells.png
step "every noise, fractal, filter, distance and transfer" noise --sheet -o $out/functors.png
printf '\n%d files in %s/\n' "$(ls $out | wc -l)" "$out"
