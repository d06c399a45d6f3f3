#!/usr/bin/env bash
# Builds everything but the Java classes for other architectures, and runs the tests: for ARM under emulation, for
# 32-bit x86 directly.
#
#   scripts/test-cross.sh [arm64|armhf|i386]...     default: all three
#
# Left out are the tests inside a JVM and of packages, which would need a JVM of that architecture, those of time and of
# the log, and repetitions for kernels that the architecture does not have.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

# Each line: the architecture, clang's name of it, the group of packages.
architectures='
arm64 aarch64-linux-gnu   cross
armhf arm-linux-gnueabihf cross-armhf
i386  i686-linux-gnu      cross-i386
'

case ${1-} in
  -h | --help) usage && exit ;;
esac
[ $# -gt 0 ] || set -- arm64 armhf i386
for arch in "$@"; do
  grep -q "^$arch " <<<"$architectures" || fail "unknown architecture: $arch; see --help"
done

trap took EXIT

# The tests make table libraries with `clang`, which runs outside of the emulation: it has to be told for what. The
# loader of armhf takes only objects marked as passing floating-point numbers in registers. Tables pass none, so nothing
# marks them by itself.
make_compiler() {
  local target=$1 folder=$2 clang
  clang=$(command -v clang)
  mkdir -p -- "$folder"
  printf '.eabi_attribute Tag_ABI_VFP_args, 1\n' >"$folder/vfp.s"
  cat >"$folder/clang" <<END
#!/bin/sh
case "$target \$* " in
  arm-*" --target=arm"*" -shared "*) exec "$clang" "\$@" "$folder/vfp.s" ;;
  *" --target="*) exec "$clang" "\$@" ;;
  arm-*" -shared "*) exec "$clang" --target=$target "\$@" "$folder/vfp.s" ;;
  *) exec "$clang" --target=$target "\$@" ;;
esac
END
  chmod +x "$folder/clang"
}

# How many single tests the programs counted.
passed_tests() {
  sed -n 's/^\[  PASSED  \] \([0-9]*\) tests\{0,1\}\.$/\1/p' "$root/build/$1/Testing/Temporary/LastTest.log" |
    awk '{sum += $1} END {print sum + 0}'
}

summary=
for arch in "$@"; do
  read -r target packages <<<"$(sed -n "s/^$arch //p" <<<"$architectures")"
  step "Packages for $arch"
  "$root/scripts/bootstrap.sh" "$packages"

  step "Build for $arch"
  configure_and_build "$arch"

  step "Tests on $arch"
  make_compiler "$target" "$root/build/$arch/tools"
  begin=$SECONDS
  # An emulator is slow, and what a test runs is emulated too.
  PATH=$root/build/$arch/tools:$PATH ctest --preset "$arch" --timeout 5400
  programs=$(grep -c '^Test Passed\.$' "$root/build/$arch/Testing/Temporary/LastTest.log")
  summary+="$arch: $programs tests passed, which hold $(passed_tests "$arch") cases of C++, in"
  summary+=" $(((SECONDS - begin) / 60)) min $(((SECONDS - begin) % 60)) s. Left out: see --help."$'\n'
done
printf '\n%s' "$summary"
