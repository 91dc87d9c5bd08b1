#!/usr/bin/env bash
# Builds the reliability load test with ThreadSanitizer in its own build tree
# and runs it: eight readers and four writers at once in one process.
#   scripts/tsan.sh [BUILD_DIR] [DECODES_PER_READER]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build-tsan}"
decodes="${2:-200}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVQT_SANITIZE=thread \
  -DVQT_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build" --target reliability_load_tests
# halt_on_error: the first race fails the run. The suppressions name only the
# hand-off from FFmpeg's slice threads, whose synchronisation is invisible here.
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$PWD/tests/reliability/tsan.supp" VQT_LOAD_DECODES="$decodes" \
  "$build/tests/reliability/reliability_load_tests"
