#!/usr/bin/env bash
# Builds both kor.dll (the windows and windows32 presets) and the installers
# with NSIS:
#   build/installer/kor-setup-VERSION.exe      the installer (a 32-bit program:
#                                              runs on every Windows)
#   build/installer/kor-setup-VERSION-x64.exe  the same as a 64-bit program, for
#                                              64-bit Windows without 32-bit support
# Prints the path of each installer.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
version=$(sed -nE 's/^project\(kor VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
[ -n "$version" ] || { echo "installer: no version in CMakeLists.txt" >&2; exit 1; }
command -v makensis >/dev/null || { echo "installer: makensis not found (tools/deps.sh installs nsis)" >&2; exit 1; }

for preset in windows windows32; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target kor_com -j2 >/dev/null
done

out="$root/build/installer"
mkdir -p "$out"
for variant in x86 x64; do
  file="$out/kor-setup-$version.exe"
  flags=()
  if [ "$variant" = x64 ]; then
    file="$out/kor-setup-$version-x64.exe"
    flags=(-DX64)
  fi
  makensis -V2 -WX "${flags[@]}" -DVERSION="$version" -DROOT="$root" \
    -DDLL64="$root/build/windows/kor.dll" -DDLL32="$root/build/windows32/kor.dll" \
    -DOUTFILE="$file" tools/kor-setup.nsi
  echo "$file"
done
