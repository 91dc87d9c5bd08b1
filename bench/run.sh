#!/usr/bin/env bash
# Runs the pixel-kernel benchmark of a build tree and prints each kernel's throughput beside
# memcpy of the same output size, measured in the same run, as a ratio.
# Usage: bench/run.sh BUILD_DIR
set -euo pipefail

build_dir=${1:?usage: bench/run.sh BUILD_DIR}
program="$build_dir/bench/kernels/bench_kernels"
if [ ! -x "$program" ]; then
  echo "bench/run.sh: $program not found; build the bench_kernels target first" >&2
  exit 1
fi

json=$(mktemp)
trap 'rm -f "$json"' EXIT
# Three interleaved repetitions, compared by their medians: the machine may be shared, and
# memcpy and the kernels should see the same conditions.
"$program" --benchmark_min_time=0.05 --benchmark_repetitions=3 \
  --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
  --benchmark_format=json > "$json"

python3 - "$json" <<'EOF'
import json, sys

report = json.load(open(sys.argv[1]))
level = report["context"].get("kernel_level", "?")
results = [b for b in report["benchmarks"] if b.get("aggregate_name") == "median"]
results.sort(key=lambda b: b["family_index"])  # registration order: rows, then frames
for b in results:
    b["name"] = b["run_name"]

# memcpy results keyed by (output bytes per pixel, shape).
memcpy = {}
for b in results:
    if b["name"].startswith("memcpy/"):
        shape = b["name"].rsplit("/", 1)[1]
        memcpy[(int(b["outBytesPerPixel"]), shape)] = b["bytes_per_second"]

def gib(rate):
    return rate / (1 << 30)

print(f"Pixel kernels ({level}), 1920-pixel row and 1920x1080 frame; output bytes/s vs memcpy (medians of 3)")
print(f"{'kernel':<22}{'shape':<7}{'out B/px':>9}{'Mpx/s':>8}{'GiB/s':>9}{'memcpy':>9}{'ratio':>8}")
for b in results:
    if b["name"].startswith("memcpy/"):
        continue
    kernel, shape = b["name"].rsplit("/", 1)
    width = int(b["outBytesPerPixel"])
    rate, reference = b["bytes_per_second"], memcpy[(width, shape)]
    pixels = rate / width / 1e6
    print(f"{kernel:<22}{shape:<7}{width:>9}{pixels:>8.0f}{gib(rate):>9.2f}{gib(reference):>9.2f}{rate / reference:>8.2f}")
EOF
if [ -x "$build_dir/bench/reader/bench_reader" ]; then "$(dirname "$0")/reader/run.sh" "$build_dir" 1; fi
