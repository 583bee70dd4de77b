# Damaged, truncated and foreign files: one line that says what is wrong, exit status 1, no output.
source "$(dirname "$0")/support.sh"

text 60000 > plain
"$tool" gzip -k plain
"$tool" bzip2 -1 -k plain
cat plain plain plain plain > four
bzip2 -1 -c four > four.bz2

poke() { printf "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }
refused() {
    expect 1 "$tool" decompress -k "$1"
    said "zeldc: $1: .*$2"
    only "$(dirname "$1")" "$(basename "$1")"
    expect 1 "$tool" decompress -t "$1"
    expect 1 "$tool" decompress -q -j 3 -c "$1" > /dev/null
}

mkdir bad
# Cut anywhere: in the header, the data, the trailer.
for format in gz bz2; do
    size=$(stat -c %s plain.$format)
    for length in 5 9 10 14 30 70 1000 $((size / 2)) $((size - 9)) $((size - 5)) $((size - 1)); do
        head -c "$length" plain.$format > "bad/x.$format"
        refused "bad/x.$format" 'offset [0-9]*: \(unexpected end of file\|no block begins here\)'
    done
    rm bad/*
done

# One byte changed anywhere must not pass, nor must it end in anything but an error.
for file in plain.gz four.bz2; do
    size=$(stat -c %s $file)
    for at in $(seq 30 $((size / 23)) $((size - 1))); do
        cp $file bad/x.${file##*.}
        old=$(od -An -tu1 -j "$at" -N 1 $file)
        poke bad/x.${file##*.} "$at" "\\$(printf %03o $((old ^ 36)))"
        expect 1 "$tool" decompress -t bad/x.${file##*.}
        said 'offset'
    done
    rm bad/*
done

cp plain.gz bad/x.gz
poke bad/x.gz $(($(stat -c %s plain.gz) - 8)) 'abcd'
refused bad/x.gz 'checksum differs'
cp plain.gz bad/x.gz
poke bad/x.gz $(($(stat -c %s plain.gz) - 4)) 'abcd'
refused bad/x.gz 'length differs'
cp plain.gz bad/x.gz
poke bad/x.gz 2 '\007'
refused bad/x.gz 'unknown method'
poke bad/x.gz 2 '\010\377'
refused bad/x.gz 'unknown flags'
rm bad/*
# The bit behind the block's checksum: randomised.
cp plain.bz2 bad/x.bz2
poke bad/x.bz2 14 '\200'
refused bad/x.bz2 'randomised'
cp plain.bz2 bad/x.bz2
poke bad/x.bz2 10 'abcd'
refused bad/x.bz2 "block's checksum"
# A block that is longer than the level allows.
bzip2 -9 -c four four > bad/x.bz2
poke bad/x.bz2 3 1
refused bad/x.bz2 'too long'
rm bad/*

# Nothing, something else, and something else by name.
: > bad/x.gz
refused bad/x.gz 'offset 0: unexpected end of file'
cp plain bad/x.gz
refused bad/x.gz 'neither in gzip nor in bzip2 format'
cp plain bad/x.gz
expect 1 "$tool" gunzip bad/x.gz
said 'offset 0: not in gzip format'
head -c 9000000 /dev/zero | { printf BZh9; cat; } > bad/x.bz2
expect 1 "$tool" bunzip2 -t bad/x.bz2

# The marks of blocks, over and over: in a block's place, in its data, behind the end.
awk 'BEGIN { printf "BZh9"; for (i = 0; i < 30000; ++i) printf "1AY&SY" }' > bad/x.bz2
expect 1 timeout 20 "$tool" bunzip2 -t bad/x.bz2
{ head -c 3000 plain.bz2; awk 'BEGIN { for (i = 0; i < 30000; ++i) printf "1AY&SY" }'; } > bad/x.bz2
expect 1 timeout 20 "$tool" bunzip2 -t bad/x.bz2

# Several members, zeros behind them, garbage behind them.
for format in gz bz2; do
    cat plain.$format plain.$format > two.$format
    cat plain plain > wanted
    "$tool" decompress -c two.$format | cmp -s - wanted || fail "two of .$format"
    { cat two.$format; head -c 5000 /dev/zero; } > padded.$format
    expect 0 "$tool" decompress -f padded.$format
    same padded wanted "padded .$format"
    { cat two.$format; echo rubbish; } > rubbish.$format
    expect 2 "$tool" decompress rubbish.$format
    said 'trailing garbage ignored'
    same rubbish wanted "garbage behind .$format"
    rm -f rubbish padded
    { cat plain.$format; head -c 700 plain.$format; } > bad/x.$format
    expect 1 "$tool" decompress -t bad/x.$format
done
finish
