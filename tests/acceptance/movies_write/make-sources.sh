#!/usr/bin/env bash
# Makes the coded samples and sound the writing acceptance tests copy into
# movies of their own, with the ffmpeg CLI, into OUT_DIR (kept once made).
set -euo pipefail
out="${1:?usage: make-sources.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../../fixture-functions.sh"
video="testsrc2=size=160x120:rate=24:duration=2"
fixture h264-bframes.mov -f lavfi -i "$video" -c:v libx264 -preset veryfast -bf 2 -g 12 -pix_fmt yuv420p
fixture prores.mov -f lavfi -i "$video" -c:v prores_ks -profile:v 2 -pix_fmt yuv422p10le
fixture tone.wav -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=3" -ac 2 -c:a pcm_s16le
fixture with-sound.mov -f lavfi -i "$video" -f lavfi -i "sine=frequency=660:sample_rate=48000:duration=2" \
    -ac 2 -c:v mjpeg -q:v 10 -c:a pcm_s16le
for format in aiff:pcm_s16be mp3:libmp3lame caf:pcm_s24le; do
  fixture "tone.${format%%:*}" -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=1" -ac 2 -c:a "${format#*:}"
done
fixture tone.m4a -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=1" -ac 2 -c:a aac -b:a 96k
