#!/usr/bin/env bash
# Makes, with the ffmpeg CLI and its defaults, the movies people receive: every
# common frame rate under three movie time scales and five codecs, edit lists
# of each shape, a movie header without a time scale, an encrypted movie and
# one whose sample data is missing. Existing files are kept.
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../../fixture-functions.sh"

# A small grey ramp that moves seven columns a frame, at the given rate: every
# frame of a movie differs clearly from every other, so a frame read at the
# wrong index is seen, and grey keeps the comparison to timing alone (colour
# matrices and chroma siting have tests of their own).
pattern() { echo "nullsrc=size=64x48:rate=$1,format=gray,geq=lum=mod((X+7*N)*4+Y\,256)"; }
declare -A codec=(
  [h264]="-c:v libx264 -preset veryfast -g 6 -bf 2 -pix_fmt yuv420p"
  [hevc]="-c:v libx265 -preset veryfast -x265-params log-level=error:bframes=2:keyint=6 -pix_fmt yuv420p -tag:v hvc1"
  [prores]="-c:v prores_ks -profile:v 2 -pix_fmt yuv422p10le"
  [mjpeg]="-c:v mjpeg -q:v 2 -pix_fmt yuvj420p"
  [png]="-c:v png -pix_fmt rgb24"
)
declare -A rate=([2398]=24000/1001 [24]=24 [25]=25 [2997]=30000/1001 [30]=30 [50]=50 [5994]=60000/1001 [60]=60)

# rate-CODEC-RATE-SCALE.mov, SCALE 600, 1000 (the CLI's default) or "media"
# (the movie time scale equal to the media's, learnt from the 1000 one).
for c in "${!codec[@]}"; do
  for r in "${!rate[@]}"; do
    base="rate-$c-$r"
    for s in 600 1000; do
      # shellcheck disable=SC2086
      fixture "$base-$s.mov" -f lavfi -i "$(pattern "${rate[$r]}")" -frames:v 12 ${codec[$c]} -movie_timescale "$s"
    done
    if [ ! -s "$out/$base-media.mov" ]; then
      media=$(ffprobe -v error -select_streams v:0 -show_entries stream=time_base -of csv=p=0 "$out/$base-1000.mov")
      # shellcheck disable=SC2086
      fixture "$base-media.mov" -f lavfi -i "$(pattern "${rate[$r]}")" -frames:v 12 ${codec[$c]} \
        -movie_timescale "${media#1/}"
    fi
  done
done

# Offset in FILE of the first atom of type TYPE (its size field), or nothing.
atom_offset() {
  local at
  at=$(grep -obUaP -m1 "$2" "$1" | head -1 | cut -d: -f1) || true
  [ -n "$at" ] && echo $((at - 4))
}
# Overwrites bytes of FILE at OFFSET with the printf-escaped BYTES.
patch_bytes() { printf '%b' "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

# Edits. Photo-JPEG at 24 fps, every frame a sync sample; media time scale
# 12288 (512 a frame), movie time scale 1000.
mjpeg24() { echo -f lavfi -i "$(pattern 24)" -frames:v 24 -c:v mjpeg -q:v 2 -pix_fmt yuvj420p; }
# shellcheck disable=SC2046
fixture edit-none.mov $(mjpeg24)
# An empty edit of half a second at the head, then the whole media.
# shellcheck disable=SC2046
fixture edit-empty-head.mov $(mjpeg24) -output_ts_offset 0.5
# Video half a second behind a sound track that starts at once.
fixture edit-video-late.mov -f lavfi -i "$(pattern 24)" -f lavfi -i "$(tone 1000 48000 1.5)" \
  -frames:v 24 -c:v mjpeg -q:v 2 -pix_fmt yuvj420p -c:a pcm_s16le -filter:v setpts=PTS+0.5/TB
# H.264 with B-frames cut at a frame boundary with stream copy: its one edit
# starts inside the media (the trimmed head is decoded, never shown).
fixture edit-h264-long.mov -f lavfi -i "$(pattern 24)" -frames:v 48 -c:v libx264 -preset veryfast -g 12 -bf 2 \
  -pix_fmt yuv420p
fixture edit-inside.mov -ss 0.25 -i "$out/edit-h264-long.mov" -c copy
# The same cut off the frame grid: its first picture shows only its tail.
fixture edit-inside-partial.mov -ss 0.3 -i "$out/edit-h264-long.mov" -c copy
# Several edits in a row: the two entries of the empty-head movie rewritten
# in place to show media frames 12-17 (250 ms from media time 6144), then
# frames 0-11 (500 ms from 0).
if [ ! -s "$out/edit-several.mov" ]; then
  cp "$out/edit-empty-head.mov" "$out/edit-several.tmp.mov"
  at=$(atom_offset "$out/edit-several.tmp.mov" elst)
  patch_bytes "$out/edit-several.tmp.mov" $((at + 16)) \
    '\x00\x00\x00\xfa\x00\x00\x18\x00\x00\x01\x00\x00\x00\x00\x01\xf4\x00\x00\x00\x00\x00\x01\x00\x00'
  mv "$out/edit-several.tmp.mov" "$out/edit-several.mov"
fi

# Timecode from 01:00:00:00 at 23.976 under the default movie time scale.
fixture timecode-2398.mov -f lavfi -i "$(pattern 24000/1001)" -frames:v 12 -c:v mjpeg -q:v 2 \
  -pix_fmt yuvj420p -timecode 01:00:00:00

# A movie header whose time scale is 0 (readers fall back to the media's).
if [ ! -s "$out/zero-movie-timescale.mov" ]; then
  cp "$out/rate-mjpeg-24-1000.mov" "$out/zero.tmp.mov"
  at=$(atom_offset "$out/zero.tmp.mov" mvhd)
  patch_bytes "$out/zero.tmp.mov" $((at + 20)) '\x00\x00\x00\x00'
  mv "$out/zero.tmp.mov" "$out/zero-movie-timescale.mov"
fi

# Encrypted ('encv' and 'enca' sample entries, AES-CTR).
fixture encrypted.mp4 -f lavfi -i "$(pattern 24)" -f lavfi -i "$(tone 1000 48000 0.5)" -frames:v 12 \
  -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -encryption_scheme cenc-aes-ctr \
  -encryption_key 00112233445566778899aabbccddeeff -encryption_kid 000102030405060708090a0b0c0d0e0f
# Only the header: the movie atom of a fast-start movie, its sample data cut off.
if [ ! -s "$out/header-only.mov" ]; then
  ff -i "$out/rate-h264-24-1000.mov" -c copy -movflags faststart "$out/faststart.tmp.mov"
  at=$(atom_offset "$out/faststart.tmp.mov" mdat)
  head -c $((at + 8)) "$out/faststart.tmp.mov" > "$out/header-only.mov"
  rm -f "$out/faststart.tmp.mov"
fi

# Two video tracks, the first disabled: the enabled one (the larger) is read.
fixture two-video-second-enabled.mov -f lavfi -i "testsrc2=size=64x48:rate=25:duration=0.4" \
  -f lavfi -i "testsrc2=size=96x64:rate=25:duration=0.4" -map 0:v -map 1:v -c:v mjpeg -disposition:v:0 0 \
  -disposition:v:1 default
# Sound only.
fixture sound-only.m4a -f lavfi -i "$(tone 1000 48000 0.5)" -c:a aac
