#!/usr/bin/env bash
# Builds for another architecture, and runs the tests of library, kernels and vectors under emulation.
#
#   scripts/test-cross.sh [arm64]
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
  sed -n '2,/^set /{s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}"
}

case ${1-arm64} in
  arm64) target=aarch64-linux-gnu ;;
  -h | --help) usage && exit ;;
  *) fail "unknown architecture: $1; see --help" ;;
esac
[ $# -le 1 ] || fail "one architecture at a time; see --help"

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" cross

step "Build for arm64"
configure_and_build arm64

# The tests make table libraries with `clang`, which runs outside of the emulation: it has to be told for what.
tools=$root/build/arm64/tools
mkdir -p -- "$tools"
printf '#!/bin/sh\nexec "%s" --target=%s "$@"\n' "$(command -v clang)" "$target" >"$tools/clang"
chmod +x "$tools/clang"

step "Tests under emulation"
PATH=$tools:$PATH ctest --preset arm64

printf '\nPassed under emulation: arm64.\n'
