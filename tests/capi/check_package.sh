#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs the build BUILD under WORK/prefix and builds and runs the program in CONSUMER against it, first
# with find_package(bxd), then with the pkg-config file, from a prefix that was moved after installation.
# Arguments: CMAKE BUILD CONSUMER WORK LIBDIR CC GENERATOR MAKE
set -eu
cmake=$1 build=$2 consumer=$3 work=$4 libdir=$5 cc=$6 generator=$7 make=$8

rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/prefix"

"$cmake" -S "$consumer" -B "$work/build" -G "$generator" -DCMAKE_MAKE_PROGRAM="$make" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$work/prefix"
"$cmake" --build "$work/build"
"$work/build/consumer" "$work/by-cmake.box"

if command -v pkg-config >/dev/null; then
    export PKG_CONFIG_PATH="$work/prefix/$libdir/pkgconfig"
    flags=$(pkg-config --cflags --libs bxd)
    # The flags are a list of words.
    # shellcheck disable=SC2086
    "$cc" "$consumer/main.c" -o "$work/consumer-pc" $flags
    LD_LIBRARY_PATH="$work/prefix/$libdir" "$work/consumer-pc" "$work/by-pkg-config.box"
    cmp "$work/by-cmake.box" "$work/by-pkg-config.box"
fi
