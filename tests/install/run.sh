#!/usr/bin/env bash
# Installs kor into a scratch prefix and builds a separate project that finds
# it with find_package(kor) and links kor::kor.
set -euo pipefail
src=$1
work=$2
rm -rf "$work"
mkdir -p "$work"
cmake -S "$src" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DKOR_BUILD_TESTS=OFF -DKOR_BUILD_CLI=OFF -DKOR_BUILD_PYTHON=OFF >/dev/null
cmake --build "$work/build" -j2 >/dev/null
cmake --install "$work/build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/tests/install/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
out=$("$work/consumer/consumer")
echo "consumer printed: $out"
[ "$out" = "14" ]
