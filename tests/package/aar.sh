#!/usr/bin/env bash
# scripts/package-aar.sh packs what it has to, the same every time, and refuses what does not belong in.
#
# aar.sh SOURCE-DIR BUILD-DIR FOLDER
set -euo pipefail
source_dir=$1 build=$2 folder=$3

case $(uname -m) in
  x86_64) abi=x86_64 others=(arm64-v8a armeabi-v7a x86) ;;
  aarch64) abi=arm64-v8a others=(armeabi-v7a x86_64 x86) ;;
  *) echo "Android knows no $(uname -m)" && exit ;;
esac

fail() {
  echo "FAIL: $1"
  exit 1
}

pack() {
  "$source_dir/scripts/package-aar.sh" --jar "$build/wbkit.jar" "$@"
}

# make_library ABI: what exports the right names for it, and does nothing.
declare -A targets=([arm64-v8a]=aarch64 [armeabi-v7a]=armv7a [x86_64]=x86_64 [x86]=i686)
make_library() {
  mkdir -p "$folder/$1"
  {
    echo '__attribute__((used)) static int writable = 1; // loaders refuse RELRO with nothing behind it'
    sed -n '/global:/,/local:/s/^ *\([A-Za-z0-9_]*\);$/void \1(void) {}/p' "$source_dir/cmake/exports.map"
  } |
    clang --target="${targets[$1]}-linux-android21" -g -shared -fPIC -nostdlib -fuse-ld=lld -x c - \
      -o "$folder/$1/libquen-wbkit.so" -Wl,-soname,libquen-wbkit.so,--hash-style=both \
      -Wl,-z,max-page-size=16384,-z,common-page-size=16384
}

rm -rf "$folder" && mkdir -p "$folder"/first "$folder"/{second,content,symbols}
declare -A dirs=(["$abi"]=$build)
abi_dirs=(--abi-dir "$abi=$build")
for other in "${others[@]}"; do
  make_library "$other"
  dirs["$other"]=$folder/$other
  abi_dirs+=(--abi-dir "$other=$folder/$other")
done
pack "${abi_dirs[@]}" --output "$folder/first" --try-out
(umask 077 && TZ=Asia/Tokyo pack "${abi_dirs[@]}" --output "$folder/second" --try-out)
diff -r "$folder/first" "$folder/second" || fail "the second time, other bytes"

(cd "$folder/content" && jar --extract --file ../first/quen-wbkit-*.aar)
(cd "$folder/symbols" && jar --extract --file ../first/quen-wbkit-*-symbols.zip)
prefab=prefab/modules/quen-wbkit
expected=$(printf '%s\n' AndroidManifest.xml R.txt classes.jar proguard.txt \
  {jni/,$prefab/libs/android.}{arm64-v8a,armeabi-v7a,x86_64,x86}/libquen-wbkit.so \
  $prefab/libs/android.{arm64-v8a,armeabi-v7a,x86_64,x86}/abi.json prefab/prefab.json $prefab/module.json \
  $prefab/include/{protobuf-c/protobuf-c.h,quen/cms.pb-c.h} &&
  cd "$source_dir/include" && printf "$prefab/include/%s\n" quen/*.h)
diff <(LC_ALL=C sort <<<"$expected") <(cd "$folder/content" && find . -type f -printf '%P\n' | LC_ALL=C sort) ||
  fail "other files (right) than expected (left)"

cmp "$folder/content/classes.jar" "$build/wbkit.jar"
for each in "${!dirs[@]}"; do
  packed=$folder/content/jni/$each/libquen-wbkit.so symbols=$folder/symbols/$each/libquen-wbkit.so.dbg
  prefab_library=$folder/content/$prefab/libs/android.$each
  machine=$(readelf -h "${dirs["$each"]}/libquen-wbkit.so" | grep Machine:)
  for file in "$packed" "$symbols"; do
    [[ $(readelf -h "$file") == *"$machine"* ]] || fail "$file: not for $each"
  done
  cmp "$packed" "$prefab_library/libquen-wbkit.so"
  grep -F "\"abi\": \"$each\"" "$prefab_library/abi.json" || fail "prefab takes $each for another"
  ! readelf -SW "$packed" | grep -E ' \.(symtab|debug_[a-z]+) ' >&2 || fail "the library for $each is not stripped"
  readelf -sW "$symbols" | grep 'FUNC *GLOBAL .* JNI_OnLoad$' || fail "no symbols for $each in their archive"
done
# With nothing but the packed headers, the surface compiles.
cc -std=c99 -fsyntax-only -I "$folder/content/$prefab/include" -x c - <<<'#include <quen/wbkit.h>
#include <quen/cms.h>'

mkdir "$folder/stand-in" && cp "$folder/${others[0]}/libquen-wbkit.so" "$folder/stand-in"
echo 'WBKIT_NDK_STAND_IN:INTERNAL=/stubs' >"$folder/stand-in/CMakeCache.txt"

while IFS='|' read -r message arguments; do
  # shellcheck disable=SC2086 # words
  said=$(pack --output "$folder/second" $arguments 2>&1) && fail "packed with $arguments"
  [[ $said == *"$message"* ]] || fail "with $arguments: $said"
done <<END
was not built for Android|--abi-dir $abi=$build
built with a stand-in for the NDK|--abi-dir ${others[0]}=$folder/stand-in
not for ${others[0]}|--abi-dir ${others[0]}=$build --try-out
unknown ABI: mips|--abi-dir mips=$build
not there; build it first|--abi-dir $abi=$folder
END
