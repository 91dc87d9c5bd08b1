#!/usr/bin/env bash
# The full bad-input run: every truncation at 64 offsets and 1,000 random
# single-byte corruptions per reliability movie, through the public reader.
# Prints one table row per movie and kind of damage (result code:count).
#   scripts/bad-input.sh [BUILD_DIR] [CORRUPTIONS]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build-rel}"
corruptions="${2:-1000}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVQT_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build" --target reliability_bad_input_tests
log="$(mktemp)"
status=0
VQT_BAD_INPUT_CORRUPTIONS="$corruptions" "$build/tests/reliability/reliability_bad_input_tests" >"$log" 2>&1 || status=$?
echo "| movie | damage | inputs | open results | decodeFrame results | readAudio results | crashes | hangs |"
echo "|---|---|---|---|---|---|---|---|"
grep '^| ' "$log" || true
if [ "$status" -ne 0 ]; then
  grep -E 'crashed|did not finish|Failure' "$log" | head -n 40 >&2
  echo "bad-input: FAILED (full log: $log)" >&2
  exit 1
fi
rm -f "$log"
echo "bad-input: no crash, no hang"
