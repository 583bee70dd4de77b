#!/usr/bin/env bash
# Installs the build into a folder of its own and builds the consumer against it twice: through the
# CMake package and through pkg-config.
# Usage: check.sh BUILD_FOLDER C_COMPILER LIBDIR [C flags...]
set -euo pipefail

build=$1 compiler=$2 libdir=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT

cmake --install "$build" --prefix "$stage/usr" > /dev/null
for file in include/zeldc.h "$libdir/libzeldct7.so" "$libdir/libzeldct7.so.5.2"; do
    [ -e "$stage/usr/$file" ] || { echo "not installed: $file"; exit 1; }
done

cmake -S "$here" -B "$stage/build" -DCMAKE_PREFIX_PATH="$stage/usr" \
    -DCMAKE_C_COMPILER="$compiler" -DCMAKE_C_FLAGS="$*" > /dev/null
cmake --build "$stage/build" > /dev/null
"$stage/build/consumer"

flags=$(PKG_CONFIG_PATH="$stage/usr/$libdir/pkgconfig" pkg-config --cflags --libs zeldc)
# shellcheck disable=SC2086  # flags are words
"$compiler" "$@" -std=c99 -pedantic-errors -Wall -Wextra -Werror "$here/consumer.c" $flags \
    -o "$stage/consumer"
LD_LIBRARY_PATH="$stage/usr/$libdir" "$stage/consumer"
