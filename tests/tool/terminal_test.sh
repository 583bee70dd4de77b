# What is shown and asked on a terminal, and nowhere else.
source "$(dirname "$0")/support.sh"

on_terminal() { timeout 60 python3 "$here/on_terminal.py" "$@"; }

text 200000 > plain
# More than a second's work, of known and of unknown size, on a wide and on a narrow terminal: the
# line never wraps, and is taken off at the end.
mkfifo slow
for columns in 100 30; do
    { cat plain; sleep 1.4; cat plain; } > slow &
    on_terminal $columns '' "$tool" bzip2 -o made slow > shown || fail "status on $columns columns"
    wait
    python3 - $columns shown << 'EOP' || fail "progress on $columns columns"
import re, sys
lines = re.split(rb'\r\x1b\[K', open(sys.argv[2], 'rb').read())
assert len(lines) >= 3 and lines[0] == lines[-1] == b'', lines
assert all(re.fullmatch(rb'slow +0\.\d MB +\d+\.\d MB/s', line) for line in lines[1:-1]), lines
assert all(len(line) < int(sys.argv[1]) for line in lines), lines
EOP
    rm made
done
# Each way of a chain is measured for a twentieth of a second at least, so this takes long as well.
on_terminal 100 '' bash -c "'$tool' stages plain > table" > shown || fail 'status of stages'
grep -aq 'stages  \[#*\.*\] .*% .* MB/s  0:[0-9]* left' shown || fail "no bar: $(cat shown)"
# Nothing for short work, and where there is no terminal.
on_terminal 100 '' "$tool" gzip -k plain > shown
[ ! -s shown ] || fail "short work shows $(cat shown)"
{ cat plain; sleep 1.3; cat plain; } | "$tool" gzip -o made 2> shown
[ ! -s shown ] || fail "without a terminal: $(cat shown)"

# Answers to the question whether to overwrite; one line is one answer.
for answer in y 'yes, please, all of them' n '' 'no yes yes yes yes yes yes'; do
    echo mine > plain.gz
    on_terminal 80 "$answer" "$tool" gzip -k plain > shown
    status=$?
    grep -q 'overwrite' shown || fail "no question: $(cat shown)"
    case $answer in
        y*) [ $status -eq 0 ] && gzip -t plain.gz ;;
        *) [ $status -eq 2 ] && grep -q mine plain.gz ;;
    esac || fail "answer '$answer': status $status"
done

# Compressed data and terminals.
for command in 'gzip -c plain' 'bzip2 -c plain' gunzip bunzip2 gzip; do
    on_terminal 80 '' "$tool" $command > shown
    [ $? -eq 1 ] || fail "$command on a terminal"
    grep -q 'terminal; -f forces it' shown || fail "$command says: $(cat shown)"
done
finish
