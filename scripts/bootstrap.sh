#!/usr/bin/env bash
# Installs the packages that this project needs and the machine lacks. For Debian 12 and Ubuntu 24.04; elsewhere it only
# looks whether the commands are there.
#
#   scripts/bootstrap.sh run    what building and running takes
#   scripts/bootstrap.sh test   that, and what benchmarks, tests and checks take
#   scripts/bootstrap.sh coverage   that, and what counting the lines that tests reach takes
#   scripts/bootstrap.sh bench  what building, running and the benchmarks take
#   scripts/bootstrap.sh cross  what building and testing for ARM64 under emulation takes
#   scripts/bootstrap.sh estimate   what building and estimating for ARM64 takes
#   scripts/bootstrap.sh cross-armhf, cross-i386   what building and testing the library for 32 bits takes
#   scripts/bootstrap.sh android   what building for Android's targets without an NDK takes
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

# Each line: what the packages are for, the packages.
run_packages='
compiler: g++
build:    cmake ninja-build pkg-config
messages: libprotobuf-c-dev protobuf-c-compiler
java:     openjdk-17-jdk-headless
builder:  libcli11-dev libelf-dev libfmt-dev libssl-dev libtomlplusplus-dev nlohmann-json3-dev
tables:   clang lld
'
test_packages='
tests:    libgtest-dev libgmock-dev junit5 openssl proguard-cli android-libnativehelper-dev
linkers:  binutils-aarch64-linux-gnu binutils-arm-linux-gnueabihf binutils-i686-linux-gnu
strip:    llvm
memory:   valgrind
shell:    zsh
audit:    chromium
format:   clang-format-14
lint:     clang-tidy-14 cppcheck shellcheck
fuzz:     libclang-rt-dev
'
coverage_packages='
coverage: gcovr
'
bench_packages='
bench:    libbenchmark-dev
'
cross_packages='
cross:    g++-aarch64-linux-gnu qemu-user
arm64:    libprotobuf-c-dev:arm64 libelf-dev:arm64 libfmt-dev:arm64 libssl-dev:arm64 libtomlplusplus-dev:arm64
tests:    libgtest-dev:arm64 libgmock-dev:arm64
'
estimate_packages='
estimate: llvm-14 llvm-19
'
cross_armhf_packages='
cross:    g++-arm-linux-gnueabihf qemu-user
armhf:    libprotobuf-c-dev:armhf libelf-dev:armhf libfmt-dev:armhf libssl-dev:armhf libtomlplusplus-dev:armhf
tests:    libgtest-dev:armhf libgmock-dev:armhf libstdc++6:armhf
'
cross_i386_packages='
cross:    g++-i686-linux-gnu
i386:     libprotobuf-c-dev:i386 libelf-dev:i386 libfmt-dev:i386 libssl-dev:i386 libtomlplusplus-dev:i386
tests:    libgtest-dev:i386 libgmock-dev:i386 libstdc++6:i386
'
android_packages='
headers:  g++-aarch64-linux-gnu g++-arm-linux-gnueabihf g++-i686-linux-gnu android-liblog-dev
headers:  android-libnativehelper-dev
strip:    llvm
'
run_commands='g++ cmake ninja pkg-config protoc-c javac java jar clang ld.lld'
test_commands='openssl clang++ clang-format-14 clang-tidy-14 cppcheck shellcheck proguard'

# A package may be there for other architectures than the one that it is wanted for.
lacking_packages() {
  local package arch
  for package in "$@"; do
    case $package in
      *:*) arch=${package#*:} ;;
      *) arch=$(dpkg --print-architecture) ;;
    esac
    dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$package" 2>/dev/null |
      grep -qxE "($arch|all) installed" || printf '%s\n' "$package"
  done
}

lacking_commands() {
  local name
  for name in "$@"; do
    command -v "$name" >/dev/null || printf '%s\n' "$name"
  done
}

apt_get() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 "$@"
}

