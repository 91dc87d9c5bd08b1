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
# Sound only, with text user data and QuickTime metadata whose keys and values
# hold bytes 0x80-0xFF that are not UTF-8.
fixture sound-hostile.mov -f lavfi -i "$(tone 440 44100 0.5)" -ac 1 -c:a pcm_s16le \
  -metadata title=$'Caf\xe9 \x80\xff' -metadata year=1999 -movflags use_metadata_tags \
  -metadata $'k\xe9y\xfe'=$'v\xc3\x28al\xf0\x9f\x98\x80'
# The same bytes in QuickTime text user data ('\xa9nam', '\xa9day').
fixture sound-userdata.mov -f lavfi -i "$(tone 440 44100 0.5)" -ac 1 -c:a pcm_s16le \
  -metadata title=$'Caf\xe9 \x80\xff' -metadata date=1999
# Fragmented H.264: the reader refuses it, atoms still shows it.
fixture fragmented.mov -f lavfi -i "testsrc2=size=96x64:rate=25:duration=1" \
  -c:v libx264 -preset veryfast -pix_fmt yuv420p -g 10 -movflags frag_keyframe+empty_moov
# Long-GOP H.264 (a key frame every 50) for in-order extraction.
fixture long-gop.mov -f lavfi -i "testsrc2=size=128x96:rate=25:duration=2" \
  -c:v libx264 -preset veryfast -pix_fmt yuv420p -g 50 -bf 2
