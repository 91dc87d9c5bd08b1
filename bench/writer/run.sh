#!/usr/bin/env bash
# Runs the writer benchmark of a build tree: encodeFrame throughput for
# 1920x1080 float frames to ProRes 422 HQ, ProRes 4444, H.264 and DNxHR HQ
# beside the ffmpeg CLI, medians of interleaved runs, as
# ratios (ffmpeg time / ours; above 1 means the writer is faster), and one
# ROW line per codec for bench/compare.sh.
# Usage: bench/writer/run.sh BUILD_DIR [REPETITIONS] [FRAMES] [CODEC]  (CODEC: apch, ap4h, avc1 or AVdn alone)
set -euo pipefail
build_dir=${1:?usage: bench/writer/run.sh BUILD_DIR [REPETITIONS] [FRAMES]}
program="$build_dir/bench/writer/bench_writer"
[ -x "$program" ] || { echo "run.sh: $program not found; build bench_writer first" >&2; exit 1; }
exec "$program" "${2:-3}" "${3:-24}" ${4:+"$4"}
