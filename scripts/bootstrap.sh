#!/usr/bin/env bash
# Installs the packages that this project needs and the machine lacks. For Debian 12 and Ubuntu 24.04; elsewhere it only
# looks whether the commands are there.
#
#   scripts/bootstrap.sh run    what building and running takes
#   scripts/bootstrap.sh test   that, and what the tests and checks take
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

# Each line: what the packages are for, the packages.
run_packages='
compiler: g++
build:    cmake ninja-build pkg-config
messages: libprotobuf-c-dev protobuf-c-compiler
java:     openjdk-17-jdk-headless
builder:  libcli11-dev libtomlplusplus-dev libfmt-dev libssl-dev
tables:   clang lld
'
test_packages='
tests:    libgtest-dev libgmock-dev junit5 openssl
format:   clang-format-14
lint:     clang-tidy-14
'
run_commands='g++ cmake ninja pkg-config protoc-c javac java jar clang ld.lld'
test_commands='openssl clang-format-14 clang-tidy-14'

lacking_packages() {
  local package
  for package in "$@"; do
    if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
      printf '%s\n' "$package"
    fi
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
  test) groups=$run_packages$test_packages commands="$run_commands $test_commands" ;;
  *) fail "usage: bootstrap.sh run|test" ;;
esac

# What the machine says it is: "debian 12 Debian GNU/Linux 12 (bookworm)".
# shellcheck disable=SC1091 # the machine's own file
read -r id version system < <(. /etc/os-release 2>/dev/null && echo "${ID-?} ${VERSION_ID-?} ${PRETTY_NAME-}") || true
system=${system:-an unknown system}
case $id-$version in
  debian-12 | ubuntu-24.04)
    # shellcheck disable=SC2046 # a list of words
    use_packages $(cut -d: -f2 <<<"$groups")
    ;;
  *)
    # shellcheck disable=SC2086 # a list of words
    use_commands $commands
    ;;
esac
