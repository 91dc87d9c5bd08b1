#!/usr/bin/env bash
# Soak: makes a 10,000-frame movie with the ffmpeg CLI and reads it end to end
# through the public reader, reporting peak RSS after the first 100 frames and
# at the end (flat memory: the two are close).
#   scripts/soak.sh [BUILD_DIR] [FRAMES]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build-rel}"
frames="${2:-10000}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVQT_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build" --target reliability_soak
movie="$build/soak-$frames.mov"
if [ ! -s "$movie" ]; then
  ffmpeg -hide_banner -loglevel error -y -f lavfi -i "testsrc2=size=320x240:rate=50" -frames:v "$frames" \
    -c:v libx264 -preset ultrafast -g 50 -pix_fmt yuv420p "$movie.tmp.mov"
  mv "$movie.tmp.mov" "$movie"
fi
"$build/tests/reliability/reliability_soak" "$movie"
