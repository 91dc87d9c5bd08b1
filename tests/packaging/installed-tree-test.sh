#!/usr/bin/env bash
# The installed tree as a host's build sees it: only the project's own include
# folder, every public header compiling alone as C++17 and C++20, no language
# standard in the package files, only the public API among the library's
# dynamic symbols, stripped binaries.
set -euo pipefail
build="${1:?usage: installed-tree-test.sh BUILD_DIR WORK_DIR}"
work="${2:?}"
rm -rf "$work"
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null
library="$prefix/lib/vantor/Host.app/Contents/Frameworks/libvantor_quicktime.so.0"

echo "== include folders"
folders="$(ls "$prefix/include")"
[ "$folders" = "vantor" ] || { echo "installed include folders: $folders"; exit 1; }

echo "== each public header alone"
count=0
while IFS= read -r header; do
  for standard in c++17 c++20; do
    echo "#include <${header#"$prefix/include/"}>" |
      c++ -std=$standard -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include" -x c++ - ||
      { echo "${header#"$prefix/include/"} does not compile as $standard"; exit 1; }
  done
  count=$((count + 1))
done < <(find "$prefix/include" -name '*.h' | sort)
echo "$count headers"

echo "== package files"
if grep -n -- '-std=\|cxx_std_' "$prefix/lib/pkgconfig/vantor-quicktime.pc" "$prefix"/lib/cmake/VantorQuickTime/*.cmake; then
  echo "the package files impose a language standard"
  exit 1
fi

echo "== exported symbols"
nm -D --defined-only -C "$library" | cut -d' ' -f3- >"$work/symbols.txt"
grep -v -E '^(Vantor::|(typeinfo|typeinfo name|vtable|VTT) for Vantor::|VantorQuickTime)' "$work/symbols.txt" \
  >"$work/foreign.txt" || true
if [ -s "$work/foreign.txt" ]; then
  echo "exported outside the public namespaces:"
  head -50 "$work/foreign.txt"
  exit 1
fi
# Nothing private either: the classes behind the public ones stay inside.
if grep -E 'Private|::detail::|pixelmath' "$work/symbols.txt"; then
  echo "private names exported"
  exit 1
fi
echo "$(wc -l <"$work/symbols.txt") symbols"

echo "== stripped"
for binary in "$library" "$prefix"/lib/vantor/Host.app/Contents/MacOS/*; do
  if readelf -S "$(readlink -f "$binary")" | grep -q '\.debug_info'; then
    echo "$binary keeps its debug information"
    exit 1
  fi
done
echo "installed size: $(du -sb "$prefix" | cut -f1) bytes"
echo "installed tree OK"
