#!/usr/bin/env bash
# Checks that a built libquen-wbkit.so is hardened: all that check-elf.sh checks, and stack protector, _FORTIFY_SOURCE,
# full RELRO, marks for CET or for BTI and PAC, no code that runs when it is loaded, size. The library is built with
# optimisation and not stripped: without symbols, nothing tells what runs.
#
#   scripts/check-binary.sh [--stubs DIR] FILE
#
# --stubs and READELF are what they are for check-elf.sh; OBJDUMP names a disassembler for the library's machine.
set -euo pipefail
. "$(dirname -- "${BASH_SOURCE[0]}")/common.sh"

readelf=${READELF:-readelf}
objdump=${OBJDUMP:-objdump}
# What a process maps. The largest library is the one for x86-64, whose kernels are the most of it: some 200,000 bytes.
largest=$((256 * 1024))
# The compiler's runtime finds out what an x86 CPU has.
harmless_initialisers='__cpu_indicator_init'

case ${1-} in
  -h | --help) usage && exit ;;
esac
elf_options=()
if [ "${1-}" = --stubs ]; then
  [ $# -ge 2 ] || fail "--stubs needs a folder; see --help"
  elf_options=(--stubs "$2")
  shift 2
fi
[ $# -eq 1 ] || fail "takes one file; see --help"
file=$1

faults=0
fault() {
  printf '%s: %s\n' "$file" "$*"
  faults=$((faults + 1))
}
proved() {
  proofs+="  $*"$'\n'
}
proofs=

imported() {
  "$readelf" -W --dyn-syms "$file" | awk '$7 == "UND" {sub(/@.*/, "", $8); print $8}'
}

check_stack_protector() {
  local functions
  imported | grep -x '__stack_chk_fail' >/dev/null || fault "no stack protector"
  # Not every disassembler names what is called through the PLT.
  functions=$("$objdump" -d "$file" | grep -cE '\b(call|blx?|b|jmp)[a-z.]*\b.*<__stack_chk_fail(@plt|_local)?>' || true)
  [ "$functions" -gt 0 ] || functions=some
  proved "stack protector: $functions functions check their frame"
}

check_fortify() {
  local names
  names=$(imported | grep -E '^__[a-z]+_chk$' | sort | paste -sd ' ' || true)
  [ -n "$names" ] || fault "no _FORTIFY_SOURCE: it calls no function that checks"
  proved "_FORTIFY_SOURCE: $names"
}

check_relro() {
  [[ $dynamic_section =~ BIND_NOW|Flags:' '.*NOW ]] ||
    fault "symbols are bound late: what binds them stays writable"
  proved "full RELRO: bound when it is loaded, and read-only from then on"
}

# A linker marks what it links only if every object that went in is marked.
check_control_flow() {
  local marks wanted
  case $header in
    *X86-64*) wanted='IBT SHSTK' ;;
    *AArch64*) wanted='BTI PAC' ;;
    *) proved "control flow: none is marked on this machine" && return ;;
  esac
  marks=$("$readelf" -nW "$file" | sed -nE 's/.*(x86|AArch64) feature: *//p')
  for mark in $wanted; do
    grep -qw "$mark" <<<"$marks" || fault "not every object is built for $mark"
  done
  proved "control flow: every object is built for $wanted"
}

# The functions in .init_array, by their relocations and symbols. Some of readelf's lists have leading zeros.
initialisers() {
  local start size bytes=8 at target
  [[ ! $dynamic_section =~ 0x0*c' ' ]] || echo "the start files' _init"
  [[ $header == *ELF64* ]] || bytes=4
  read -r start size < <("$readelf" -SW "$file" |
    sed -nE 's/.* INIT_ARRAY +([0-9a-f]+) [0-9a-f]+ ([0-9a-f]+) .*/\1 \2/p') || return 0
  for ((at = 16#$start; at < 16#$start + 16#$size; at += bytes)); do
    target=$("$readelf" -rW "$file" |
      awk -v at="^0*$(printf %x "$at")\$" '$1 ~ at && $3 ~ /RELATIVE/ {sub(/^0x/, "", $4); print $4}')
    "$readelf" -sW "$file" | awk -v at="^0*${target:-none}\$" '
      $4 == "FUNC" && $2 ~ at {name = $8}
      END {print name == "" ? "a function without a name" : name}'
  done
}

check_initialisers() {
  local all each
  all=$(initialisers)
  while read -r each; do
    fault "$each runs when it is loaded"
  done < <(grep -vxE "$harmless_initialisers|" <<<"$all")
  proved "static initialisers: none of its own${all:+; the compiler runtime has $all}"
}

check_size() {
  local mapped
  mapped=$("$readelf" -lW "$file" | awk '$1 == "LOAD" {printf "%s + ", $6}')
  mapped=$((${mapped}0))
  ((mapped <= largest)) || fault "$mapped bytes in memory, more than $largest"
  proved "size: $mapped bytes in memory, of at most $largest"
}

"$root/scripts/check-elf.sh" ${elf_options+"${elf_options[@]}"} "$file"
header=$("$readelf" -hW "$file")
dynamic_section=$("$readelf" -dW "$file")
check_stack_protector
check_fortify
check_relro
check_control_flow
check_initialisers
check_size
[ "$faults" -eq 0 ] || fail "$faults faults"
printf '%s: hardened\n%s' "$file" "$proofs"
