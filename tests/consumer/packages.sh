#!/usr/bin/env bash
# Makes the Debian packages and looks into them; nothing is installed.
# Usage: packages.sh BUILD_FOLDER LIBDIR
set -euo pipefail

build=$1 libdir=$2
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

(cd "$build" && cpack -G DEB -B "$stage" > /dev/null)
cd "$stage"
files() { dpkg-deb -c "$1" | awk '$1 !~ /^d/ && $2 == "root/root" { print substr($6, 7) }' | sort | tr '\n' ' '; }
field() { dpkg-deb -f "$1" "$2"; }

library=$(echo libzeldct7-5.2_*.deb) dev=$(echo libzeldct7-dev_*.deb) tool=$(echo zeldc_*.deb)
[ "$(files "$library")" = "$libdir/libzeldct7.so.5.2 share/doc/libzeldct7-5.2/copyright " ] ||
    fail "$(files "$library")"
case $(files "$dev") in *libzeldct7.so.5.2* | *bin/*) fail "$(files "$dev")" ;; esac
[ "$(files "$tool")" = "bin/zeldc share/bash-completion/completions/zeldc share/doc/zeldc/copyright \
share/man/man1/zeldc.1 share/zsh/vendor-completions/_zeldc " ] || fail "$(files "$tool")"
dpkg-deb -I "$library" triggers | grep -q ldconfig || fail 'no trigger'
for package in "$dev" "$tool"; do
    field "$package" Depends | grep -q "libzeldct7-5.2 (= $(field "$library" Version))" ||
        fail "$package needs $(field "$package" Depends)"
done

# Unpacked side by side they work: the command finds the library, and asks for no newer libc than it
# says; pkg-config finds header and library.
for package in "$library" "$dev" "$tool"; do dpkg-deb -x "$package" root; done
echo text | root/usr/bin/zeldc gzip | gzip -dc | grep -qx text || fail 'the command does not run'
case $(field "$library" Architecture):$(file -L root/usr/"$libdir"/libzeldct7.so) in
    i386:*80386* | amd64:*x86-64*) ;;
    *) fail "architecture $(field "$library" Architecture)" ;;
esac
newest=$(objdump -T root/usr/bin/zeldc | grep -o 'GLIBC_[0-9.]*' | sort -uV | tail -1)
declared=$(field "$tool" Depends | sed 's/.*libc6 (>= \([0-9.]*\)).*/\1/')
dpkg --compare-versions "${newest#GLIBC_}" le "$declared" || fail "$newest is newer than $declared"
[ -e "$(PKG_CONFIG_PATH=root/usr/$libdir/pkgconfig pkg-config --variable=includedir zeldc)/zeldc.h" ] ||
    fail 'pkg-config'
