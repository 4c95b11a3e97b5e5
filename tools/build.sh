#!/usr/bin/env bash
# Builds the library and the kor command (native, release with debug info).
set -euo pipefail
cd "$(dirname "$0")/.."
KOR_WINDOWS=0 bash tools/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -j"$(nproc)"