all_known() {
  local package
  for package in "$@"; do
    apt-cache show "$package" >/dev/null 2>&1 || return
  done
}

# A fresh machine has no package lists, and old ones name versions that are gone: then they are fetched, once.
install_packages() {
  if all_known "$@" && apt_get install -y --no-install-recommends "$@"; then
    return
  fi
  apt_get update
  apt_get install -y --no-install-recommends "$@"
}

# Packages of another architecture, named with it, are known once dpkg has been told of it.
add_architectures() {
  local package
  for package in "$@"; do
    case $package in
      *:*) "${as_root[@]}" dpkg --add-architecture "${package#*:}" ;;
    esac
  done
}

use_packages() {
  local lacking
  mapfile -t lacking < <(lacking_packages "$@")
  if [ "${#lacking[@]}" -eq 0 ]; then
    echo "All packages are there."
    return
  fi
  as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "these packages are missing and installing them needs root rights, but" \
      "there is no sudo. Run as root: apt-get install --no-install-recommends ${lacking[*]}"
    as_root=(sudo)
  fi
  echo "Installing with ${as_root[*]:+sudo and }apt-get, which needs root rights because packages belong to the whole" \
    "machine: ${lacking[*]}"
  add_architectures "${lacking[@]}"
  install_packages "${lacking[@]}"
}

use_commands() {
  local lacking
  mapfile -t lacking < <(lacking_commands "$@")
  if [ "${#lacking[@]}" -ne 0 ]; then
    fail "this is $system, and packages can be installed on Debian 12 and Ubuntu 24.04 alone." \
      "Install what gives these commands: ${lacking[*]}"
  fi
  echo "This is $system, not Debian 12 or Ubuntu 24.04: nothing installed; all commands are there."
}

case ${1-} in
  run) groups=$run_packages commands=$run_commands ;;
  test) groups=$run_packages$test_packages$bench_packages commands="$run_commands $test_commands" ;;
  coverage)
    groups=$run_packages$test_packages$bench_packages$coverage_packages
    commands="$run_commands $test_commands gcovr"
    ;;
  bench) groups=$run_packages$bench_packages commands="$run_commands taskset" ;;
  cross) groups=$run_packages$cross_packages commands="$run_commands aarch64-linux-gnu-g++ qemu-aarch64" ;;
  estimate)
    groups=$run_packages$cross_packages$estimate_packages
    commands="$run_commands aarch64-linux-gnu-g++ clang++ llvm-mca-14 llvm-mca-19"
    ;;
  cross-armhf) groups=$run_packages$cross_armhf_packages commands="$run_commands arm-linux-gnueabihf-g++ qemu-arm" ;;
  cross-i386) groups=$run_packages$cross_i386_packages commands="$run_commands i686-linux-gnu-g++" ;;
  android) groups=$run_packages$android_packages commands="$run_commands llvm-objcopy" ;;
  -h | --help) usage && exit ;;
  *) fail "takes one group of packages; see --help" ;;
esac

# What the machine says it is: "debian 12 Debian GNU/Linux 12 (bookworm)".
# shellcheck disable=SC1091 # the machine's own file
read -r id version system < <(. /etc/os-release 2>/dev/null && echo "${ID-?} ${VERSION_ID-?} ${PRETTY_NAME-}") || true
system=${system:-an unknown system}
case ${1-}-$id in
  # Its chromium is a snap and no package. Without it the tests do not open the page of an audit.
  test-ubuntu | coverage-ubuntu) groups=${groups/audit:*chromium/} ;;
  # Its servers have no packages of other architectures.
  cross*-ubuntu | estimate-ubuntu) system="$system, whose servers have no packages of other architectures" id=other ;;
esac
case $id-$version in
  debian-12 | ubuntu-24.04)
    # shellcheck disable=SC2046 # a list of words
    use_packages $(cut -d: -f2- <<<"$groups")
    ;;
  *)
    # shellcheck disable=SC2086 # a list of words
    use_commands $commands
    ;;
esac
