#!/usr/bin/env bash
# Makes the movies whose sample entries the byte-layout tests read into OUT_DIR
# (kept once made): MPEG-4 video and AAC ('esds' in both, 'pasp', 'colr' nclc
# and nclx), ProRes and raw Y'CbCr with fields ('fiel', 'clap'), and PCM in the
# three sound-entry versions; H.264 and HEVC in 8-bit 4:2:0 and deeper or wider
# chroma ('avcC', 'hvcC').
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "$0")/../../fixture-functions.sh"
video="testsrc=size=64x48:rate=10:duration=0.5"
colour=(-color_primaries bt709 -color_trc bt709 -colorspace bt709)
fixture mpeg4-aac.mov -f lavfi -i "$video" -f lavfi -i "$(tone 440 44100 0.5)" -c:v mpeg4 -vf setsar=4/3 \
  "${colour[@]}" -c:a aac
fixture mpeg4-aac.mp4 -f lavfi -i "$video" -f lavfi -i "$(tone 440 44100 0.5)" -c:v mpeg4 -vf setsar=4/3 \
  "${colour[@]}" -color_range pc -c:a aac
fixture prores-fields.mov -f lavfi -i "$video" -c:v prores_ks -pix_fmt yuv422p10le -field_order tt "${colour[@]}"
fixture uyvy-fields.mov -f lavfi -i "$video" -c:v rawvideo -pix_fmt uyvy422 -field_order bb
fixture s16.mov -f lavfi -i "$(tone 440 48000 0.2)" -c:a pcm_s16le
fixture s24.mov -f lavfi -i "$(tone 440 48000 0.2)" -c:a pcm_s24le
fixture s16-96k.mov -f lavfi -i "$(tone 440 96000 0.2)" -c:a pcm_s16le
fixture h264-8bit.mov -f lavfi -i "$video" -c:v libx264 -pix_fmt yuv420p
fixture h264-10bit-422.mov -f lavfi -i "$video" -c:v libx264 -pix_fmt yuv422p10le
fixture hevc-8bit.mov -f lavfi -i "$video" -c:v libx265 -pix_fmt yuv420p -tag:v hvc1 -x265-params log-level=error
fixture hevc-10bit-422.mov -f lavfi -i "$video" -c:v libx265 -pix_fmt yuv422p10le -tag:v hvc1 \
  -x265-params log-level=error
