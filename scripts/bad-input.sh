#!/usr/bin/env bash
# The full bad-input run: every truncation at 64 offsets and 1,000 random
# single-byte corruptions per reliability movie, each read through the public
# reader as a host would (every frame, every sound sample) and described by
# `qtmovie info --json`, under a 1 GB address space and 10 s per run.
# Prints one table row per movie and kind of damage (result code:count, the
# largest peak resident set of any run).
#   scripts/bad-input.sh [BUILD_DIR] [CORRUPTIONS]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build-rel}"
corruptions="${2:-1000}"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVQT_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build" --target reliability_bad_input_tests qtmovie
log="$(mktemp)"
status=0
VQT_BAD_INPUT_CLI_EVERY=1 VQT_BAD_INPUT_CORRUPTIONS="$corruptions" "$build/tests/reliability/reliability_bad_input_tests" >"$log" 2>&1 || status=$?
echo "| movie | damage | inputs | open results | decodeFrame results | readAudio results | info --json runs: exit codes | peak RSS | crashes | hangs |"
echo "|---|---|---|---|---|---|---|---|---|---|"
grep '^| ' "$log" || true
if [ "$status" -ne 0 ]; then
  grep -E 'crashed|did not finish|not JSON|Failure' "$log" | head -n 40 >&2
  echo "bad-input: FAILED (full log: $log)" >&2
  exit 1
fi
rm -f "$log"
echo "bad-input: no crash, no hang, no run over 1 GB or 10 s, every JSON parsed"
