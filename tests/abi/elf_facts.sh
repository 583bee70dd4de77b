#!/usr/bin/env bash
# Looks at the built shared object: machine, needs, exports, and what must not be in it.
# Usage: elf_facts.sh LIBRARY EXPORT_LIST "CLASS MACHINE"
set -euo pipefail
export LC_ALL=C

library=$1 list=$2 machine=$3
failures=0

# expect WHAT EXPECTED ACTUAL
expect() {
    [ "$2" = "$3" ] && return
    printf 'FAILED: %s\n--- expected\n%s\n--- found\n%s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

header=$(readelf -hW "$library")
dynamic=$(readelf -dW "$library")
segments=$(readelf -lW "$library")
sections=$(readelf -SW "$library")

expect 'class and machine' "$machine" "$(sed -n \
    -e 's/^ *Class: *//p' -e 's/^ *Machine:.*80386/80386/p' -e 's/^ *Machine:.*X86-64/X86-64/p' \
    <<< "$header" | paste -sd ' ')"
expect 'file name' libzeldct7.so.5.2 "$(basename "$(readlink -f "$library")")"
expect 'soname' libzeldct7.so.5.2 "$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<< "$dynamic")"
expect 'needed libraries' libc.so.6 "$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<< "$dynamic")"

expect 'exported symbols' "$(grep -v -e '^#' -e '^$' "$list" | sort)" \
    "$(readelf --dyn-syms -W "$library" | awk '$7 ~ /^[0-9]+$/ && $5 != "LOCAL" {print $4, $8}' |
        sort)"
# The hooks' functions, and what compilers call for plain copies, fills and comparisons.
allowed=$(printf '%s\n' bcmp calloc free malloc memcmp memcpy memmove memset realloc)
expect 'imports beyond those allowed' '' "$(comm -13 <(echo "$allowed") \
    <(readelf --dyn-syms -W "$library" | awk '$7 == "UND" && $8 != "" {print $8}' |
        sed 's/@.*//' | sort))"

expect 'text relocations' 0 "$(grep -c TEXTREL <<< "$dynamic" || true)"
expect 'stack flags' RW "$(awk '$1 == "GNU_STACK" {print $7}' <<< "$segments")"
expect 'relocated read-only segment' 1 "$(grep -c GNU_RELRO <<< "$segments")"
expect 'bound at load' 1 "$(grep -c 'Flags:.*NOW' <<< "$dynamic")"
expect 'constructors and destructors' '' \
    "$(awk '{for (i = 1; i <= NF; ++i)
        if ($i ~ /^\.(init|fini|preinit)(_array)?$|^\.[cd]tors$/) print $i}' <<< "$sections")"

# What stays writable once relocation is done: the hooks, and nothing beside them.
pointer=4
[ "${machine% *}" = ELF64 ] && pointer=8
data_size=$(awk '{sub(/^ *\[ *[0-9]+\]/, "")} $1 == ".data" {print $5}' <<< "$sections")
bss_size=$(awk '{sub(/^ *\[ *[0-9]+\]/, "")} $1 == ".bss" {print $5}' <<< "$sections")
tls=$(awk '{sub(/^ *\[ *[0-9]+\]/, "")} $1 == ".tdata" || $1 == ".tbss" {print $1}' <<< "$sections")
data_index=$(sed -n 's/^ *\[ *\([0-9]*\)\] \.data .*/\1/p' <<< "$sections")
expect 'bytes of .data (four hooks)' $((4 * pointer)) $((16#${data_size:-0}))
expect 'bytes of .bss' 0 $((16#${bss_size:-0}))
expect 'thread-local data' '' "$tls"
expect 'objects in .data' "$(printf '%s\n' i_calloc i_free i_malloc i_realloc)" \
    "$(readelf --dyn-syms -W "$library" | awk -v data="$data_index" '$7 == data {print $8}' | sort)"

[ "$failures" -eq 0 ] && echo "$library: as it should be"
exit "$((failures > 0))"
