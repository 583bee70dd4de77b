# A file of one line over and over: the transform does not restore some such blocks, so the tool has
# to see to it that none of them is written.
source "$(dirname "$0")/support.sh"

check() {
    "$tool" bzip2 -1 -c line > made.bz2
    bzip2 -dc made.bz2 | cmp -s - line || fail "bzip2: $1"
    "$tool" bunzip2 -c made.bz2 | cmp -s - line || fail "own bunzip2: $1"
}
repeat() { awk -v word="$1" -v times="$2" 'BEGIN { while (times-- > 0) printf "%s", word }'; }

# Of random short words repeated seven to eleven times, about one in five is lost.
for number in $(seq 60); do
    word=$(awk -v seed="$number" 'BEGIN { srand(seed); n = 3 + int(rand() * 9);
        while (n-- > 0) printf "%c", 97 + int(rand() * 3) }')
    repeat "$word" $((7 + number % 5)) > line
    check "$word, $((7 + number % 5)) times"
done
# With runs in the word, the byte that is left out lies in a count.
for word in abaaaac aaaabaaaab bbbbbabaaaaaaaac aaaaaaaab; do
    for times in 7 8 11 49; do
        repeat "$word" $times > line
        check "$word, $times times"
    done
done
# Whole blocks that are one word over and over: 99,980 = 2^2 * 5 * 4999 bytes.
for length in 4 5 10 20; do
    word=$(awk -v n="$length" 'BEGIN { srand(n); while (n-- > 0) printf "%c", 97 + int(rand() * 3) }')
    repeat "$word" $((250000 / length)) > line
    check "a word of $length bytes through several blocks"
done
finish
