#!/usr/bin/env bash
# Makes an AAR from libraries that were built before, and an archive of their symbols beside it. The same libraries and
# classes give the same bytes.
#
#   scripts/package-aar.sh [--abi-dir ABI=DIR]... [--jar FILE] [--output DIR] [--try-out]
#
#   --abi-dir ABI=DIR   the build folder of an ABI; without it, every build/android-ABI that is there
#   --jar FILE          the classes; default: build/release/wbkit.jar
#   --output DIR        where both archives go; default: build
#   --try-out           let libraries in that are not for phones: built for another system than Android, or with the
#                       stand-in of check-android.sh
#
# OBJCOPY in the environment names the program that strips; the default is the NDK's llvm-objcopy (ANDROID_NDK_HOME),
# then llvm-objcopy.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

readelf=${READELF:-readelf}
declare -A machines=([arm64-v8a]=AArch64 [armeabi-v7a]=ARM [x86_64]='Advanced Micro Devices X86-64' [x86]='Intel 80386')

find_objcopy() {
  local program
  for program in "${ANDROID_NDK_HOME:-/none}"/toolchains/llvm/prebuilt/*/bin/llvm-objcopy llvm-objcopy objcopy; do
    command -v "$program" && return
  done
  fail "llvm-objcopy is missing (package llvm); OBJCOPY or ANDROID_NDK_HOME says where one is"
}

# archive FILE FOLDER: what is in the folder, in an order and with times that are always the same.
archive() {
  rm -f -- "$1"
  (cd -- "$2" && find . -type f -printf '%P\n' | LC_ALL=C sort >"$work/entries")
  (cd -- "$2" && jar --create --no-manifest --date=2020-01-01T00:00:00Z --file "$1" "@$work/entries")
}

# cached NAME DIR: the value of a variable of that build, nothing if it has none.
cached() {
  [ ! -r "$2/CMakeCache.txt" ] || sed -n "s/^$1:[A-Z]*=//p" "$2/CMakeCache.txt"
}

add_library() {
  local abi=$1 dir=$2 library=$2/libquen-wbkit.so machine prefab stand_in
  [ -n "${machines[$abi]-}" ] || fail "unknown ABI: $abi; there are ${!machines[*]}"
  [ -r "$library" ] || fail "$library: not there; build it first"
  machine=$("$readelf" -hW "$library" | sed -n 's/^ *Machine: *//p')
  [ "$machine" = "${machines[$abi]}" ] || fail "$library is for $machine, not for $abi"
  stand_in=$(cached WBKIT_NDK_STAND_IN "$dir")
  if [ "$try_out" = no ]; then
    [ -z "$stand_in" ] || fail "$library was built with a stand-in for the NDK; see --try-out"
    [[ $("$readelf" -dW "$library") != *libc.so.6* ]] ||
      fail "$library was not built for Android; see --try-out"
  fi
  "$root/scripts/check-elf.sh" ${stand_in:+--stubs "$stand_in"} "$library"

  prefab=$work/aar/prefab/modules/quen-wbkit/libs/android.$abi
  mkdir -p -- "$work/aar/jni/$abi" "$prefab" "$work/symbols/$abi"
  "$objcopy" --only-keep-debug "$library" "$work/symbols/$abi/libquen-wbkit.so.dbg"
  "$objcopy" --strip-all "$library" "$work/aar/jni/$abi/libquen-wbkit.so"
  cp -- "$work/aar/jni/$abi/libquen-wbkit.so" "$prefab"
  # Its surface is C, so no C++ runtime has to fit; any NDK that is supported does.
  printf '{"abi": "%s", "api": 21, "ndk": 26, "stl": "none", "static": false}\n' "$abi" >"$prefab/abi.json"
}

# The generated header is the same for all ABIs, and so is protobuf-c's, which it includes.
add_headers() {
  local include=$work/aar/prefab/modules/quen-wbkit/include protobuf_c
  mkdir -p -- "$include/quen" "$include/protobuf-c"
  cp -- "$root"/include/quen/*.h "$1/generated/quen/cms.pb-c.h" "$include/quen"
  protobuf_c=$(cached WBKIT_PROTOBUF_C "$1")
  case $protobuf_c in
    fetch) protobuf_c=$1/_deps/wbkit_protobuf_c_release-src ;;
    system) protobuf_c=$(pkg-config --variable=includedir libprotobuf-c) ;;
  esac
  cp -- "$protobuf_c/protobuf-c/protobuf-c.h" "$include/protobuf-c"
}

abi_dirs=()
jar=$root/build/release/wbkit.jar output=$root/build try_out=no
while [ $# -gt 0 ]; do
  case $1 in
    --try-out) try_out=yes && shift && continue ;;
    -h | --help) usage && exit ;;
    --abi-dir | --jar | --output) [ $# -ge 2 ] || fail "$1 needs a value; see --help" ;;
    *) fail "unknown argument: $1; see --help" ;;
  esac
  case $1 in
    --abi-dir) abi_dirs+=("$2") ;;
    --jar) jar=$2 ;;
    --output) output=$2 ;;
  esac
  shift 2
done
if [ ${#abi_dirs[@]} -eq 0 ]; then
  for dir in "$root"/build/android-*/; do
    [ ! -d "$dir" ] || abi_dirs+=("$(basename -- "$dir" | sed 's/^android-//')=${dir%/}")
  done
fi
[ ${#abi_dirs[@]} -gt 0 ] || fail "no build/android-ABI is there; docs/android.md tells how to build one"
[ -r "$jar" ] || fail "$jar: not there; build the release preset, or name another with --jar"
jar --help | grep -- --date >/dev/null || fail "jar cannot set the time of its entries; JDK 17 or later can"
objcopy=${OBJCOPY:-$(find_objcopy)}
mkdir -p -- "$output"
output=$(realpath -- "$output")
version=$(sed -n 's/^project(QuenWbkit VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

for each in "${abi_dirs[@]}"; do
  add_library "${each%%=*}" "${each#*=}"
done
add_headers "${abi_dirs[0]#*=}"
printf '{"schema_version": 2, "name": "quen-wbkit", "version": "%s", "dependencies": []}\n' "$version" \
  >"$work/aar/prefab/prefab.json"
printf '{"export_libraries": []}\n' >"$work/aar/prefab/modules/quen-wbkit/module.json"
cat >"$work/aar/AndroidManifest.xml" <<'END'
<manifest xmlns:android="http://schemas.android.com/apk/res/android" package="com.vorlix.quen.wb">
    <uses-sdk android:minSdkVersion="21" />
</manifest>
END
cp -- "$root/java/proguard.txt" "$work/aar"
cp -- "$jar" "$work/aar/classes.jar"
: >"$work/aar/R.txt" # no resources

archive "$output/quen-wbkit-$version.aar" "$work/aar"
archive "$output/quen-wbkit-$version-symbols.zip" "$work/symbols"
wc -c -- "$output/quen-wbkit-$version.aar" "$output/quen-wbkit-$version-symbols.zip" | sed '$d' # without the sum
