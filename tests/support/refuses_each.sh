# shellcheck shell=bash
# Sourced by tests of checks that look at a library: which faults a check refuses, and what it says.

# refuses_each CHECK LIBRARY COMPILER-OPTION...: each line of standard input is "MESSAGE|OPTION|OPTION": the library,
# built with these options too, is refused with the message, or passes if there is none. Sets `count`.
refuses_each() {
  local check=$1 library=$2 message flag another said passed expected
  shift 2
  count=0
  while IFS='|' read -r message flag another; do
    clang -shared -fPIC -nostdlib -fuse-ld=lld "$@" -o "$library" ${flag:+"$flag"} ${another:+"$another"}
    said=$("$check" "$library" 2>&1) && passed=yes || passed=no
    [ -n "$message" ] && expected=no || expected=yes
    if [ "$passed" != "$expected" ] || [[ $said != *"$message"* ]]; then
      printf 'FAIL: with %s, expected "%s", got:\n%s\n' "$flag" "$message" "$said"
      exit 1
    fi
    count=$((count + 1))
  done
}
