#!/usr/bin/env bash
# Installs what is missing, builds every target and runs every test:
# the native suite, the same suite under AddressSanitizer and
# UndefinedBehaviorSanitizer, the same suite as a 32-bit program, and the
# Windows component under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/deps.sh
jobs=$(nproc)

echo "== native build and tests"
cmake --preset default >/dev/null
cmake --build --preset default -j"$jobs"
ctest --preset default -j"$jobs"

echo "== sanitizer build and tests"
cmake --preset asan >/dev/null
cmake --build --preset asan -j"$jobs"
ctest --preset asan -j"$jobs"

# The numerics of the 32-bit kor.dll: the suite as a 32-bit program with the
# DLL's arithmetic (SSE2) and its layout of doubles in structures (8-byte
# aligned, as on Windows), against the same expected values.  The install
# check is left out: it builds and tests the 64-bit library again.
echo "== 32-bit build and tests (m32)"
cmake --preset m32 >/dev/null
cmake --build --preset m32 -j"$jobs"
ctest --preset m32 -j"$jobs" -E '^install\.'

if [ -f tools/test-windows.sh ]; then
  echo "== Windows component under Wine"
  bash tools/test-windows.sh
fi
