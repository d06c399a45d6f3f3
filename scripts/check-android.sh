#!/usr/bin/env bash
# Builds the android-* presets where there is no NDK, and checks the results with check-binary.sh. A stand-in takes the
# NDK's place: clang for Android's targets, Android's jni.h and log.h, a host's C headers, and for libraries nothing but
# the names in cmake/android-api-21.txt. It shows that sources, presets and link options fit together; what comes out is
# not for phones. It is packed all the same, into build/ndk-stand-in, because sizes have limits.
#
#   scripts/check-android.sh [ABI...]     default: all four
#
# WBKIT_PROTOBUF_C in the environment is what the CMake option is: the folder of protobuf-c's sources, or fetch.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

case ${1-} in
  -h | --help) usage && exit ;;
esac
[ $# -gt 0 ] || set -- arm64-v8a armeabi-v7a x86_64 x86

protobuf_c=${WBKIT_PROTOBUF_C-}
[ -n "$protobuf_c" ] || fail "WBKIT_PROTOBUF_C in the environment is not set; see --help"
[ "$protobuf_c" = fetch ] || protobuf_c=$(realpath -- "$protobuf_c")

[ -z "${ANDROID_NDK_HOME-}" ] || fail "ANDROID_NDK_HOME names an NDK: build the presets with that"

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" android

standin=$root/build/ndk-stand-in
rm -rf -- "$standin"/{build,include,packed} # not the stubs, which belong to the builds of each ABI
mkdir -p -- "$standin/build/cmake" "$standin/include"
ln -s /usr/include/android/android "$standin/include/android"
ln -s /usr/include/android/nativehelper/jni.h "$standin/include/jni.h"
cp -- "$root/cmake/toolchains/ndk-stand-in.cmake" "$standin/build/cmake/android.toolchain.cmake"

# make_stubs TARGET FOLDER: shared libraries that define the listed names and do nothing.
make_stubs() {
  local library
  mkdir -p -- "$2"
  for library in libc libdl liblog libm; do
    awk -v library="$library.so" '$1 == library {for (i = 2; i <= NF; ++i) print "void " $i "(void) {}"}' \
      "$root/cmake/android-api-21.txt" |
      clang --target="$1" -shared -nostdlib -fuse-ld=lld -w -ffreestanding -fno-builtin -Wl,-soname,$library.so \
        -o "$2/$library.so" -x c -
  done
}

# at_most LIMIT WHAT FILE: fails if the file has more bytes.
at_most() {
  local bytes
  bytes=$(wc -c <"$3")
  echo "$2: $bytes bytes, of at most $1"
  ((bytes <= $1)) || fail "$2 is too large"
}

pack=()
# The same targets as in cmake/toolchains/ndk-stand-in.cmake.
for abi in "$@"; do
  case $abi in
    arm64-v8a) target=aarch64-linux-android21 ;;
    armeabi-v7a) target=armv7a-linux-androideabi21 ;;
    x86_64) target=x86_64-linux-android21 ;;
    x86) target=i686-linux-android21 ;;
    *) fail "unknown ABI: $abi" ;;
  esac
  pack+=(--abi-dir "$abi=$root/build/android-$abi")
  step "$abi"
  make_stubs "$target" "$standin/stubs/$abi"
  ANDROID_NDK_HOME=$standin configure_and_build "android-$abi" --fresh "-DWBKIT_PROTOBUF_C=$protobuf_c"
  "$root/scripts/check-binary.sh" --stubs "$standin/stubs/$abi" "$root/build/android-$abi/libquen-wbkit.so"
done

step "AAR"
classes=$root/build/classes
logged "$root/build/classes.log" cmake --preset release -B "$classes" \
  -DWBKIT_BUILD_TESTS=OFF -DWBKIT_BUILD_TOOL=OFF
logged "$root/build/classes.log" cmake --build "$classes" --target wbkit-jar
"$root/scripts/package-aar.sh" --try-out "${pack[@]}" --jar "$classes/wbkit.jar" --output "$standin"
packed=$standin/packed
mkdir -- "$packed"
(cd -- "$packed" && jar --extract --file "$standin"/quen-wbkit-*.aar)

step "Sizes"
at_most 100000 "classes" "$packed/classes.jar"
for abi in "$@"; do
  library=$packed/jni/$abi/libquen-wbkit.so
  case $abi in
    arm64-v8a) at_most $((160 * 1024)) "$abi, stripped" "$library" ;;
    *) echo "$abi, stripped: $(wc -c <"$library") bytes" ;;
  esac
done
[ $# -lt 4 ] || at_most 700000 "AAR of four ABIs" "$(echo "$standin"/quen-wbkit-*.aar)"
