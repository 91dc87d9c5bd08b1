#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the benchmarks need.
# Idempotent and non-interactive; the only place in the project that installs anything.
set -euo pipefail

packages=(
  # build
  g++ make cmake ninja-build pkg-config clang-format
  libavcodec-dev libavformat-dev libavutil-dev libswscale-dev libswresample-dev
  libboost-dev zlib1g-dev qt6-base-dev libpng-dev libopenexr-dev
  libcli11-dev  # qtmovie: subcommands, per-command --help, errors naming the option
  libxcb1-dev  # dialogs: probe the X display before Qt connects to it
  # tests: fixtures and judges, dialogs under a virtual display, fuzzing
  libgtest-dev libgmock-dev ffmpeg xvfb xauth xdotool x11-apps fonts-dejavu-core clang
  libclang-rt-14-dev valgrind
  gstreamer1.0-tools gstreamer1.0-plugins-good gstreamer1.0-libav  # a second, independent demuxer and decoder
  # benchmarks
  libbenchmark-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
