#!/bin/sh
# Installs the built tree into a scratch prefix, then builds and runs a consumer against it,
# once through find_package and once through pkg-config.
set -eu
build="$1"; src="$(cd "$(dirname "$0")" && pwd)"
work="$(mktemp -d)"; trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" > "$work/install.log"
libdir="$(ls -d "$work"/prefix/lib*/ | head -n1)"
for f in libzeli.so.10 libzelcore.so.10 pkgconfig/zel.pc cmake/zel/zelConfig.cmake; do
    test -e "$libdir/$f" || { echo "missing from the install: $f"; exit 1; }
done
test -e "$work/prefix/include/zel/zel_api.h"

cmake -S "$src" -B "$work/cm" -DCMAKE_PREFIX_PATH="$work/prefix" > "$work/cm.log"
cmake --build "$work/cm" > "$work/cmb.log"
"$work/cm/zel_consumer"

PKG_CONFIG_PATH="$libdir/pkgconfig" cc -std=c99 -o "$work/pc_consumer" "$src/consumer.c" \
    $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs zel)
LD_LIBRARY_PATH="$libdir" "$work/pc_consumer"
