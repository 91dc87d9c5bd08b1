#!/usr/bin/env bash
# Makes the coded samples and sound the writing acceptance tests copy into
# movies of their own, with the ffmpeg CLI, into OUT_DIR (kept once made).
set -euo pipefail
out="${1:?usage: make-sources.sh OUT_DIR}"
mkdir -p "$out"
ff() { ffmpeg -hide_banner -loglevel error -y "$@"; }
source_file() { # NAME ARGS...: skip when the file is already there
  local name="$1"; shift
  [ -s "$out/$name" ] && return 0
  ff "$@" "$out/$name.tmp.${name##*.}" && mv "$out/$name.tmp.${name##*.}" "$out/$name"
}
video="testsrc2=size=160x120:rate=24:duration=2"
source_file h264-bframes.mov -f lavfi -i "$video" -c:v libx264 -preset veryfast -bf 2 -g 12 -pix_fmt yuv420p
source_file prores.mov -f lavfi -i "$video" -c:v prores_ks -profile:v 2 -pix_fmt yuv422p10le
source_file tone.wav -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=3" -ac 2 -c:a pcm_s16le
source_file with-sound.mov -f lavfi -i "$video" -f lavfi -i "sine=frequency=660:sample_rate=48000:duration=2" \
    -ac 2 -c:v mjpeg -q:v 10 -c:a pcm_s16le
for format in aiff:pcm_s16be mp3:libmp3lame caf:pcm_s24le; do
  source_file "tone.${format%%:*}" -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=1" -ac 2 -c:a "${format#*:}"
done
source_file tone.m4a -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=1" -ac 2 -c:a aac -b:a 96k
