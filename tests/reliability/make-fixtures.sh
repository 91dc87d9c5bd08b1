#!/usr/bin/env bash
# Makes the small movies the reliability tests damage, load and write from,
# with the ffmpeg CLI, into OUT_DIR (kept once made). Several codecs, with
# sound, timecode and metadata; each small, so that reading one through is quick.
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../fixture-functions.sh"

fixture h264-aac-timecode.mov -f lavfi -i "testsrc2=size=96x64:rate=25:duration=0.48" \
  -f lavfi -i "$(tone 1000 48000 0.48)" -c:v libx264 -preset veryfast -bf 2 -g 6 -pix_fmt yuv420p \
  -c:a aac -b:a 64k -timecode 01:00:00:00 -metadata:s:v:0 reel_name=Reel_B \
  -movflags use_metadata_tags -metadata title="Bad input" -metadata comment="Two words"
fixture mjpeg-pcm.mov -f lavfi -i "testsrc2=size=96x64:rate=24000/1001:duration=0.5" \
  -f lavfi -i "$(tone 440 44100 0.5)" -c:v mjpeg -q:v 5 -c:a pcm_s16le -ac 2 \
  -timecode 00:59:59:20 -movie_timescale 24000 -metadata title="JPEG"
fixture prores-pcm24.mov -f lavfi -i "testsrc2=size=96x64:rate=25:duration=0.32" \
  -f lavfi -i "$(tone 300 48000 0.32)" -c:v prores_ks -profile:v 2 -pix_fmt yuv422p10le -c:a pcm_s24le
fixture rle.mov -f lavfi -i "testsrc2=size=96x64:rate=12.5:duration=0.8" -c:v qtrle -pix_fmt rgb24 \
  -metadata comment="Animation"
fixture mpeg4-faststart.mp4 -f lavfi -i "testsrc2=size=96x64:rate=30:duration=0.4" \
  -f lavfi -i "$(tone 800 22050 0.4)" -c:v mpeg4 -q:v 4 -c:a aac -movflags faststart
# The hostile-input tests' movie: 64x48 Photo-JPEG, 16,320 samples of mono
# 16-bit sound, one metadata title; each test changes a few of its bytes.
fixture hostile-64x48.mov -f lavfi -i "testsrc2=size=64x48:rate=25:duration=0.4" \
  -f lavfi -i "$(tone 440 48000 0.34)" -c:v mjpeg -q:v 5 -c:a pcm_s16le -ac 1 \
  -movflags use_metadata_tags -metadata title="Hostile"
# A long, tiny movie for the load test's random decodes.
fixture long-mjpeg.mov -f lavfi -i "testsrc2=size=64x48:rate=50:duration=8" -c:v mjpeg -q:v 8
