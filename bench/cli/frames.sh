#!/usr/bin/env bash
# `qtmovie frames` beside the ffmpeg CLI writing the same images from the same
# movie: 1920x1080 long-GOP H.264 (a key frame every 2 s, B-frames), a range of
# frames written as 16-bit RGBA PNG. Runs alternate between the two tools; prints
# the median wall time and CPU time (user + system) of each and their ratios
# (above 1: qtmovie faster). On a shared machine the CPU ratio is the steadier one.
# Usage: bench/cli/frames.sh BUILD_DIR [FRAMES] [REPETITIONS]
set -euo pipefail
build_dir=${1:?usage: bench/cli/frames.sh BUILD_DIR [FRAMES] [REPETITIONS]}
frames=${2:-90}
repetitions=${3:-3}
qtmovie="$build_dir/bin/qtmovie"
[ -x "$qtmovie" ] || { echo "frames.sh: $qtmovie not found; build the qtmovie target first" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
movie="$work/source.mov"
ffmpeg -hide_banner -loglevel error -f lavfi -i "testsrc2=size=1920x1080:rate=24:duration=$(( (frames + 30) / 24 + 1 ))" \
  -c:v libx264 -preset veryfast -g 48 -bf 2 -pix_fmt yuv420p "$movie"

python3 - "$qtmovie" "$movie" "$work" "$frames" "$repetitions" <<'PY'
import os, resource, shutil, statistics, subprocess, sys, time

qtmovie, movie, work, frames, repetitions = sys.argv[1], sys.argv[2], sys.argv[3], int(sys.argv[4]), int(sys.argv[5])
first, last = 10, 10 + frames - 1
out = os.path.join(work, "out")
commands = {
    # ffmpeg counts frames from 0, --range from 1: the same frames either way.
    "ffmpeg CLI": ["ffmpeg", "-hide_banner", "-loglevel", "error", "-i", movie,
                   "-vf", f"select=between(n\\,{first - 1}\\,{last - 1})", "-vsync", "passthrough",
                   "-pix_fmt", "rgba64be", "-start_number", str(first), os.path.join(out, "ff_%04d.png")],
    "qtmovie": [qtmovie, "frames", movie, "-o", os.path.join(out, "qt_%04d.png"), "--range", f"{first}:{last}"],
}
wall = {name: [] for name in commands}
cpu = {name: [] for name in commands}
for _ in range(repetitions):
    for name, command in commands.items():
        shutil.rmtree(out, ignore_errors=True)
        os.mkdir(out)
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.monotonic()
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        wall[name].append(time.monotonic() - start)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu[name].append(after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime)
        written = len(os.listdir(out))
        if written != frames:
            sys.exit(f"{name} wrote {written} images, not {frames}")
w = {name: statistics.median(v) for name, v in wall.items()}
c = {name: statistics.median(v) for name, v in cpu.items()}
print(f"frames {first}-{last} of 1920x1080 H.264 as 16-bit PNG, median of {repetitions}:")
for name in commands:
    print(f"  {name:10s} wall {w[name]:6.2f} s  cpu {c[name]:6.2f} s")
print(f"ratio (ffmpeg CLI / qtmovie): wall {w['ffmpeg CLI'] / w['qtmovie']:.2f}, cpu {c['ffmpeg CLI'] / c['qtmovie']:.2f}")
PY
