#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# only when something is missing.
set -euo pipefail
packages=(cmake g++ make pkg-config libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev
          libmuparser-dev libgsl-dev libopenblas-dev clang libclang-rt-14-dev)
if [ "${KOR_WINDOWS:-1}" = 1 ]; then
  packages+=(wine wine64 mingw-w64 mingw-w64-tools libwine-dev googletest)
fi
# The Python module, its tests and its benchmark beside SciPy.
packages+=(python3-dev python3-pybind11 python3-numpy python3-pytest python3-scipy)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
