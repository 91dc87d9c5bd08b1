#!/usr/bin/env bash
# Runs the codec benchmark of a build tree: 1920x1080 ProRes 422 HQ and H.264
# decode and encode through the ICM sessions beside the ffmpeg CLI, as ratios.
# Usage: bench/codecs/run.sh BUILD_DIR [REPETITIONS]
set -euo pipefail
build_dir=${1:?usage: bench/codecs/run.sh BUILD_DIR [REPETITIONS]}
program="$build_dir/bench/codecs/bench_codecs"
[ -x "$program" ] || { echo "run.sh: $program not found; build bench_codecs first" >&2; exit 1; }
exec "$program" "${2:-3}"
