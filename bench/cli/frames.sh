#!/usr/bin/env bash
# `qtmovie frames` beside the ffmpeg CLI writing the same images from the same
# movie: 1920x1080 long-GOP H.264 (a key frame every 2 s), a range of frames
# written as 16-bit PNG (and, with EXR=1, as half-float EXR). Prints the wall
# time of each, the best of REPETITIONS runs, and their ratio (above 1: qtmovie faster).
# Usage: bench/cli/frames.sh BUILD_DIR [FRAMES] [REPETITIONS]
set -euo pipefail
build_dir=${1:?usage: bench/cli/frames.sh BUILD_DIR [FRAMES] [REPETITIONS]}
frames=${2:-90}
repetitions=${3:-3}
qtmovie="$build_dir/bin/qtmovie"
[ -x "$qtmovie" ] || { echo "frames.sh: $qtmovie not found; build the qtmovie target first" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
movie="$work/source.mov"
ffmpeg -hide_banner -loglevel error -f lavfi -i "testsrc2=size=1920x1080:rate=24:duration=$(( (frames + 30) / 24 + 1 ))" \
  -c:v libx264 -preset veryfast -g 48 -bf 2 -pix_fmt yuv420p "$movie"

first=10
last=$(( first + frames - 1 ))
best() {  # best wall time in seconds of "$@" over the repetitions, outputs removed between runs
  local best_time=""
  for _ in $(seq "$repetitions"); do
    rm -rf "$work/out" && mkdir "$work/out"
    local start end
    start=$(date +%s.%N)
    "$@" > /dev/null 2>&1
    end=$(date +%s.%N)
    best_time=$(python3 -c "t=$end-$start; b='$best_time'; print(min(t, float(b)) if b else t)")
  done
  echo "$best_time"
}

compare() {
  local extension=$1 pixel_format=$2
  # ffmpeg numbers frames from 0; select keeps the same range as --range (which counts from 1).
  local theirs ours
  theirs=$(best ffmpeg -hide_banner -loglevel error -i "$movie" \
    -vf "select=between(n\\,$((first - 1))\\,$((last - 1)))" -vsync passthrough -pix_fmt "$pixel_format" \
    -start_number "$first" "$work/out/ff_%04d.$extension")
  ours=$(best "$qtmovie" frames "$movie" -o "$work/out/qt_%04d.$extension" --range "$first:$last")
  python3 -c "print('frames %d-%d as .%s: qtmovie %.2f s, ffmpeg CLI %.2f s, ratio %.2f' % ($first, $last, '$extension', $ours, $theirs, $theirs / $ours))"
}

compare png rgba64be
if [ "${EXR:-0}" = 1 ]; then compare exr gbrapf32le; fi
