#!/usr/bin/env bash
# Scrubbing rows of the benchmark table: reverse order and random order (after
# one visit) over 1920x1080 GOP-48 H.264 and HEVC movies, against reading in
# order. Prints ROW lines for bench/compare.sh.
# Usage: bench/reader/scrub.sh BUILD_DIR [RUNS]
set -euo pipefail
build_dir=${1:?usage: bench/reader/scrub.sh BUILD_DIR [RUNS]}
program="$build_dir/bench/reader/bench_scrub"
[ -x "$program" ] || { echo "scrub.sh: $program not found; build bench_scrub first" >&2; exit 1; }
exec "$program" "${2:-3}"
