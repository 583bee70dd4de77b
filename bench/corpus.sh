#!/usr/bin/env bash
# Makes the benchmark corpus from what the system holds: text, source and binary, 8 MB each.
# Usage: bench/corpus.sh FOLDER   (files that are there already are kept)
set -eu  # no pipefail: head ends its pipes early on purpose

readonly folder=${1:?usage: bench/corpus.sh FOLDER}
readonly size=8000000
mkdir -p "$folder"

# Writes up to $size bytes of the files whose names arrive on standard input.
gather() {
    local file=$folder/$1
    [ -s "$file" ] && { cat > /dev/null; return; }
    { xargs -r -d '\n' cat 2> /dev/null || true; } | head -c "$size" > "$file.part" || true
    mv "$file.part" "$file"
}

# English text: documentation and the manual pages, unpacked.
if [ ! -s "$folder/text" ]; then
    { find /usr/share/perl /usr/share/doc /usr/share/common-licenses -type f \
        \( -name '*.pod' -o -name 'copyright' -o -name '*.txt' -o -name 'GPL-*' -o -name 'README*' \) |
        LC_ALL=C sort | xargs -r -d '\n' cat 2> /dev/null || true
      find /usr/share/man/man1 /usr/share/doc -name '*.gz' -type f | LC_ALL=C sort |
        xargs -r -d '\n' gzip -dc 2> /dev/null || true
    } | head -c "$size" > "$folder/text.part" || true
    mv "$folder/text.part" "$folder/text"
fi
find /usr/include -type f -name '*.h' | LC_ALL=C sort | gather source
find /usr/lib/gcc -type f -name 'cc1plus' | LC_ALL=C sort | gather binary

for file in text source binary; do
    [ "$(stat -c %s "$folder/$file")" -ge 1000000 ] || echo "note: $folder/$file is short" >&2
done
