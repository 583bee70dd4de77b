# The examples of the manual, the views into the stages, and the checksums.
source "$(dirname "$0")/support.sh"

text 50000 > notes.txt
cp notes.txt original
mkdir bin
ln -s "$tool" bin/zeldc
PATH=$work/bin:$PATH

examples=$(sed -n '/^\.EX/,/^\.EE/p' "$here/../../docs/man/zeldc.1" | grep '^zeldc' | sed 's/\\-/-/g')
[ "$(wc -l <<< "$examples")" -ge 9 ] || fail 'the manual has lost its examples'
while read -r example; do
    bash -c "$example" > example.out 2> example.err || fail "$example: $(cat example.err)"
    same notes.txt original "after: $example"
    [ ! -e copy.txt ] || same copy.txt original "after: $example"
done <<< "$examples"
# Those of the help, each in a directory with the files that it names.
mkdir src
cp original src/part
for command in '' gzip gunzip bzip2 bunzip2 compress decompress sum stages; do
    examples=$("$tool" $command --help | sed -n '/^Example/,$p' | awk -F '  +' 'NR > 1 { print $2 }')
    [ -n "$examples" ] || fail "no examples in the help of $command"
    while read -r example; do
        rm -rf example
        mkdir example
        set -f
        for word in $example; do
            case $word in
                src) cp -r src example ;;
                *.tgz) tar cz src > "example/$word" ;;
                *.gz) gzip -c original > "example/${word/\*/a}" ;;
                *.bz2) bzip2 -c original > "example/$word" ;;
                *.txt | *.log | *.tar) cp original "example/${word/\*/a}" ;;
            esac
        done
        set +f
        (cd example && bash -o pipefail -c "$example") > example.out 2> example.err < /dev/null ||
            fail "$example: $(cat example.err)"
    done <<< "$examples"
done
bzip2 -dc notes.bz2 | cmp -s - original || fail 'notes.bz2'
grep -q '</svg>' stages.svg || fail 'no drawing'
[ "$(man -l --warnings=all "$here/../../docs/man/zeldc.1" 2>&1 > /dev/null | wc -c)" -eq 0 ] ||
    fail 'the manual has faults of form'

# Every chain gives back what it was given: a single byte, a repetition that block sorting loses, and
# text, noise and zeros through several blocks.
printf a > one
awk 'BEGIN { for (i = 0; i < 9; ++i) printf "ababac" }' > word
{ cat notes.txt; noise 30000; head -c 600000 /dev/zero; cat notes.txt; } > mixed
for file in one word mixed; do
    "$tool" stages --json "$file" > report || fail "stages $file: $(grep fault report)"
    python3 - report "$(stat -c %s "$file")" << 'EOF' || fail "report of $file"
import json, sys
report = json.load(open(sys.argv[1]))
assert report['size'] == int(sys.argv[2])
assert len(report['chains']) >= 14
assert all(chain['verified'] and chain['packedSize'] > 0 for chain in report['chains'])
EOF
done
"$tool" stages one | grep -q '^bzip2 9 .*[0-9]' || fail 'table'
: > empty
expect 1 "$tool" stages empty
said 'empty'

# CRC-32 as gzip writes it; known answers for "123456789".
[ "$(printf 123456789 | "$tool" sum)" = 'crc32 cbf43926  bzip2 fc891918  adler32 091e01de  -' ] ||
    fail 'check values'
expect 1 "$tool" sum none
said 'none'

# Completions name every command and every long option of the help.
for command in gzip gunzip bzip2 bunzip2 compress decompress sum stages; do
    for option in $("$tool" $command --help | grep -o -- '--[a-z-]*[a-z]' | sort -u); do
        grep -q -- "$option" "$here/../../tools/zeldc/completion/zeldc.bash" || fail "bash: $option"
        grep -q -- "$option\|-${option#--}" "$here/../../tools/zeldc/completion/_zeldc" ||
            fail "zsh: $option"
    done
done
finish
