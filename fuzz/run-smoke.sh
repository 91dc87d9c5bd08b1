#!/usr/bin/env bash
# Runs every libFuzzer binary of a build for a given time on a copy of its seed
# corpus and prints its executions, rate and coverage; fails on any finding.
# Builds nothing.
#   fuzz/run-smoke.sh BUILD_DIR SECONDS [NAME_PATTERN]
# A fuzzer named NAME finds its seeds in NAME.corpus beside it (the build
# copies them there). For a longer run, call the binary directly, e.g.
#   BUILD/fuzz/container/container_fuzzer -max_total_time=3600 -timeout=10 CORPUS_COPY
set -euo pipefail
build="${1:?usage: run-smoke.sh BUILD_DIR SECONDS}"
seconds="${2:?usage: run-smoke.sh BUILD_DIR SECONDS}"
pattern="${3:-.}"
mapfile -t fuzzers < <(find "$(cd "$build" && pwd)" -type f -name '*_fuzzer' -perm -u+x | sort | grep -E -- "$pattern")
if [ "${#fuzzers[@]}" -eq 0 ]; then
  echo "run-smoke: no fuzzers under $build" >&2
  exit 1
fi
findings="$(cd "$build" && pwd)/fuzz-findings"
mkdir -p "$findings"
status=0
for fuzzer in "${fuzzers[@]}"; do
  work="$(mktemp -d)"
  if [ -d "$fuzzer.corpus" ]; then cp -r "$fuzzer.corpus/." "$work/"; fi
  # NAME.options beside a fuzzer may add libFuzzer flags ("flags=...", e.g.
  # memory limits) and give it a share of the seconds ("time_percent=N").
  flags=(-rss_limit_mb=2048)
  share=100
  if [ -f "$fuzzer.options" ]; then
    read -r -a flags <<<"$(sed -n 's/^flags=//p' "$fuzzer.options")"
    share="$(sed -n 's/^time_percent=//p' "$fuzzer.options")"
    share="${share:-100}"
  fi
  fuzz_seconds=$(( seconds * share / 100 ))
  fuzz_seconds=$(( fuzz_seconds > 0 ? fuzz_seconds : 1 ))
  echo "run-smoke: $(basename "$fuzzer") for ${fuzz_seconds}s ${flags[*]}"
  if ! (cd "$work" && "$fuzzer" -max_total_time="$fuzz_seconds" -timeout=10 "${flags[@]}" \
          -print_final_stats=1 -artifact_prefix="$findings/" "$work" >"$work.log" 2>&1); then
    echo "run-smoke: $(basename "$fuzzer") found a problem:" >&2
    tail -n 60 "$work.log" >&2
    echo "run-smoke: the input is kept in $findings" >&2
    status=1
  else
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work.log")
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$work.log")
    edges=$(grep -o 'cov: [0-9]*' "$work.log" | tail -n 1 | cut -d' ' -f2)
    echo "run-smoke: $(basename "$fuzzer"): ${executions:-?} executions, ${rate:-?}/s, ${edges:-?} edges, no finding"
  fi
  rm -rf "$work" "$work.log"
done
exit $status
