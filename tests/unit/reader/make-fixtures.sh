#!/usr/bin/env bash
# Makes the movies the reader unit tests open into OUT_DIR (kept once made): a
# white Animation movie and copies whose sample description names other codec
# types, for decompressors the tests register (or none).
set -euo pipefail
out="${1:?usage: make-fixtures.sh OUT_DIR}"
mkdir -p "$out"
if [ ! -s "$out/white.mov" ]; then
  ffmpeg -hide_banner -loglevel error -y -f lavfi -i "color=white:size=64x48:rate=10:duration=1" \
    -c:v qtrle -pix_fmt rgb24 "$out/white.tmp.mov"
  mv "$out/white.tmp.mov" "$out/white.mov"
fi
for code in vtst vt64 vt48 zzzz; do
  [ -s "$out/white-$code.mov" ] && continue
  python3 - "$out/white.mov" "$out/white-$code.mov" "$code" <<'PY'
import sys
data = bytearray(open(sys.argv[1], 'rb').read())
at = data.index(b'stsd')
at = data.index(b'rle ', at)  # the first entry's data format
data[at:at + 4] = sys.argv[3].encode()
open(sys.argv[2], 'wb').write(data)
PY
done
