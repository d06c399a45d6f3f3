# Sourced by the other scripts: where the project is, and what several of them do.
# shellcheck shell=bash
set -euo pipefail

root=$(CDPATH='' cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
jobs=$(nproc)

fail() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

step() {
  printf '\n== %s\n' "$*"
}

# For a trap on EXIT: the last line, however the script ends.
took() {
  printf '%s took %d min %d s.\n' "${0##*/}" $((SECONDS / 60)) $((SECONDS % 60))
}

# logged LOG COMMAND...: runs a command whose output matters only if it fails.
logged() {
  local log=$1
  shift
  "$@" >"$log" 2>&1 || { cat -- "$log" >&2 && fail "failed: $*"; }
}

# configure_and_build PRESET [CMAKE_OPTION...]: builds into build/PRESET; shows progress on a terminal.
configure_and_build() {
  local preset=$1
  shift
  mkdir -p -- "$root/build"
  cd -- "$root"
  logged "build/$preset.log" cmake --preset "$preset" "$@"
  if [ -t 1 ]; then
    cmake --build --preset "$preset" -j "$jobs"
  else
    logged "build/$preset.log" cmake --build --preset "$preset" -j "$jobs"
  fi
}
