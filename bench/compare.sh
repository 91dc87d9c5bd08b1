#!/usr/bin/env bash
# One table for the performance work: runs each benchmark script of a build
# tree that exists (pixel kernels, reader decode and memory, reader scrubbing,
# writer encode), shows their own output as it comes, then gathers the lines
# they print as ROW<TAB>work<TAB>ours<TAB>reference<TAB>ratio<TAB>goal<TAB>PASS|FAIL
# into one table. Each script measures beside its reference in the same run
# (interleaved, medians of three) and makes its 1920x1080 sources with the
# ffmpeg CLI into BUILD_DIR/bench-sources when they are missing.
# Usage: bench/compare.sh BUILD_DIR      (exit status 1 when a row fails or a script does)
set -uo pipefail
build_dir=${1:?usage: bench/compare.sh BUILD_DIR}
here=$(cd "$(dirname "$0")" && pwd)
rows=$(mktemp)
trap 'rm -f "$rows"' EXIT
failed_scripts=()

# script, then the program it needs (relative to BUILD_DIR)
scripts=(
  "run.sh:bench/kernels/bench_kernels"
  "reader/run.sh:bench/reader/bench_reader"
  "reader/scrub.sh:bench/reader/bench_reader"
  "writer/run.sh:bench/writer/bench_writer"
)
for entry in "${scripts[@]}"; do
  script=${entry%%:*}
  program=${entry#*:}
  [ -f "$here/$script" ] || continue
  if [ ! -x "$build_dir/$program" ]; then
    echo "== $script: skipped, $build_dir/$program is not built"
    failed_scripts+=("$script (not built)")
    continue
  fi
  echo "== bench/$script"
  # The kernels script would run the reader's rows too; they have a line of their own here.
  VQT_BENCH_KERNELS_ONLY=1 bash "$here/$script" "$build_dir" | tee >(grep -P '^ROW\t' >> "$rows") | grep -vP '^ROW\t'
  status=${PIPESTATUS[0]}
  [ "$status" -eq 0 ] || failed_scripts+=("$script (exit $status)")
done
sleep 0.2  # the tee's process substitution finishes writing

echo
echo "Performance table ($(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg))"
python3 - "$rows" <<'PYEOF'
import sys

rows = [line.rstrip("\n").split("\t")[1:] for line in open(sys.argv[1]) if line.startswith("ROW\t")]
rows = [r for r in rows if len(r) == 6]
header = ["work", "ours", "reference", "ratio", "goal", "pass/fail"]
widths = [max(len(str(x)) for x in column) for column in zip(header, *rows)] if rows else [len(h) for h in header]
def line(cells):
    return "| " + " | ".join(str(c).ljust(w) for c, w in zip(cells, widths)) + " |"
print(line(header))
print("|" + "|".join("-" * (w + 2) for w in widths) + "|")
for r in rows:
    print(line(r))
failures = sum(1 for r in rows if r[5] != "PASS")
print(f"{len(rows)} rows, {len(rows) - failures} pass, {failures} fail")
sys.exit(1 if failures else 0)
PYEOF
table=$?
for f in "${failed_scripts[@]}"; do echo "script not run or failed: $f"; done
[ "$table" -eq 0 ] && [ ${#failed_scripts[@]} -eq 0 ]
