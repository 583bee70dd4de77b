# The same command lines given to gzip or bzip2 and to the tool, in directories that look alike: the
# exit status (of bzip2: whether it is 0), whether something is said, what standard output stands for,
# and the files left with their kinds, modes, links and contents have to be the same.
source "$(dirname "$0")/support.sh"

text 3000 > plain
gzip -k plain
bzip2 -k plain
export plain=$work/plain

restored() { gzip -dcf "$1" 2> /dev/null | bzip2 -dcf 2> /dev/null; }
# attempt NAME SETUP COMMAND...: leaves its traces in NAME.*
attempt() {
    local name=$1 setup=$2 status=0 file
    shift 2
    rm -rf "$name"
    mkdir "$name"
    (cd "$name" && eval "$setup")
    (cd "$name" && exec timeout 20 "$@") < "$input" > "$name.out" 2> "$name.err" || status=$?
    chmod -R u+rw "$name"
    {
        echo "status $status"
        [ ! -s "$name.err" ] || echo 'says something'
        (cd "$name" && find . -printf '%P %y %m %n\n' | sort)
        find "$name" -type f | sort | while IFS= read -r file; do restored "$file" | cksum; done
        restored "$name.out"
    } > "$name.trace"
}
# alike 'PEER' 'SETUP' ARGUMENTS...; standard input comes from the file $input.
input=/dev/null
alike() {
    local peer=$1 setup=$2
    shift 2
    attempt theirs "$setup" "$peer" "$@"
    attempt ours "$setup" "$tool" "$peer" "$@"
    [[ $peer == gzip || $peer == gunzip ]] || sed -i '1s/[^0]$/not 0/' theirs.trace ours.trace
    diff -a theirs.trace ours.trace > difference || fail "$peer $* after '$setup': $(cat difference ours.err)"
}

a='cp $plain a'
for format in 'gzip gunzip gz' 'bzip2 bunzip2 bz2'; do
    read -r make restore suffix <<< "$format"
    packed="cp \$plain.$suffix a.$suffix"
    # Outputs that are there already.
    for options in '' -k -c -f -kf -q -1; do
        alike $make "$a; $packed" $options a
        alike $restore "$a; $packed" $options a.$suffix
    done
    for options in --fast --best -9 -ck -v '-9 -1 -k'; do alike $make "$a" $options a; done
    # One bad file among several; several members, padding, garbage, nothing.
    for options in -t -tv -dk -dc -dv; do
        alike $make "$packed; cp a.$suffix b.$suffix; echo x > c.$suffix" $options a.$suffix c.$suffix b.$suffix
    done
    alike $restore "$packed; cat a.$suffix a.$suffix > b.$suffix" b.$suffix
    alike $restore "$packed; head -c 300 a.$suffix > b.$suffix" b.$suffix
    alike $make ': > a' a
    alike $restore ": > a.$suffix" a.$suffix
    # Suffixes, and names of every kind.
    alike $restore "$a" -cf a
    alike $restore "cp \$plain.$suffix a.t$suffix" a.t$suffix
    for name in none 'a b' $'a\nb' '[a]' '{}' '%%' sum ./-a '*'; do
        alike $make "$a; cp a ${name@Q}" "$name" a
    done
    alike $make "$a; mv a ./-k" -- -k
    # Links, modes, directories.
    alike $make "$a; chmod 640 a; ln -s a l" -c l
    for options in '' -f; do
        alike $make "$a; ln a l" $options l
        alike $make 'mkdir s' $options s
    done
    alike $make "$a; ln -s a l" -f l
    alike $make 'mkdir s; ln -s s l' -f l
    # Standard input, and what is no option.
    input=plain
    for options in '' - -c -k; do alike $make '' $options; done
    alike $restore '' -f
    alike $restore ''
    input=plain.$suffix
    alike $restore ''
    alike $make '' -dc
    alike $make '' -t -
    input=/dev/null
    alike $make "$a" --no-such-option a
done
# Where bzip2 has no such habit, or another one.
pack='cp $plain.gz a.gz'
alike gzip "$pack" a.gz
alike gzip "$pack" -f a.gz
alike gzip "$a; mkfifo p" p a
alike gzip "$a; chmod 4755 a" a
alike gzip "$a; chmod 1644 a" a
alike gunzip "$a" a
alike gunzip "$pack" a
alike gunzip 'cp $plain.gz A.GZ' A.GZ
alike gunzip "$pack; { cat a.gz; echo x; } > b.gz" b.gz
alike gunzip "$pack; { cat a.gz; head -c 700 /dev/zero; } > b.gz" -q b.gz
input=plain
alike gzip "$a" -c a -
input=/dev/null
for options in -r -rk -rt; do
    alike gzip 'mkdir -p s/t; cp $plain s/a; cp $plain s/t/b' $options s
    alike gunzip 'mkdir -p s/t; cp $plain.gz s/a.gz; cp $plain s/b; cp $plain.gz s/t/c.gz' $options s
done
alike gzip 'mkdir s; cp $plain s/a; cp $plain.gz s/c.gz' -r s
for options in -N -n -Nk -Nc; do
    alike gunzip 'cp $plain.gz m.gz' $options m.gz
    alike gunzip 'gzip -n < $plain > m.gz' $options m.gz
done
finish
