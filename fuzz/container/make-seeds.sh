#!/usr/bin/env bash
# Regenerates the seed corpus of the container fuzzer with the ffmpeg CLI:
# tiny movies of several codecs, with sound, timecode, metadata and edits, and
# fragmented copies of some of them.
# The seeds are committed; run this only to refresh them. The two synthetic-*
# seeds (compressed header, typed metadata, drop-frame timecode) were written
# with the unit tests' SyntheticMovie builder and are kept as they are.
set -euo pipefail
out="$(cd "$(dirname "$0")" && pwd)/corpus"
mkdir -p "$out"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
ff() { ffmpeg -hide_banner -loglevel error -y "$@"; }
video="testsrc2=size=64x48:rate=24:duration=0.5"
sound="sine=frequency=440:sample_rate=8000:duration=0.5"

ff -f lavfi -i "$video" -f lavfi -i "$sound" -c:v libx264 -bf 2 -g 6 -c:a aac -b:a 16k \
   -timecode 01:00:00:00 -metadata:s:v:0 reel_name=Reel1 -movflags use_metadata_tags \
   -metadata title=Seed -metadata com.example.count=3 "$out/h264-aac-timecode.mov"
ff -f lavfi -i "$video" -f lavfi -i "$sound" -c:v mjpeg -q:v 20 -c:a pcm_s16le "$out/mjpeg-pcm.mov"
ff -f lavfi -i "$video" -c:v mpeg4 -q:v 20 -output_ts_offset 0.25 "$out/mpeg4-shifted.mov"
ff -f lavfi -i "$video" -f lavfi -i "$sound" -c:v libx264 -bf 2 -g 6 -c:a aac -b:a 16k "$out/h264-aac.mp4"
ff -f lavfi -i "$sound" -c:a pcm_s24be "$out/sound-in24.mov"
ff -f lavfi -i "$video" -c:v prores_ks -profile:v 0 -timecode '00:59:59;28' -r 30000/1001 "$out/prores-dropframe.mov"
# Fragmented: empty movie atoms, data relative to each fragment, every frame a
# fragment, and a first fragment kept in the movie atom.
ff -i "$out/h264-aac.mp4" -c copy -movflags frag_keyframe+empty_moov "$out/fragmented-h264-aac.mp4"
ff -i "$out/mjpeg-pcm.mov" -c copy -movflags frag_keyframe+empty_moov+default_base_moof "$out/fragmented-mjpeg-pcm.mov"
ff -i "$out/h264-aac.mp4" -map 0:v -c copy -movflags frag_every_frame+empty_moov "$out/fragmented-every-frame.mp4"
ff -i "$out/h264-aac.mp4" -c copy -movflags frag_keyframe "$out/fragmented-keyframe.mp4"
ls -l "$out"
