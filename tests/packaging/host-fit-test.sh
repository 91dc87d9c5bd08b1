#!/usr/bin/env bash
# A host from another project against an installed tree only, run from a
# folder outside the build with no LD_LIBRARY_PATH: built with CMake and with
# pkg-config (C++17 and C++20), linked through lib/, installed itself, and
# run with a copy of the library in a second prefix's lib/ and the bundle
# named by VANTOR_QUICKTIME_BUNDLE.
set -euo pipefail
build="${1:?usage: host-fit-test.sh BUILD_DIR SOURCE_DIR WORK_DIR}"
source="${2:?}"
work="${3:?}"
rm -rf "$work"
mkdir -p "$work/run"
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null
bundle="$(readlink -f "$prefix/lib/vantor/Host.app")"
host="$source/tests/packaging/host/HostCheck.cpp"
unset LD_LIBRARY_PATH DISPLAY WAYLAND_DISPLAY VANTOR_QUICKTIME_BUNDLE
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
cd "$work/run"

# Every way of building and loading the host must find the installed bundle,
# write a movie and hold two settings-tool channels.
check_host() {
  local program="$1" expected="$2"
  echo "-- $program"
  [ "$("$program" bundle)" = "$expected/Contents" ]
  "$program" write "$work/run/out.mov"
  [ -s "$work/run/out.mov" ]
  "$program" settings 12
  "$program" settings 21
  # The library's messages: on standard output by default, silenced by the
  # variable, handed to the host's callback and nowhere else.
  "$program" read "$work/run/out.mov" >"$work/run/read.txt"
  grep -q "host check" "$work/run/read.txt"
  [ -z "$(VANTOR_QUICKTIME_LOG=silent "$program" read "$work/run/out.mov" 2>&1)" ]
  [ "$("$program" quiet "$work/run/out.mov" 2>&1)" = "callback heard $(wc -c <"$work/run/read.txt") bytes" ]
}

echo "== find_package, then installed"
cmake -S "$source/tests/packaging/host" -B "$work/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
check_host "$work/cmake-build/host_check" "$bundle"
cmake --install "$work/cmake-build" --prefix "$work/host-prefix" >/dev/null
rm -rf "$work/cmake-build"
check_host "$work/host-prefix/bin/host_check" "$bundle"

echo "== qtmovie info --json stays JSON while the library traces"
VANTOR_QUICKTIME_LOG=debug "$prefix/bin/qtmovie" info "$work/run/out.mov" --json >"$work/run/info.json"
python3 -m json.tool "$work/run/info.json" >/dev/null

echo "== pkg-config"
for standard in c++17 c++20; do
  # shellcheck disable=SC2046
  c++ -std=$standard -o "$work/host_pc_$standard" "$host" $(pkg-config --cflags --libs vantor-quicktime)
  check_host "$work/host_pc_$standard" "$bundle"
done

echo "== through the lib/ symlinks"
c++ -o "$work/host_lib" "$host" -I"$prefix/include" -L"$prefix/lib" -Wl,-rpath,"$prefix/lib" -lvantor_quicktime
check_host "$work/host_lib" "$bundle"

echo "== a copy in a second prefix's lib/"
second="$work/second"
mkdir -p "$second/lib" "$second/bin"
cp "$prefix/lib/vantor/Host.app/Contents/Frameworks/libvantor_quicktime.so.0" "$second/lib/"
ln -s libvantor_quicktime.so.0 "$second/lib/libvantor_quicktime.so"
# shellcheck disable=SC2016
c++ -o "$second/bin/host_check" "$host" -I"$prefix/include" -L"$second/lib" -Wl,-rpath,'$ORIGIN/../lib' \
  -lvantor_quicktime
# No bundle there: the abort says where it looked and what to set.
if "$second/bin/host_check" bundle 2>"$work/abort.txt"; then
  echo "found a bundle where there is none"
  exit 1
fi
cat "$work/abort.txt"
grep -qx "looked for the installed host bundle at $second/lib/vantor/Host.app" "$work/abort.txt"
grep -q "^set VANTOR_QUICKTIME_BUNDLE to" "$work/abort.txt"
export VANTOR_QUICKTIME_BUNDLE="$prefix/lib/vantor/Host.app"
check_host "$second/bin/host_check" "$prefix/lib/vantor/Host.app"
echo "host fit OK"
