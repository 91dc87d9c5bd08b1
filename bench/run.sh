#!/usr/bin/env bash
# Runs the pixel-kernel benchmark of a build tree and prints each kernel's throughput beside
# memcpy of the same output size, measured in the same run, as a ratio, with ROW lines for
# bench/compare.sh; then the reader benchmark, unless VQT_BENCH_KERNELS_ONLY is set.
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

# The reader's Y'CbCr-to-float kernels over a whole 1080p frame, where memory
# bandwidth is what bounds them (a single row stays in cache: compute, not bandwidth).
for b in results:
    kernel, shape = b["name"].rsplit("/", 1)
    if shape != "frame" or kernel not in ("convert2vuyToRgb", "convertYuvsToRgb", "convertR408ToRgb",
                                          "convertR4flToRgb"):
        continue
    width = int(b["outBytesPerPixel"])
    rate, reference = b["bytes_per_second"], memcpy[(width, shape)]
    ratio = rate / reference
    print(f"ROW\tkernel {kernel} 1080p frame ({level}), output bytes/s vs memcpy\t{gib(rate):.2f} GiB/s\t"
          f"{gib(reference):.2f} GiB/s\t{ratio:.2f}\t>= 0.60\t{'PASS' if ratio >= 0.6 else 'FAIL'}")
EOF
# The reader's own rows follow unless only the kernels are wanted (bench/compare.sh runs it itself).
if [ -z "${VQT_BENCH_KERNELS_ONLY:-}" ] && [ -x "$build_dir/bench/reader/bench_reader" ]; then
  "$(dirname "$0")/reader/run.sh" "$build_dir" 1
fi
