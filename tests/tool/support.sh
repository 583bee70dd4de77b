# Sourced by the tests: a directory to work in, and ways to say what is expected.
set -uo pipefail
tool=$1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'chmod -R u+rwx "$work"; rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

fail() {
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

# expect STATUS COMMAND...: runs it with its messages in the file `messages`.
expect() {
    local wanted=$1 status=0
    shift
    "$@" 2> "$work/messages" || status=$?
    [ "$status" -eq "$wanted" ] ||
        fail "status $status, not $wanted: $* ($(head -c 300 "$work/messages"))"
}

# The last expected command said this, on a single line that names the tool.
said() {
    grep -q -- "$1" "$work/messages" || fail "no '$1' in: $(cat "$work/messages")"
    [ "$(wc -l < "$work/messages")" -eq 1 ] || fail "not one line: $(cat "$work/messages")"
}

same() { cmp -s "$1" "$2" || fail "$1 and $2 differ ${3:-}"; }
absent() { [ ! -e "$1" ] || fail "$1 exists ${2:-}"; }
# Nothing but these names is in the directory: no temporary file has been left.
only() {
    local directory=$1 found
    shift
    found=$(cd "$directory" && find . -mindepth 1 | sed 's,^\./,,' | sort | tr '\n' ' ')
    [ "$found" = "$(printf '%s\n' "$@" | sort | tr '\n' ' ')" ] ||
        fail "in $directory: $found, expected: $*"
}

# text SIZE: words of uneven frequency. noise SIZE: bytes that do not compress. Always the same.
text() {
    awk -v size="$1" 'BEGIN { srand(7); while (n < size) {
        w = "word" int(exp(rand() * 7)) (rand() < .1 ? ".\n" : " "); printf "%s", w;
        n += length(w) } }' | head -c "$1"
}
noise() {
    LC_ALL=C awk -v size="$1" 'BEGIN { srand(11); for (n = 0; n < size; ++n)
        printf "%c", int(rand() * 256) }' | head -c "$1"
}

finish() { exit "$((failures > 0))"; }
