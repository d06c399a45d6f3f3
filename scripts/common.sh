# Sourced by the other scripts: where the project is, and what several of them do.
# shellcheck shell=bash
set -euo pipefail
export LC_ALL=C.UTF-8 # what other programs print is read

root=$(CDPATH='' cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
jobs=$(nproc)
# Those of the library and the builder.
# shellcheck disable=SC2034 # for the scripts that source this
source_folders=(aes builder cms diagnostics hash jni modes padding sm4 support tables)

# The comment at a script's head is its help.
usage() {
  sed -n '2,/^set /{s/^# \{0,1\}//p}' "$0"
}

fail() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# no_arguments ARGUMENT...: for a script that takes none.
no_arguments() {
  [ $# -gt 0 ] || return 0
  case $1 in
    -h | --help) usage && exit ;;
    *) fail "takes no arguments; see --help" ;;
  esac
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

# renew_docs MARK FILE: puts the file behind "<!-- MARK -->" in docs/performance.md.
renew_docs() {
  awk -v mark="<!-- $1 -->" -v table="$2" '
    /^<!-- end of / { inside = 0 }
    !inside
    $0 == mark {
      inside = 1
      print ""
      while ((getline line <table) > 0) print line
      print ""
    }' "$root/docs/performance.md" >"$root/build/performance.md"
  cp -- "$root/build/performance.md" "$root/docs/performance.md"
}
