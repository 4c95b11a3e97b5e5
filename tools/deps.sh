#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# only when something is missing.  With the Windows tools it also tries to add
# 32-bit Wine (wine32, an i386 package); when the archive cannot supply it,
# the i386 architecture is taken away again and the reason is kept in
# build/wine32-unavailable.txt, for tools/test-windows.sh to report.
set -euo pipefail
cd "$(dirname "$0")/.."
packages=(cmake g++ g++-multilib make pkg-config libgtest-dev libgmock-dev googletest libbenchmark-dev
          libcli11-dev libmuparser-dev libgsl-dev libopenblas-dev clang libclang-rt-14-dev ccache)
if [ "${KOR_WINDOWS:-1}" = 1 ]; then
  packages+=(wine wine64 mingw-w64 mingw-w64-tools libwine-dev nsis)
fi
# The Python module, its tests and its benchmark beside SciPy.
packages+=(python3-dev python3-pybind11 python3-numpy python3-pytest python3-scipy)
installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }
export DEBIAN_FRONTEND=noninteractive
missing=()
for p in "${packages[@]}"; do
  installed "$p" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  # A list that fails to download (a mirror in mid-sync) is no reason to stop:
  # the install below says whether what is needed could be had.
  apt-get update -qq || true
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

if [ "${KOR_WINDOWS:-1}" = 1 ] && ! installed wine32:i386; then
  mkdir -p build
  note=build/wine32-unavailable.txt
  added=0
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    dpkg --add-architecture i386
    added=1
  fi
  log=$(mktemp)
  if { apt-get update -qq; apt-get install -y -qq --no-install-recommends wine32:i386; } >"$log" 2>&1; then
    echo "installed wine32: the Windows tests run the 32-bit kor.dll too"
    rm -f "$note"
  else
    # apt's errors, on one line: typically a list that failed to download and
    # "generated breaks" (the archive's i386 lists are out of step with the
    # installed amd64 packages).
    grep -E '^E: ' "$log" | sed 's/^E: //' | paste -sd';' | sed 's/;/; /g' >"$note"
    [ -s "$note" ] || tail -n 1 "$log" >"$note"
    echo "wine32 could not be installed: $(cat "$note")"
    if [ "$added" = 1 ]; then
      dpkg --remove-architecture i386 2>/dev/null || true
      apt-get update -qq >/dev/null 2>&1 || true
    fi
  fi
  rm -f "$log"
fi
