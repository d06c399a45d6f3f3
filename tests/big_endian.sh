#!/usr/bin/env bash
# Configuring for a big-endian machine ends with a sentence that says why.
#
# big_endian.sh SOURCE-DIR FOLDER
set -euo pipefail
sources=$1 folder=$2

# Clang makes objects for machines that have nothing else here; that is all it takes to see their byte order.
said=$(cmake --fresh -G Ninja -S "$sources" -B "$folder" -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=s390x \
  -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_COMPILER_TARGET=s390x-linux-gnu -DCMAKE_CXX_COMPILER_TARGET=s390x-linux-gnu 2>&1) && passed=yes || passed=no
sentence='quen-wbkit needs a little-endian machine: table libraries hold little-endian words.'
if [ "$passed" = yes ] || [[ $(tr -s ' \n' ' ' <<<"$said") != *"$sentence"* ]]; then
  printf 'FAIL: expected "%s", got:\n%s\n' "$sentence" "$said"
  exit 1
fi
echo "s390x: refused"
