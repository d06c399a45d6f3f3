#!/usr/bin/env bash
# Makes two versions of a table library with fresh keys and runs the notes with them on this machine.
#
#   examples/android-notes/run.sh [BUILD]     BUILD: where the project was built; default: build/release
set -euo pipefail

here=$(CDPATH='' cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd -P)
build=$(realpath -- "${1:-$here/../../build/release}")
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
cd -- "$work"

mkdir libraries
for version in 1 2; do
  "$build/wbtables" keygen "v$version" --wbid notes --version "$version" --appid com.example.notes \
    --whitelist com.example.notes --key note:aes-256:signing
  # New keys for the same application: it presents the same access key to every version.
  [ "$version" = 1 ] || cp -- v1/secrets/sk v1/secrets/ak "v$version/secrets"
  "$build/wbtables" build "v$version/manifest.toml" -o libraries
done

javac --release 8 -Xlint:-options -cp "$build/wbkit.jar" -d classes "$here"/java/com/example/notes/*.java
# Without the log, which tells a line for each of the many refusals.
WBKIT_LOG_LEVEL=${WBKIT_LOG_LEVEL-S} java "-Djava.library.path=$build:libraries" -cp "$build/wbkit.jar:classes" \
  com.example.notes.NotesOnDesktop v1/secrets/ak
