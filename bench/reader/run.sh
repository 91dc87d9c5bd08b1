#!/usr/bin/env bash
# Runs the reader benchmark of a build tree: decodeFrame over 1920x1080 ProRes
# 422 HQ and H.264 movies, in order and random order, beside the ffmpeg CLI.
# Usage: bench/reader/run.sh BUILD_DIR [REPETITIONS]
set -euo pipefail
build_dir=${1:?usage: bench/reader/run.sh BUILD_DIR [REPETITIONS]}
program="$build_dir/bench/reader/bench_reader"
[ -x "$program" ] || { echo "run.sh: $program not found; build bench_reader first" >&2; exit 1; }
exec "$program" "${2:-1}"
