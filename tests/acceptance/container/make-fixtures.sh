#!/usr/bin/env bash
# Makes the movies the container acceptance tests read, with the ffmpeg CLI
# (an independent writer), into OUT_DIR. Existing files are kept, so the
# fixtures are made once per build tree.
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../../fixture-functions.sh"
video="testsrc2=size=160x120:rate=24:duration=2"
tone() { echo "sine=frequency=440:sample_rate=$1:duration=1"; }

fixture h264-bframes.mov -f lavfi -i "$video" -c:v libx264 -preset veryfast -bf 2 -g 12 -pix_fmt yuv420p
fixture h264-aac.mp4 -f lavfi -i "$video" -f lavfi -i "$(tone 48000)" -ac 2 -c:v libx264 -preset veryfast -bf 2 -g 12 -c:a aac -b:a 64k
fixture shifted-start.mov -f lavfi -i "$video" -c:v mpeg4 -q:v 10 -output_ts_offset 0.5
for format in pcm_s16le pcm_s16be pcm_s24be pcm_s32be pcm_f32be pcm_f64be alac aac; do
  fixture "sound-$format.mov" -f lavfi -i "$(tone 44100)" -ac 2 -c:a "$format"
done
