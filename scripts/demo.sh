#!/usr/bin/env bash
# The main job for now: run the pixel-kernel benchmark (throughput beside memcpy).
set -euo pipefail
build=${1:-build}
exec bash "$(dirname "$0")/../bench/run.sh" "$build"
