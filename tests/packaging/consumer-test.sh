#!/usr/bin/env bash
# Installs the build tree into a temporary prefix, then builds the examples
# against it twice (find_package and pkg-config), writes a movie with one,
# reads it with the other, and checks the installed qtmovie on it.
set -euo pipefail
build="${1:?usage: consumer-test.sh BUILD_DIR SOURCE_DIR WORK_DIR}"
source="${2:?}"
work="${3:?}"
rm -rf "$work"
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null

# Layout: the library inside the installed host bundle, symlinks beside it.
bundle="$prefix/lib/vantor/Host.app/Contents"
for path in Info.plist Resources/GlobalSettings.csv MacOS/qtsettings MacOS/qtmovie Frameworks/libvantor_quicktime.so.0; do
  [ -e "$bundle/$path" ] || { echo "missing $bundle/$path"; exit 1; }
done
[ "$(readlink -f "$prefix/lib/libvantor_quicktime.so.0")" = "$(readlink -f "$bundle/Frameworks/libvantor_quicktime.so.0")" ]
[ -x "$prefix/bin/qtmovie" ]

echo "== find_package"
cmake -S "$source/examples" -B "$work/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/write_movie" "$work/ramp.mov"
"$work/cmake-build/read_movie" "$work/ramp.mov" | tee "$work/read-cmake.txt"
grep -q "^320x180, 24 frames, 2400/100" "$work/read-cmake.txt"

echo "== pkg-config"
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
# shellcheck disable=SC2046
c++ -o "$work/read_movie_pc" "$source/examples/read_movie.cpp" $(pkg-config --cflags --libs vantor-quicktime)
"$work/read_movie_pc" "$work/ramp.mov" | tee "$work/read-pc.txt"
cmp "$work/read-cmake.txt" "$work/read-pc.txt"

echo "== installed qtmovie"
"$prefix/bin/qtmovie" info "$work/ramp.mov" --json | tee "$work/info.json"
grep -q '"start_timecode_frame":86400' "$work/info.json"
grep -q '"reel":"EXAMPLE"' "$work/info.json"
echo "consumer project OK"
