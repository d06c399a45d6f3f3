#!/usr/bin/env bash
# Has ThreadSanitizer watch the library while 32 threads use it at once, in C and inside a JVM: every operation on two
# table libraries, and the first use of each.
#
# In the JVM it sees what our code reads and writes; the virtual machine's own code is not compiled for it and stays
# unseen. So that silence means something, a log function with a data race is put in our own one's place: that race has
# to be reported.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

no_arguments "$@"

trap took EXIT

step "Packages"
"$root/scripts/bootstrap.sh" test

step "Build"
# What runs inside the JVM, and its table libraries. The demo leaves tests out of this build.
configure_and_build release -DWBKIT_BUILD_TESTS=ON
logged "$root/build/tsan.log" cmake --preset tsan
logged "$root/build/tsan.log" cmake --build --preset tsan -j "$jobs" --target quen-wbkit threads_tests
logged "$root/build/tsan.log" ctest --preset release --no-tests=error -R '^jvm\.tables\.'

step "In C"
ctest --preset tsan --no-tests=error -R '^threads$'

step "Inside a JVM"
folder=$root/build/tsan/jvm
runtime=$("${CC:-cc}" -print-file-name=libtsan.so.2)
[ -e "$runtime" ] || fail "the compiler has no ThreadSanitizer for shared objects"
first_use=LoaderTest#allThreadsMayBeTheFirst
all_calls=ManyCallsTest#threadsDoNotDisturbEachOther
mkdir -p -- "$folder"

# jvm_test LOG PRELOADED METHOD...
jvm_test() {
  local log=$1 preloaded=$2 method
  local selected=()
  shift 2
  for method in "$@"; do
    selected+=("--select-method=com.vorlix.quen.wb.$method")
  done
  LD_PRELOAD=$preloaded TSAN_OPTIONS="ignore_noninstrumented_modules=1 exitcode=66" \
    java "@$root/build/release/tests/jvm/junit.args" "-Dwbkit.library=$root/build/tsan/libquen-wbkit.so" \
    org.junit.platform.console.ConsoleLauncher --disable-banner --disable-ansi-colors --details=tree \
    --fail-if-no-tests "${selected[@]}" >"$log" 2>&1
}

if ! jvm_test "$folder/clean.log" "$runtime" "$first_use" "$all_calls" ||
  grep -q ThreadSanitizer "$folder/clean.log"; then
  cat -- "$folder/clean.log" >&2
  fail "ThreadSanitizer or a test complains; see above"
fi

printf 'int lines;\nint __android_log_print(int p, const char *t, const char *f, ...) { return ++lines; }\n' |
  "${CC:-cc}" -fsanitize=thread -g -O1 -w -shared -fPIC -o "$folder/libracing-log.so" -x c -
if jvm_test "$folder/racing.log" "$runtime:$folder/libracing-log.so" "$first_use"; then
  fail "a race that was made on purpose was not reported inside the JVM"
fi
grep -q 'SUMMARY: ThreadSanitizer: data race .* in __android_log_print' "$folder/racing.log" || {
  cat -- "$folder/racing.log" >&2
  fail "what was reported is not the race that was made on purpose; see above"
}

printf '\nNo data race: %s in C and %s inside a JVM, of 32 threads each. A race made on purpose was reported.\n' \
  "$(sed -n 's/^\[  PASSED  \] //p' "$root/build/tsan/Testing/Temporary/LastTest.log" | tr -d .)" \
  "$(sed -n 's/^\[ *\([0-9]*\) tests successful *\]$/\1 tests/p' "$folder/clean.log")"
