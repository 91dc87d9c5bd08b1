#!/usr/bin/env bash
# Makes the movies the movie audio extraction tests read, with the ffmpeg CLI,
# into OUT_DIR (kept once made).
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../../fixture-functions.sh"

# A stereo 48 kHz track, 1 s, and a mono 44.1 kHz track that starts 0.5 s in
# (an empty edit first) and lasts 1 s; both enabled (ffmpeg enables only the
# default track of a kind unless told).
fixture two-tracks.mov -f lavfi -i "$(tone 1000 48000 1)" -itsoffset 0.5 -f lavfi -i "$(tone 1500 44100 1)" \
  -map 0:a -map 1:a -ac:a:0 2 -c:a pcm_s16le -disposition:a:0 default -disposition:a:1 default
fixture stereo-float.mov -f lavfi -i "$(tone 1000 48000 1)" -ac 2 -c:a pcm_f32le
fixture no-sound.mov -f lavfi -i "testsrc2=size=64x48:rate=10:duration=1" -c:v mjpeg
