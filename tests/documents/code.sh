#!/usr/bin/env bash
# Compiles the C code that the documents and the header show, where it stands, and runs it. (The
# code of docs/bzip2-chain.md has a test of its own.)
# Usage: code.sh LIBRARY C_COMPILER [C flags...]
set -euo pipefail

library=$1 compiler=$2
shift 2
flags=("$@")
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() { echo "FAILED: $*" >&2; exit 1; }
# block PAGE NUMBER: the code of that number on the page.
block() { awk -v n="$2" '/^```c$/ { on = ++i == n; next } /^```$/ { on = 0 } on' "$root/$1"; }
# program NAME: from the source at standard input.
program() {
    "$compiler" "${flags[@]}" -x c -std=c11 -Wall -Wextra -Werror -O2 -I"$root/include" - \
        -x none -o "$1" "$library" -Wl,-rpath,"$(dirname "$library")"
}

# Who adds code to a page adds it here.
found=$(cd "$root" && grep -c '^```c$' docs/*.md | grep -v ':0$' | grep -v bzip2-chain | tr '\n' ' ')
[ "$found" = 'docs/deflate-decoding.md:2 docs/deflate-encoding.md:1 docs/vlc.md:1 ' ] ||
    fail "code on pages: $found"

awk '/^## Ten lines of C/ { on = 1; next } /^## / { on = 0 } on && sub(/^    /, "")' \
    "$root/README.md" | program sum
./sum | grep -q '^CBF43926 by ' || fail README.md
block docs/vlc.md 1 | program vlc
[ "$(./vlc)" = '7 -3 7 2 1 ' ] || fail docs/vlc.md
{
    echo '#include "zeldc.h"'
    echo 'static int good; static void example(void) {'
    awk '/A worked example: the code 0 -> 7/ { on = 1; next } / \*\// { on = 0 }
        on && sub(/^ \*     /, "")' "$root/include/zeldc.h"
    echo 'good = values[0] == 7 && values[1] == -3 && values[2] == 1 && values[3] == 7 &&'
    echo 'stream == data && offset == 6; } int main(void) { example(); return good ? 0 : 1; }'
} | program header
./header || fail 'the example of the variable-length codes in zeldc.h'

{
    block docs/deflate-encoding.md 1
    echo 'int main(void) { return deflate_file(stdin, stdout) == 0 ? 0 : 1; }'
} | program deflate
{
    block docs/deflate-decoding.md 1
    echo 'int main(void) { return inflateFile(stdin, stdout) == 0 ? 0 : 1; }'
} | program inflate
{
    cat << 'EOC'
#include <stdio.h>
#include <zeldc.h>
enum { slots = 500 };
static Lz77Pair pairs[slots];
static uint8_t source[1 << 20], room[2000];
static void makeRoom(uint8_t** dst, int32_t* dstLen) {
    fwrite(room, 1, (size_t)(*dst - room), stdout);
    *dst = room;
    *dstLen = sizeof room;
}
int main(void) {
    Lz77DecodeState* state;
    const uint8_t* src = source;
    int32_t srcLen = (int32_t)fread(source, 1, sizeof source - 3, stdin) + 3;
    uint8_t* dst = room;
    int32_t dstLen = sizeof room;
    Lz77BlockType type;
    ZelStatus status, expanded;
    if (zelsDecodeLZ77InitAlloc_8u(Lz77ChecksumNone, &state) != zelStsOk) return 1;
    do {
        zelsDecodeLZ77GetBlockType_8u(&src, &srcLen, &type, state);
        do {
EOC
    block docs/deflate-decoding.md 2
    cat << 'EOC'
            makeRoom(&dst, &dstLen);
        } while (status == zelStsDstFull);
    } while (status == zelStsOk);
    zelsLZ77Free_8u(state);
    return status == zelStsStreamEnd ? 0 : 1;
}
EOC
} | program expand

# Text through several chunks, one that fills them exactly, bytes that do not compress, nothing.
seq 70000 > text
head -c 262144 text > chunks
head -c 100000 "$library" > binary
bzip2 < "$library" > noise
: > empty
for file in text chunks binary noise empty; do
    ./deflate < $file > body || fail "deflate $file"
    { printf '\037\213\010\0\0\0\0\0\0\003'; cat body; } | gzip -dc | cmp - $file
    gzip -nc < $file | tail -c +11 > peer
    for stream in body peer; do
        ./inflate < $stream | cmp - $file
        [ $file = empty ] || ! head -c -12 $stream | ./inflate > /dev/null || fail 'a cut stream'
    done
    [ $file = empty ] || ./expand < body | cmp - $file
done
