#!/bin/sh
# SPDX-License-Identifier: MIT
# Builds the library and make_box for 64 and for 32 bits, runs both, and compares files and answers byte by
# byte. Argument: a directory to build in. CXX and CC choose the compilers; they must know -m32.
set -eu
cd "$(dirname "$0")/../.."
source=$(pwd)
work=$1
mkdir -p "$work"
work=$(cd "$work" && pwd)

for bits in 32 64; do
    cmake -S . -B "$work/$bits" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF \
        -DBXD_BUILD_TOOLS=OFF -DCMAKE_C_FLAGS=-m$bits -DCMAKE_CXX_FLAGS=-m$bits >"$work/$bits.log"
    cmake --build "$work/$bits" --target bxd >>"$work/$bits.log" || { cat "$work/$bits.log"; exit 1; }
    "${CC:-cc}" -m$bits -std=c11 -Wall -Wextra -Werror -Iinclude tests/portability/make_box.c \
        -o "$work/make_box-$bits" "$work/$bits/libbxd.so" -Wl,-rpath,"$work/$bits"
    rm -f "$work/made-$bits.box"
    (cd "$work" && ./make_box-$bits made.box "$source/LICENSE" >answers-$bits.txt 2>messages-$bits.txt &&
        mv made.box made-$bits.box)
done

cmp "$work/made-32.box" "$work/made-64.box"
cmp "$work/answers-32.txt" "$work/answers-64.txt"
echo "32 and 64 bits make the same box: $(tail -n 1 "$work/answers-64.txt")"
