#!/usr/bin/env bash
# Sets this machine up, builds the library and its tools, makes a table library with fresh random keys, and lets a Java
# program use them: a file is encrypted and decrypted in every mode, its beginning travels in CMS messages, a text is
# signed; and changed texts and strange callers are refused. Exits with 0 if all of that went as it has to.
#
#   scripts/demo.sh [FILE]     FILE: any file that is not empty; without one, the built `wbtables` program
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

# The file's absolute path, so that a relative one stays right wherever the build goes.
checked_file() {
  [ -e "$1" ] || fail "no such file: $1"
  [ -f "$1" ] || fail "not a regular file: $1"
  [ -r "$1" ] || fail "not readable: $1"
  [ -s "$1" ] || fail "$1 is empty. All modes but GCM refuse to decrypt an empty text, so there is nothing to" \
    "compare. Take a file with at least one byte."
  realpath -- "$1"
}

random_hex() {
  od -An -v -tx1 -N "$1" /dev/urandom | tr -d ' \n'
}

# The table library's secrets: readable by their owner alone, and new at every run.
make_secrets() {
  (
    umask 077
    mkdir -p "$demo/secrets"
    random_hex 16 >"$demo/secrets/sk"
    random_hex 16 >"$demo/secrets/ak"
    random_hex 16 >"$demo/secrets/aes128.hex"
    random_hex 24 >"$demo/secrets/aes192.hex"
    random_hex 32 >"$demo/secrets/aes256.hex"
    random_hex 32 >"$demo/secrets/signing.hex"
    random_hex 16 >"$demo/secrets/sm4.hex"
  )
}

case ${1-} in
  -h | --help) usage && exit ;;
  --) shift ;;
esac
[ $# -le 1 ] || fail "one file at a time; see --help"
release=$root/build/release
demo=$root/build/demo
if [ $# -eq 1 ]; then
  file=$(checked_file "$1")
else
  file=$release/wbtables
fi

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" run

step "Build"
# Without the tests, which need more packages; test.sh adds them to the same folder.
configure_and_build release -DWBKIT_BUILD_TESTS=OFF
echo "In build/release: libquen-wbkit.so, wbtables, wbkit.jar"

step "Table library with fresh random keys"
rm -rf -- "$demo"
make_secrets
cp -- examples/demo/manifest.toml "$demo/"
"$release/wbtables" build "$demo/manifest.toml" -o "$demo"
rm -- "$demo"/secrets/*.hex "$demo/secrets/sk"
echo "Deleted the clear keys: from here on they exist as tables alone."

step "Java program: encrypt and decrypt $file"
javac --release 8 -Xlint:-options -cp "$release/wbkit.jar" -d "$demo/classes" \
  examples/demo/java/com/example/demo/*.java
# The library's errors; its progress lines would only be in the way.
if WBKIT_LOG_LEVEL=${WBKIT_LOG_LEVEL-E} java -cp "$demo/classes:$release/wbkit.jar" com.example.demo.Demo \
  "$release/libquen-wbkit.so" "$demo/libwb_tables_demo_1.so" "$demo/secrets/ak" "$file"; then
  printf '\nEvery mode gave the file back, every message its text, and all that is wrong was refused.\n'
else
  printf '\nFAILED: a row above says DIFFERENT or WRONG, or the program broke off.\n'
  exit 1
fi
