#!/usr/bin/env bash
# Installs what is missing, builds every target and runs every test:
# the native suite, the same suite under AddressSanitizer and
# UndefinedBehaviorSanitizer, and the Windows component under Wine.
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

if [ -f tools/test-windows.sh ]; then
  echo "== Windows component under Wine"
  bash tools/test-windows.sh
fi
