# Which files are read, written, replaced and removed, with which attributes, messages and exit
# status, beyond what side_by_side_test.sh compares with gzip and bzip2.
source "$(dirname "$0")/support.sh"

text 40000 > plain
fresh() {
    chmod -R u+rwx d 2> /dev/null
    rm -rf d
    mkdir d
    for name in "$@"; do cp plain "d/$name"; done
}

# Names, and what becomes of the input.
fresh a
expect 0 "$tool" compress -f bz2 d/a
only d a.bz2
expect 0 "$tool" decompress d/a
expect 0 "$tool" gzip -o d/no -o d/other d/a
only d a other
expect 0 "$tool" decompress -o d/back d/other
same d/back plain
expect 1 "$tool" gzip -o '' d/a
said 'empty name'
only d a back other
expect 2 "$tool" gunzip d/a
said 'unknown suffix'
mkfifo pipe
cat pipe > piped.gz &
expect 0 "$tool" gzip -o pipe d/a
wait $!
gzip -dc piped.gz | cmp -s - plain || fail 'output to a pipe with a name'
[ -p pipe ] || fail 'the pipe has been replaced'
fresh a.gz
expect 0 "$tool" gzip d/a.gz
said 'already has'
expect 0 "$tool" bzip2 -d -z d/a.gz
only d a.gz.bz2

# Mode and time come along; the stored name and time on request.
fresh a
chmod 640 d/a
touch -d '2001-02-03 04:05:06.5' d/a
before=$(stat -c '%a %u %g %y' d/a)
expect 0 "$tool" gzip d/a
[ "$(stat -c '%a %u %g %y' d/a.gz)" = "$before" ] || fail 'attributes of the compressed file'
[ "$(gzip -lv d/a.gz | awk 'NR == 2 { print $NF }')" = d/a ] || fail 'gzip lists it'
mv d/a.gz d/b.gz
touch d/b.gz
expect 0 "$tool" gunzip -N d/b.gz
only d a
[ "$(stat -c %Y d/a)" = "$(date -d '2001-02-03 04:05:06' +%s)" ] || fail 'stored time'
"$tool" gzip -nc d/a > one.gz
mv d/a d/c
touch d/c
"$tool" gzip -nc d/c | cmp -s - one.gz || fail '-n stores something'
# A stored name leads nowhere else.
printf '\037\213\010\010\0\0\0\0\0\003../../evil\0' > d/e.gz
gzip -nc plain | tail -c +11 >> d/e.gz
expect 0 "$tool" gunzip -N d/e.gz
only d c evil

# All optional fields of a header, with its checksum, right and wrong.
python3 - plain << 'EOF'
import sys, zlib, struct
plain = open(sys.argv[1], 'rb').read()
head = b'\x1f\x8b\x08\x1f' + struct.pack('<I', 86400) + b'\0\3' + struct.pack('<H', 5) + b'extra'
head += b'name\0' + b'comment\0'
body = zlib.compress(plain, 6)[2:-4] + struct.pack('<II', zlib.crc32(plain), len(plain))
crc = zlib.crc32(head) & 0xffff
open('fields.gz', 'wb').write(head + struct.pack('<H', crc) + body)
open('wrong.gz', 'wb').write(head + struct.pack('<H', crc ^ 1) + body)
EOF
expect 0 "$tool" gunzip -k fields.gz
same fields plain
expect 1 "$tool" gunzip wrong.gz
said "header's checksum"

# Nothing is overwritten without -f, not even what appears meanwhile.
fresh a
echo mine > d/a.gz
expect 2 "$tool" gzip -q d/a < /dev/null
said 'already exists'
[ "$(cat d/a.gz)" = mine ] || fail 'overwritten'
only d a a.gz
expect 0 "$tool" gzip -f d/a
expect 1 "$tool" gzip -f -o d/a.gz d/a.gz
said 'same file'

fresh a
echo mine > d/target
ln -s target d/link
expect 0 "$tool" gzip -f -o d/link d/a
[ -L d/link ] || fail 'the link of an output has been replaced'
gzip -dc d/target | cmp -s - plain || fail 'output through a link'

