#!/usr/bin/env bash
# Makes the movies the colour acceptance tests read, with the ffmpeg CLI (an
# independent writer), into OUT_DIR: each colour matrix and range, bit depth,
# chroma layout and odd size, small and short (test patterns blurred a little,
# so that chroma subsampling itself costs little); only the untagged default
# needs more than 576 lines.
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
source "$(dirname "${BASH_SOURCE[0]}")/../../fixture-functions.sh"

# Every movie repeats one still picture, so that which frame is shown cannot
# matter here: this suite is about colour, not timing.
for size in 320x180 160x640 256x144 322x182; do
  fixture "still-$size.png" -f lavfi -i "testsrc2=size=$size:rate=1,format=rgb24,gblur=sigma=3" -frames:v 1
done
still() { echo "-loop 1 -framerate 25 -t 0.12 -i $out/still-$1.png"; }
src=$(still 320x180)
# Tags alone do not convert: the CLI's own conversion from the test pattern's
# RGB is told the matrix and range, and the frames then carry the tags (some
# encoders write the frames' tags into the bitstream, not the options').
# made MATRIX RANGE SPACE PRIMARIES TRANSFER
made() {
  echo "-vf scale=out_color_matrix=$1:out_range=$2,setparams=colorspace=$3:color_primaries=$4:color_trc=$5:range=$2" \
    "-colorspace $3 -color_primaries $4 -color_trc $5 -color_range $2"
}
bt709=$(made bt709 tv bt709 bt709 bt709)
bt709full=$(made bt709 pc bt709 bt709 bt709)
bt601=$(made bt601 tv smpte170m smpte170m smpte170m)
bt2020=$(made bt2020 tv bt2020nc bt2020 bt2020-10)
x265="-x265-params log-level=error"

# H.264, 8-bit: BT.709 video and full range, and BT.601 on a frame taller than 576 lines.
fixture h264-709.mov $src -c:v libx264 -pix_fmt yuv420p $bt709
fixture h264-709-full.mov $src -c:v libx264 -pix_fmt yuv420p $bt709full
fixture h264-601-tall.mov $(still 160x640) -c:v libx264 \
  -pix_fmt yuv420p $bt601
# Untagged and taller than 576 lines: BT.709 by default.
fixture h264-untagged-tall.mov $(still 160x640) -c:v libx264 \
  -pix_fmt yuv420p -vf scale=out_color_matrix=bt709
# 10-bit H.264 4:2:0, 4:2:2 and 4:4:4.
fixture h264-10bit-420.mov $src -c:v libx264 -pix_fmt yuv420p10le $bt709
fixture h264-10bit-422.mov $src -c:v libx264 -pix_fmt yuv422p10le $bt709
fixture h264-10bit-444.mov $src -c:v libx264 -pix_fmt yuv444p10le $bt709
# ProRes: 10-bit 4:2:2 BT.709; 4444 BT.2020.
fixture prores-709.mov $src -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le $bt709
fixture prores4444-2020.mov $src -c:v prores_ks -profile:v 4 -pix_fmt yuv444p10le $bt2020
# HEVC: 12-bit BT.2020; 10-bit BT.709 full range in an MP4 (whose 'colr' is 'nclx').
fixture hevc-12bit-2020.mov $src -c:v libx265 $x265 -pix_fmt yuv420p12le -tag:v hvc1 $bt2020
fixture hevc-10bit-709-full.mp4 $src -c:v libx265 $x265 -pix_fmt yuv420p10le -tag:v hvc1 \
  $bt709full
# DNxHR, every profile the encoder makes (VC-3 is BT.709 by definition).
for profile in lb sq hq; do
  fixture "dnxhr-$profile.mov" $(still 256x144) -c:v dnxhd \
    -profile:v "dnxhr_$profile" -pix_fmt yuv422p $bt709
done
fixture dnxhr-hqx.mov $(still 256x144) -c:v dnxhd \
  -profile:v dnxhr_hqx -pix_fmt yuv422p10le $bt709
# Odd sizes: Photo-JPEG 4:2:0, 4:2:2 and 4:4:4, H.264 4:4:4, cropped from an
# even picture in 4:4:4 Y'CbCr (the CLI's own conversion from RGB at an odd
# size averages the last chroma column with black), and that picture cropped
# alone, which judges them: the CLI's RGB of an odd 4:2:x picture drifts by up
# to a chroma sample across the width.
crop="crop=321:181:0:0"
fixture odd-source.png -i "$out/still-322x182.png" -vf "$crop"
for layout in 420 422 444; do
  fixture "jpeg-odd-$layout.mov" $(still 322x182) -vf "format=yuvj444p,$crop,format=yuvj${layout}p" -c:v mjpeg -q:v 2
done
fixture h264-odd-444.mov $(still 322x182) -vf "format=yuv444p,$crop" -c:v libx264 -qp 0

# Grey ramps over the 1024 codes of 10-bit luma, for the depth the reader keeps.
ramp="nullsrc=size=1024x128:rate=25:duration=0.04"
fixture ramp-h264-422.mov -f lavfi -i "$ramp" -vf "format=yuv422p10le,geq=lum='X':cb=512:cr=512" \
  -c:v libx264 -pix_fmt yuv422p10le -qp 0
fixture ramp-h264-444.mov -f lavfi -i "$ramp" -vf "format=yuv444p10le,geq=lum='X':cb=512:cr=512" \
  -c:v libx264 -pix_fmt yuv444p10le -qp 0
fixture ramp-dnxhr-hqx.mov -f lavfi -i "$ramp" -vf "format=yuv422p10le,geq=lum='X':cb=512:cr=512" \
  -c:v dnxhd -profile:v dnxhr_hqx -pix_fmt yuv422p10le
# Blurred test patterns for the writer: smooth enough that chroma subsampling
# itself costs little, so what is measured is the colour conversion.
for size in 1920x1080 720x486 321x181; do
  fixture "blur-$size.png" -f lavfi -i "testsrc2=size=$size:rate=1,format=rgb24" -vf "gblur=sigma=3" -frames:v 1
done
