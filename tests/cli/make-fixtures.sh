#!/usr/bin/env bash
# Movies for the qtmovie tests, written by the ffmpeg CLI into OUT_DIR; made
# once per build tree.
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../fixture-functions.sh"
# H.264 at 25 with a stereo PCM tone, timecode, reel and text metadata.
fixture h264-tone.mov -f lavfi -i "testsrc2=size=160x120:rate=25:duration=1" \
  -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=1" -ac 2 \
  -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a pcm_s16le \
  -timecode 00:00:10:00 -metadata:s:v:0 reel_name=Tape_7 \
  -movflags use_metadata_tags -metadata title="Line \"one\"" -movie_timescale 25
# ProRes 422 HQ at 24, no sound.
fixture prores.mov -f lavfi -i "testsrc2=size=128x96:rate=24:duration=0.5" \
  -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le -movie_timescale 24
