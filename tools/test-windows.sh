#!/usr/bin/env bash
# Builds kor.dll and its test client with the MinGW-w64 cross compiler (the
# `windows` preset) and tests the component under Wine, in a fresh Wine prefix:
#   1. regsvr32 registers the DLL;
#   2. the test client (GoogleTest) runs with the ANSI code page 1250;
#   3. every tests/com/*.vbs runs under cscript and must end with the line
#      "N passed, 0 failed";
#   4. the benchmark kor_com_bench.exe reports the call costs;
#   5. regsvr32 /u unregisters it, and every key the registration added must
#      be gone again.
# Exits non-zero if anything fails, after a summary of every step.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
started=$SECONDS

# Debian's wine64 package puts the 64-bit loader outside PATH.
wine=$(command -v wine64 || true)
if [ -z "$wine" ] && [ -x /usr/lib/wine/wine64 ]; then wine=/usr/lib/wine/wine64; fi
if [ -z "$wine" ]; then
  echo "test-windows: wine64 not found (tools/deps.sh installs it)" >&2
  exit 1
fi
wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)

echo "== build: windows preset"
cmake --preset windows >/dev/null
cmake --build --preset windows -j"$(nproc)"
dll="$root/build/windows/kor.dll"
client="$root/build/windows/kor_com_tests.exe"

# A prefix of our own, so no registration leaks between runs.  Mono and Gecko
# are not needed and their installers would only slow the first start down.
prefix=$(mktemp -d "${TMPDIR:-/tmp}/kor-wine.XXXXXX")
export WINEPREFIX="$prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
cleanup() {
  "$wineserver" -k >/dev/null 2>&1 || true
  rm -rf "$prefix"
}
trap cleanup EXIT

results=()
failures=0
pass() { results+=("PASS  $1"); }
fail() { results+=("FAIL  $1"); failures=$((failures + 1)); }

echo "== Wine prefix $prefix"
"$wine" wineboot -i >/dev/null 2>&1
dll_win=$("$wine" winepath -w "$dll" 2>/dev/null | tr -d '\r')

# The keys the registration adds, named from kor.idl: both ProgIDs and
# CLSIDs, the type library and both interfaces.
mapfile -t uuids < <(grep -oiE 'uuid\([0-9a-f-]+\)' com/kor.idl | sed -E 's/uuid\((.*)\)/\U\1/')
if [ ${#uuids[@]} -ne 5 ]; then
  echo "test-windows: expected 5 uuids in com/kor.idl, found ${#uuids[@]}" >&2
  exit 1
fi
# Order in kor.idl: library, _Korvat, Korvat, _Interpret, Interpret.
keys=("HKCR\\TypeLib\\{${uuids[0]}}"
      "HKCR\\Interface\\{${uuids[1]}}" "HKCR\\CLSID\\{${uuids[2]}}"
      "HKCR\\Interface\\{${uuids[3]}}" "HKCR\\CLSID\\{${uuids[4]}}"
      "HKCR\\Kor.Korvat" "HKCR\\Kor.Interpret")

key_exists() { "$wine" reg query "$1" >/dev/null 2>&1; }

# Every key and value under the classes roots, one per line as "[key]" or
# "[key] name=value", to tell what registration added and whether it is gone.
snapshot() {
  local out=$1 hive
  : >"$out"
  for hive in 'HKLM\Software\Classes' 'HKCU\Software\Classes'; do
    "$wine" reg export "$hive" "$prefix/export.reg" /y >/dev/null 2>&1 || continue
    iconv -f UTF-16 -t UTF-8 "$prefix/export.reg" | tr -d '\r' |
      awk '/^\[.*\]$/ { key = $0; print key; next } NF && key != "" { print key " " $0 }' >>"$out"
  done
  sort -u -o "$out" "$out"
}

snapshot "$prefix/before.txt"

echo "== regsvr32 kor.dll"
if "$wine" regsvr32 /s "$dll_win"; then
  missing=()
  for k in "${keys[@]}"; do
    if ! key_exists "$k"; then missing+=("$k"); fi
  done
  snapshot "$prefix/registered.txt"
  comm -13 "$prefix/before.txt" "$prefix/registered.txt" >"$prefix/added.txt"
  if [ ${#missing[@]} -eq 0 ]; then
    pass "regsvr32 registered kor.dll ($(wc -l <"$prefix/added.txt") keys and values added)"
  else
    fail "regsvr32 succeeded but keys are missing: ${missing[*]}"
  fi
else
  fail "regsvr32 kor.dll (exit $?)"
fi

# The type library stores its Czech help strings as Windows-1250 bytes, which
# read back exactly only with the ANSI code page 1250.  Wine derives the code
# page from LC_ALL (LANG alone does not do it), and it does so even when glibc
# has no cs_CZ.UTF-8 locale generated: the name is enough, so nothing needs
# to be installed or generated for it.
echo "== test client (code page 1250)"
if env LC_ALL=cs_CZ.UTF-8 GTEST_BRIEF=1 "$wine" "$client"; then
  pass "kor_com_tests.exe"
else
  fail "kor_com_tests.exe"
fi

# cscript reads an argument that starts with "/" as an option, so scripts are
# run from their folder by name.  It prints nothing when a script stops on an
# error: a script proves it ran to its end by its summary line.
for script in tests/com/*.vbs; do
  name=$(basename "$script")
  echo "== cscript $name"
  output=$(cd "$(dirname "$script")" && "$wine" cscript //nologo "$name" 2>&1 | tr -d '\r') || true
  [ -n "$output" ] && printf '%s\n' "$output"
  last=$(printf '%s\n' "$output" | sed '/^[[:space:]]*$/d' | tail -n 1)
  if [[ $last =~ ^[0-9]+\ passed,\ 0\ failed$ ]]; then
    pass "$name: $last"
  elif [[ $last =~ ^[0-9]+\ passed,\ [0-9]+\ failed$ ]]; then
    fail "$name: $last"
  else
    fail "$name: no summary line (the script stopped early)"
  fi
done

# The call costs through the component, reported (a benchmark, not a test).
echo "== call costs (kor_com_bench.exe)"
if "$wine" "$root/build/windows/kor_com_bench.exe" | tr -d '\r'; then
  pass "kor_com_bench.exe ran"
else
  fail "kor_com_bench.exe"
fi

echo "== regsvr32 /u kor.dll"
if "$wine" regsvr32 /u /s "$dll_win"; then
  left=()
  for k in "${keys[@]}"; do
    if key_exists "$k"; then left+=("$k"); fi
  done
  snapshot "$prefix/after.txt"
  # What registration added and is still there.  Keys that other programs
  # add meanwhile (cscript registers its own type library on first use) do
  # not count.
  comm -12 "$prefix/added.txt" "$prefix/after.txt" >"$prefix/left.txt"
  if [ ${#left[@]} -ne 0 ]; then
    fail "regsvr32 /u left keys behind: ${left[*]}"
  elif [ ! -s "$prefix/added.txt" ]; then
    fail "registration added nothing that could be checked"
  elif [ -s "$prefix/left.txt" ]; then
    head -20 "$prefix/left.txt"
    fail "regsvr32 /u left $(wc -l <"$prefix/left.txt") of the keys and values registration added"
  else
    pass "regsvr32 /u removed every key the registration added"
  fi
else
  fail "regsvr32 /u kor.dll (exit $?)"
fi

echo
echo "== summary ($((SECONDS - started)) s)"
printf '%s\n' "${results[@]}"
if [ "$failures" -ne 0 ]; then
  echo "$failures step(s) failed"
  exit 1
fi
echo "all Windows component tests passed"
