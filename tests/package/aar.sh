#!/usr/bin/env bash
# scripts/package-aar.sh packs what it has to, the same every time, and refuses what does not belong in.
#
# aar.sh SOURCE-DIR BUILD-DIR FOLDER
set -euo pipefail
source_dir=$1 build=$2 folder=$3

case $(uname -m) in
  x86_64) abi=x86_64 other=arm64-v8a ;;
  aarch64) abi=arm64-v8a other=x86_64 ;;
  *) echo "Android knows no $(uname -m)" && exit ;;
esac

fail() {
  echo "FAIL: $1"
  exit 1
}

pack() {
  "$source_dir/scripts/package-aar.sh" --jar "$build/wbkit.jar" "$@"
}

rm -rf "$folder" && mkdir -p "$folder"/first "$folder"/{second,content,symbols}
pack --abi-dir "$abi=$build" --output "$folder/first" --try-out
(umask 077 && TZ=Asia/Tokyo pack --abi-dir "$abi=$build" --output "$folder/second" --try-out)
diff -r "$folder/first" "$folder/second" || fail "the second time, other bytes"

(cd "$folder/content" && jar --extract --file ../first/quen-wbkit-*.aar)
(cd "$folder/symbols" && jar --extract --file ../first/quen-wbkit-*-symbols.zip)
prefab=prefab/modules/quen-wbkit
expected=$(printf '%s\n' AndroidManifest.xml R.txt classes.jar proguard.txt "jni/$abi/libquen-wbkit.so" \
  prefab/prefab.json $prefab/module.json "$prefab/libs/android.$abi"/{abi.json,libquen-wbkit.so} \
  $prefab/include/{protobuf-c/protobuf-c.h,quen/cms.pb-c.h} &&
  cd "$source_dir/include" && printf "$prefab/include/%s\n" quen/*.h)
diff <(LC_ALL=C sort <<<"$expected") <(cd "$folder/content" && find . -type f -printf '%P\n' | LC_ALL=C sort) ||
  fail "other files (right) than expected (left)"

packed=$folder/content/jni/$abi/libquen-wbkit.so
cmp "$folder/content/classes.jar" "$build/wbkit.jar"
cmp "$packed" "$folder/content/$prefab/libs/android.$abi/libquen-wbkit.so"
! nm "$packed" 2>&1 | grep ' T ' >&2 || fail "the packed library is not stripped"
nm "$folder/symbols/$abi/libquen-wbkit.so.dbg" | grep ' T JNI_OnLoad$' || fail "no symbols in their archive"
# With nothing but the packed headers, the surface compiles.
cc -std=c99 -fsyntax-only -I "$folder/content/$prefab/include" -x c - <<<'#include <quen/wbkit.h>
#include <quen/cms.h>'

while IFS='|' read -r message arguments; do
  # shellcheck disable=SC2086 # words
  said=$(pack --output "$folder/second" $arguments 2>&1) && fail "packed with $arguments"
  [[ $said == *"$message"* ]] || fail "with $arguments: $said"
done <<END
was not built for Android|--abi-dir $abi=$build
not for $other|--abi-dir $other=$build --try-out
unknown ABI: mips|--abi-dir mips=$build
not there; build it first|--abi-dir $abi=$folder
END
