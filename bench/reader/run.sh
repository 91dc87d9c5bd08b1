#!/usr/bin/env bash
# Runs the reader benchmark of a build tree: decodeFrame over 1920x1080 ProRes
# 422 HQ, ProRes 4444, DNxHR HQ and H.264 movies beside the ffmpeg CLI, then
# peak memory over a long movie read end to end (VQT_BENCH_LONG_FRAMES frames,
# 10000 unless set; 0 leaves it out). Prints a table and ROW lines.
# Usage: bench/reader/run.sh BUILD_DIR [REPETITIONS]
set -euo pipefail
build_dir=${1:?usage: bench/reader/run.sh BUILD_DIR [REPETITIONS]}
program="$build_dir/bench/reader/bench_reader"
[ -x "$program" ] || { echo "run.sh: $program not found; build bench_reader first" >&2; exit 1; }
"$program" "${2:-3}"
long=${VQT_BENCH_LONG_FRAMES:-10000}
if [ "$long" -gt 0 ]; then "$program" --memory "$long"; fi
