# What one tool makes, the other restores: all sizes around the borders of pieces and blocks.
source "$(dirname "$0")/support.sh"

# crossRestore FILE LEVELS-OF-GZIP LEVELS-OF-BZIP2
crossRestore() {
    local file=$1 level make levels
    for make in gzip bzip2; do
        [ $make = gzip ] && levels=$2 || levels=$3
        for level in $levels; do
            "$tool" $make "-$level" -c "$file" > made || fail "$make -$level $file"
            $make -dc < made | cmp -s - "$file" || fail "$make restores -$level of $file"
            "$tool" $make -dc < made | cmp -s - "$file" || fail "own $make restores -$level of $file"
        done
        [ -z "$levels" ] || $make -c "$file" | "$tool" decompress | cmp -s - "$file" ||
            fail "restores $file of $make"
    done
}

text 2200000 > text
noise 250000 > noise

: > empty
printf a > one
printf ab > two
printf '\0\0\0' > three
for file in empty one two three; do crossRestore $file '1 2 3 9' '1 9'; done

# bzip2 blocks of level 1 hold 99,980 bytes without runs.
for size in 99979 99980 99981 99982 199961; do
    head -c $size text > cut
    crossRestore cut '' 1
done
# Runs at a block's border: four, and a count.
for size in 99976 99977 99978 99979; do
    { head -c $size text | tr -s ' a-z'; head -c 700 /dev/zero; head -c 5000 text; } > cut
    crossRestore cut '' 1
done
# Pieces of a gzip member have 2 MiB, its stored blocks 65,535 bytes.
for size in 2097151 2097152 2097153; do
    head -c $size text > cut
    crossRestore cut 1 ''
done
for size in 65534 65535 65536 131070 131071; do
    head -c $size noise > cut
    crossRestore cut '1 3' ''
done
{ head -c 70000 noise; head -c 70000 text; head -c 70000 /dev/zero; head -c 70000 noise; } > cut
crossRestore cut '1 2 3' '1 2'

# What does not compress does not grow by more than its headers.
"$tool" gzip -nc noise > made.gz
[ "$(stat -c %s made.gz)" -le $((250000 + 4 * 5 + 18)) ] || fail 'noise grows'
# Nor do pieces of little content take code lengths of their own.
[ "$("$tool" gzip -nc two | wc -c)" -le 22 ] || fail 'two bytes take more than a fixed block'
"$tool" gzip --select library -c text | gzip -dc | cmp -s - text || fail 'library selection'

# Long runs stand for more than is held at a time; one byte and pairs of bytes, too.
head -c 30000000 /dev/zero > cut
"$tool" bzip2 -c cut | bzip2 -dc | cmp -s - cut || fail 'zeros'
bzip2 -c cut | "$tool" bunzip2 | cmp -s - cut || fail 'zeros of bzip2'

# The output does not depend on the number of threads.
for command in 'gzip -2' 'bzip2 -1'; do
    $tool $command -j 1 -c text > single
    for threads in 2 5; do
        $tool $command -j $threads -c text | cmp -s - single || fail "$command -j $threads differs"
    done
    "$tool" decompress -j 1 -c single | cmp -s - text || fail "$command, one thread back"
    "$tool" decompress -j 4 -c single | cmp -s - text || fail "$command, four threads back"
done
finish
