#!/usr/bin/env bash
# The public header alone, at the strictest levels, as C99, C17, C++17 and C++20, by both compilers.
# Usage: header.sh INCLUDE_FOLDER [flags...]
set -euo pipefail

include=$1
shift
gcc_flags=(-Wall -Wextra -Wpedantic -pedantic-errors -Wconversion -Wsign-conversion -Wshadow
    -Wundef -Wcast-qual -Wredundant-decls -Werror)
clang_flags=(-Weverything -Wno-padded -Wno-c++98-compat -Wno-c++98-compat-pedantic
    -Wno-declaration-after-statement -Wno-old-style-cast -Werror)
source='#include "zeldc.h"
#include "zeldc.h"
int main(void) { return sizeof(ZelLibraryVersion) == 0; }'

check() {
    local compiler=$1 language=$2 standard=$3
    shift 3
    "$compiler" -x "$language" "-std=$standard" "$@" -I"$include" -c -o /dev/null - <<< "$source"
}

for standard in c99 c17; do
    check gcc c $standard "${gcc_flags[@]}" -Wstrict-prototypes -Wmissing-prototypes "$@"
    check clang c $standard "${clang_flags[@]}" "$@"
done
for standard in c++17 c++20; do
    check g++ c++ $standard "${gcc_flags[@]}" "$@"
    check clang++ c++ $standard "${clang_flags[@]}" "$@"
done
echo "the header compiles without a warning"
