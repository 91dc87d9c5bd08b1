#!/usr/bin/env bash
# Makes the fragmented movies the fragment acceptance tests read, with the
# ffmpeg CLI, into OUT_DIR: each source is encoded once without fragments, then
# copied packet for packet into every fragment layout, so the fragmented files
# must give exactly the source's sample tables. Existing files are kept.
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../../fixture-functions.sh"
# Small and untagged, so the matrix a decoder picks for it is BT.601 everywhere;
# softened, so that how a 4:2:0 decode upsamples its chroma (which differs
# between our path and the CLI's) weighs little against a wrong frame.
video="testsrc2=size=160x90:rate=24:duration=2,gblur=sigma=2"
# A movie time scale of 24000 makes a frame exactly 1000 units, so these files
# judge fragments alone, not the frame mapping of coarse movie time scales
# (the reader's own tests cover that).
timescale=(-movie_timescale 24000)

fixture h264-aac.mov -f lavfi -i "$video" -f lavfi -i "$(tone 440 48000 2)" -ac 2 \
  -c:v libx264 -preset veryfast -bf 2 -g 12 -pix_fmt yuv420p -c:a aac -b:a 64k "${timescale[@]}"
fixture h264.mov -f lavfi -i "$video" -c:v libx264 -preset veryfast -bf 3 -g 10 -pix_fmt yuv420p "${timescale[@]}"
fixture prores-pcm.mov -f lavfi -i "$video" -f lavfi -i "$(tone 440 48000 2)" -ac 2 \
  -c:v prores_ks -profile:v 2 -c:a pcm_s16le "${timescale[@]}"

# NAME SOURCE MOVFLAGS: a packet-for-packet copy of SOURCE in one fragment layout.
layout() { fixture "$1" -i "$out/$2" -map 0 -c copy -movflags "$3" "${timescale[@]}"; }
for ext in mp4 mov; do
  layout "h264-aac-frag.$ext" h264-aac.mov frag_keyframe+empty_moov
  layout "h264-aac-frag-moof.$ext" h264-aac.mov frag_keyframe+empty_moov+default_base_moof
  layout "h264-frag.$ext" h264.mov frag_keyframe+empty_moov
  layout "h264-frag-moof.$ext" h264.mov frag_keyframe+empty_moov+default_base_moof
done
layout h264-aac-every.mp4 h264-aac.mov frag_every_frame+empty_moov
layout h264-aac-keyframe.mp4 h264-aac.mov frag_keyframe
# Segment indexes ('sidx') up front or before every fragment, and a fragment index ('mfra') at the end.
layout h264-aac-sidx.mp4 h264-aac.mov frag_keyframe+empty_moov+default_base_moof+global_sidx
layout h264-aac-dash.mp4 h264-aac.mov frag_keyframe+empty_moov+default_base_moof+dash
# ProRes and PCM sound: movie files only.
layout prores-pcm-frag.mov prores-pcm.mov frag_keyframe+empty_moov
layout prores-pcm-frag-moof.mov prores-pcm.mov frag_keyframe+empty_moov+default_base_moof
layout prores-pcm-every.mov prores-pcm.mov frag_every_frame+empty_moov