# Closed standard files: no other file takes their place.
fresh
gzip -c plain > d/a.gz
echo garbage >> d/a.gz
(exec "$tool" gunzip -v d/a.gz >&- 2>&-)
only d a
same d/a plain 'without standard files'
expect 1 "$tool" gzip -c d/a >&-
said 'cannot write'
expect 1 "$tool" gzip <&- > /dev/null
said 'cannot read'

# Kinds of inputs that are passed over.
fresh a b
ln d/b d/b2
ln -s a d/link
mkdir d/sub
expect 2 "$tool" gzip d/b < /dev/null
said 'other links'
expect 2 "$tool" gzip -k d/link
said 'symbolic link'
expect 2 "$tool" gzip d/sub
said 'directory'
expect 1 "$tool" gzip $'d/no\nne'
said 'd/no?ne: cannot open: No such file'
only d a b b2 link sub

# Several files, one of them bad, and whole trees.
fresh a c
echo no > d/b.gz
gzip d/a d/c
expect 1 "$tool" gunzip d/a.gz d/b.gz d/c.gz
said 'd/b.gz: offset 0'
only d a b.gz c
fresh x y
mkdir d/sub
cp plain d/sub/z
expect 0 "$tool" bzip2 -r d
only d sub sub/z.bz2 x.bz2 y.bz2
expect 0 "$tool" bunzip2 -rq d
only d sub sub/z x y

# Reports.
fresh a b
expect 0 "$tool" gzip -v d/a
said 'd/a:.*% -- replaced with d/a.gz'
gzip d/b
TZ=UTC0 gzip -lv d/a.gz d/b.gz | awk 'NR > 1 { print $2, $3, $4, $5, $7, $9 }' > wanted
TZ=UTC0 "$tool" gunzip -lv d/a.gz d/b.gz | awk 'NR > 1 { print $2, $3, $4, $5, $7, $9 }' > listed
same listed wanted 'listing'
"$tool" decompress -lN d/a.gz | grep -q '^ *[0-9]* *40000 .*d/a$' || fail 'listing with the stored name'
"$tool" bzip2 -k d/a.gz
"$tool" decompress -lv d/a.gz.bz2 | grep -q '^bzip2' || fail 'listing of .bz2'
for command in 'gzip --no-such-option' 'gzip -j 0 d/a' 'bzip2 -j 1000 d/a' 'gzip -o' nonsense ''; do
    expect 1 "$tool" $command
    said '^zeldc: '
done
"$tool" --version | grep -q '^zeldc [0-9.]*$' || fail 'version'
printf a > one
for command in 'sum plain' 'stages one' 'gunzip -l d/b.gz' '--help'; do
    [ ! -e /dev/full ] || { expect 1 "$tool" $command > /dev/full; said 'cannot write'; }
done

# What cannot be written, or read.
if [ "$(id -u)" -ne 0 ]; then
    fresh a
    chmod 500 d
    expect 1 "$tool" gzip d/a
    said 'cannot create'
    chmod 700 d
    chmod 000 d/a
    expect 1 "$tool" gzip d/a
    said 'cannot open'
fi
fresh
head -c 300000 /dev/urandom > d/big
for command in gzip bzip2; do
    expect 1 bash -c "ulimit -f 40; exec '$tool' $command d/big"
    said 'd/big: cannot write'
    only d big
done
[ ! -e /dev/full ] || { expect 1 "$tool" gzip -c d/big > /dev/full; said 'cannot write'; }

# Signals in the midst of the work end it without a trace, and leave the input.
fresh
for _ in $(seq 40); do cat plain; head -c 300000 /dev/urandom; done > d/big
for signal in INT TERM HUP PIPE QUIT XCPU; do
    env --default-signal=$signal "$tool" bzip2 -j 3 d/big 2> /dev/null &
    child=$!
    for _ in $(seq 100); do
        [ -n "$(find d -name '.zeldc-*')" ] && break
        sleep 0.02
    done
    [ -n "$(find d -name '.zeldc-*')" ] || fail 'no temporary file appears'
    kill -$signal $child
    wait $child 2> /dev/null
    [ $? -eq $((128 + $(kill -l $signal))) ] || fail "did not die of $signal"
    only d big
done
finish
