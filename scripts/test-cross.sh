#!/usr/bin/env bash
# Builds for another architecture, and runs the tests of library, kernels and vectors under emulation.
#
#   scripts/test-cross.sh [arm64|armhf|i386]
#
# The two with 32 bits take the library alone: wbtables is a tool for the machines that build.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

usage() {
  sed -n '2,/^set /{s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}"
}

arch=${1-arm64}
case $arch in
  arm64) target=aarch64-linux-gnu packages=cross ;;
  armhf | i386) packages=cross-$arch ;;
  -h | --help) usage && exit ;;
  *) fail "unknown architecture: $1; see --help" ;;
esac
[ $# -le 1 ] || fail "one architecture at a time; see --help"

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" "$packages"

step "Build for $arch"
configure_and_build "$arch"

if [ "$arch" = arm64 ]; then
  # The tests make table libraries with `clang`, which runs outside of the emulation: it has to be told for what.
  tools=$root/build/arm64/tools
  mkdir -p -- "$tools"
  printf '#!/bin/sh\nexec "%s" --target=%s "$@"\n' "$(command -v clang)" "$target" >"$tools/clang"
  chmod +x "$tools/clang"
  PATH=$tools:$PATH
fi

step "Tests under emulation"
ctest --preset "$arch"

printf '\nPassed: %s.\n' "$arch"
