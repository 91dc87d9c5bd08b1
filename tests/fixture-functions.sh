# Shared by the tests' fixture scripts, sourced after `out` (the output folder)
# is set: `fixture NAME ARGS...` writes OUT/NAME with the ffmpeg CLI unless it
# is already there, through a temporary name so an interrupted run leaves none.
ff() { ffmpeg -hide_banner -loglevel error -y "$@"; }
fixture() {
  local name="$1"; shift
  [ -s "$out/$name" ] && return 0
  ff "$@" "$out/$name.tmp.${name##*.}" && mv "$out/$name.tmp.${name##*.}" "$out/$name"
}
tone() { echo "sine=frequency=$1:sample_rate=$2:duration=$3"; }
