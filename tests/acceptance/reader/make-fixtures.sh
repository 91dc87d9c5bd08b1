#!/usr/bin/env bash
# Makes the movies the reader acceptance tests open, with the ffmpeg CLI (an
# independent writer), into OUT_DIR, and the damaged copies of one of them.
# Existing files are kept, so the fixtures are made once per build tree.
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../../fixture-functions.sh"

# The NTSC-rate movies get a movie time scale that holds their frame duration
# exactly: the reader steps through a track in whole movie time units, and in
# the default 1/1000 s a 1001/30000 s frame is not whole.
# H.264 with B-frames at 29.97, a 1 kHz stereo PCM tone, timecode and reel, text metadata.
fixture h264-2997.mov -f lavfi -i "testsrc2=size=320x240:rate=30000/1001:duration=2" \
  -f lavfi -i "$(tone 1000 48000 2)" -ac 2 \
  -c:v libx264 -preset veryfast -bf 2 -g 12 -pix_fmt yuv420p -c:a pcm_s16le \
  -timecode 01:00:00:00 -metadata:s:v:0 reel_name=Reel_A \
  -movflags use_metadata_tags -metadata title="A title" -metadata comment="Two words" -movie_timescale 30000
# 10-bit ProRes 422 HQ at 23.976: a horizontal ramp over 1024 levels of luma.
fixture prores-2398.mov -f lavfi -i "nullsrc=size=1024x64:rate=24000/1001:duration=0.5" \
  -vf "format=yuv422p10le,geq=lum='X':cb=512:cr=512" -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le
fixture prores-bars.mov -f lavfi -i "testsrc2=size=320x240:rate=24000/1001:duration=0.5" \
  -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le -movie_timescale 24000
# Photo-JPEG at 25 with 4:3 pixels, a mono 44.1 kHz AAC tone.
fixture mjpeg-25.mov -f lavfi -i "testsrc2=size=320x240:rate=25:duration=1" \
  -f lavfi -i "$(tone 1500 44100 1)" -vf setsar=4/3 -c:v mjpeg -q:v 3 -c:a aac -b:a 96k
# Animation (RLE, RGB) at 12.5.
fixture rle-125.mov -f lavfi -i "testsrc2=size=160x120:rate=12.5:duration=2" -c:v qtrle -pix_fmt rgb24
# Drop-frame timecode at 29.97.
fixture dropframe.mov -f lavfi -i "testsrc2=size=160x120:rate=30000/1001:duration=0.5" -c:v mjpeg \
  -timecode '00:59:59;28' -movie_timescale 30000
# Two video tracks, the smaller first.
fixture two-video.mov -f lavfi -i "testsrc2=size=160x120:rate=25:duration=0.4" \
  -f lavfi -i "testsrc2=size=320x240:rate=25:duration=0.4" -map 0:v -map 1:v -c:v mjpeg
# Sound only.
fixture sound-only.mov -f lavfi -i "$(tone 1000 48000 1)" -ac 2 -c:a pcm_s16le

# The four codecs the decode paths are pinned on: ProRes 422 HQ, ProRes 4444
# with a moving alpha, DNxHR HQ and long-GOP H.264 with B-frames, tagged BT.709
# (as HD is) so that their Y'CbCr goes through the matrix into BT.601, at a
# width that is not a multiple of eight; one ProRes 4444 untagged, in BT.601.
bt709="-color_primaries bt709 -color_trc bt709 -colorspace bt709"
fixture pin-prores-hq.mov -f lavfi -i "testsrc2=size=326x180:rate=24:duration=1" \
  -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le $bt709
fixture pin-prores-4444.mov -f lavfi -i "testsrc2=size=326x180:rate=24:duration=1" \
  -vf "format=yuva444p10le,geq=lum='lum(X,Y)':cb='cb(X,Y)':cr='cr(X,Y)':a='4*X+N*8'" \
  -c:v prores_ks -profile:v 4 -pix_fmt yuva444p10le $bt709
fixture pin-prores-4444-601.mov -f lavfi -i "testsrc2=size=326x180:rate=24:duration=1" \
  -vf "format=yuva444p10le,geq=lum='lum(X,Y)':cb='cb(X,Y)':cr='cr(X,Y)':a='4*X+N*8'" \
  -c:v prores_ks -profile:v 4 -pix_fmt yuva444p10le
fixture pin-dnxhr-hq.mov -f lavfi -i "testsrc2=size=326x180:rate=24:duration=1" \
  -c:v dnxhd -profile:v dnxhr_hq -pix_fmt yuv422p $bt709
fixture pin-h264-gop.mov -f lavfi -i "testsrc2=size=326x180:rate=24:duration=2" \
  -c:v libx264 -preset veryfast -g 24 -bf 3 -pix_fmt yuv420p $bt709

# A long small movie (3000 frames, GOP 48 with B-frames) for memory over a whole read.
fixture long-h264-small.mov -f lavfi -i "testsrc2=size=160x120:rate=24" -frames:v 3000 \
  -c:v libx264 -preset ultrafast -g 48 -bf 3 -pix_fmt yuv420p

# Damaged copies of the H.264 movie.
if [ ! -s "$out/bad-truncated.mov" ]; then
  size=$(stat -c %s "$out/h264-2997.mov")
  head -c $((size / 2)) "$out/h264-2997.mov" > "$out/bad-truncated.mov"
  ff -i "$out/h264-2997.mov" -c copy -movflags faststart "$out/faststart.tmp.mov"
  size=$(stat -c %s "$out/faststart.tmp.mov")
  head -c $((size * 2 / 3)) "$out/faststart.tmp.mov" > "$out/bad-truncated-data.mov"
  rm -f "$out/faststart.tmp.mov"
  { cat "$out/h264-2997.mov"; head -c 65536 /dev/urandom; } > "$out/bad-garbage-appended.mov"
  printf 'This is a text file, not a movie.\n%.0s' {1..100} > "$out/bad-not-a-movie.mov"
  : > "$out/bad-empty.mov"
fi
