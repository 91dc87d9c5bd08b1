#!/usr/bin/env bash
# Runs the container benchmark of a build tree and prints the open times beside
# ffprobe's on the same 1,000,000-sample file (ratio = ffprobe / ours), and the
# query times for 100,000 random lookups, and the time to write and flatten
# a movie of 100,000 samples.
# Usage: bench/container/run.sh BUILD_DIR
set -euo pipefail
build_dir=${1:?usage: bench/container/run.sh BUILD_DIR}
program="$build_dir/bench/container/bench_container"
[ -x "$program" ] || { echo "run.sh: $program not found; build bench_container first" >&2; exit 1; }
json=$(mktemp)
trap 'rm -f "$json"' EXIT
"$program" --benchmark_repetitions=3 --benchmark_report_aggregates_only=true --benchmark_format=json > "$json"
python3 - "$json" <<'PY'
import json, sys
rows = {b["run_name"]: b for b in json.load(open(sys.argv[1]))["benchmarks"] if b.get("aggregate_name") == "median"}
ms = lambda name: rows[name]["real_time"]
ffprobe = ms("BM_FfprobeOpen/real_time")
print("Container engine, movie with 1,000,000 samples (medians of 3, wall time)")
for name, label in [("BM_EngineOpenFromMemory", "open from memory"), ("BM_NewMovieFromProperties", "NewMovieFromProperties")]:
    print(f"  {label:<28}{ms(name):9.1f} ms   ffprobe {ffprobe:7.1f} ms   ratio {ffprobe / ms(name):5.1f}x")
for name, label in [("BM_DisplayTimeToSample", "100,000 display-time lookups"), ("BM_SyncSampleSearch", "100,000 sync-sample searches")]:
    print(f"  {label:<28}{ms(name):9.1f} ms   ({ms(name) * 1e3 / 100000:.2f} us each)")
write = ms("BM_WriteAndFlatten/real_time")
print(f"  {'write 100,000 samples':<28}{write:9.1f} ms   (appended, header written, flattened; {write * 1e3 / 100000:.2f} us a sample)")
PY
