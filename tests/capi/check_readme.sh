#!/bin/sh
# SPDX-License-Identifier: MIT
# Compiles the program that stands in the README as it stands there, runs it, and expects what the README says
# that it prints.
# Arguments: README WORK CC INCLUDE LIBRARY
set -eu
readme=$1 work=$2 cc=$3 include=$4 library=$5

rm -rf "$work"
mkdir -p "$work"
sed -n '/^```c$/,/^```$/p' "$readme" | sed '/^```/d' >"$work/program.c"
"$cc" -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$include" "$work/program.c" -o "$work/program" \
    "$library" -Wl,-rpath,"$(dirname "$library")"
cd "$work"
expected=$(sed -n 's/^It prints `\(.*\)`\..*/\1/p' "$readme")
printed=$(./program)
if [ -z "$expected" ] || [ "$printed" != "$expected" ]; then
    echo "the README says \"$expected\", its program \"$printed\"" >&2
    exit 1
fi
