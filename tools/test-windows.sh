#!/usr/bin/env bash
# Builds kor.dll and its test client with the MinGW-w64 cross compiler, 64-bit
# (the `windows` preset) and 32-bit (`windows32`), and tests the component
# under Wine, in a fresh Wine prefix:
#   1. regsvr32 registers the DLL;
#   2. the test client (GoogleTest) runs with the ANSI code page 1250; it also
#      reads the 32-bit DLL's type library as a data file (KOR_TYPELIB32) and
#      compares it with the registered one;
#   3. every tests/com/*.vbs runs under cscript and must end with the line
#      "N passed, 0 failed";
#   4. the benchmark kor_com_bench.exe reports the call costs;
#   5. regsvr32 /u unregisters it, and every key the registration added must
#      be gone again;
#   6. per user: regsvr32 /n /i:user registers the classes in the user's
#      classes only, the client's PerUser test finds them there and makes
#      objects from the DLL they name, and regsvr32 /u /n /i:user removes
#      exactly what was added.
# With 32-bit Wine (wine32), steps 1-3 and 5 run again for the 32-bit DLL with
# the 32-bit client and syswow64's regsvr32 and cscript; without it the
# summary's last line says that this run was skipped and why.
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

for preset in windows windows32; do
  echo "== build: $preset preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j2
done
dll="$root/build/windows/kor.dll"
client="$root/build/windows/kor_com_tests.exe"

# 32-bit Wine: Debian's wine32 package adds the 32-bit loader beside wine64.
# tools/deps.sh tries to install it and, when it cannot, records why.
wine32=""
if [ -x /usr/lib/wine/wine ] && dpkg -s wine32:i386 >/dev/null 2>&1; then
  wine32=/usr/lib/wine/wine
elif [ -s build/wine32-unavailable.txt ]; then
  skipped32="wine32 could not be installed: $(head -n 1 build/wine32-unavailable.txt)"
else
  skipped32="wine32 is not installed (tools/deps.sh installs it, or records why it cannot)"
fi

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

# One bitness: $1 "64-bit" or "32-bit", then the loader, the folders of the
# build and of Windows' own programs for it, and the registry view of its keys.
# After an unregistration by $2: whether what the registration added
# ($prefix/added.txt) is gone.  Keys that other programs add meanwhile
# (cscript registers its own type library on first use) do not count.
check_removed() {
  local who=$1 how=$2
  snapshot "$prefix/after.txt"
  comm -12 "$prefix/added.txt" "$prefix/after.txt" >"$prefix/left.txt"
  if [ ! -s "$prefix/added.txt" ]; then
    fail "$who: registration added nothing that could be checked"
  elif [ -s "$prefix/left.txt" ]; then
    head -20 "$prefix/left.txt"
    fail "$who: $how left $(wc -l <"$prefix/left.txt") of the keys and values the registration added"
  else
    pass "$who: $how removed all $(wc -l <"$prefix/added.txt") keys and values the registration added"
  fi
}

run_component() {
  local bits=$1 loader=$2 build=$3 system=$4 view=$5
  local dll_win regsvr32=("$loader" "$system\\regsvr32.exe") reg=("$loader" "$system\\reg.exe")
  dll_win=$("$wine" winepath -w "$build/kor.dll" 2>/dev/null | tr -d '\r')
  key_exists() { "${reg[@]}" query "$1" >/dev/null 2>&1; }
  snapshot "$prefix/before.txt"

  echo "== $bits: regsvr32 kor.dll"
  if "${regsvr32[@]}" /s "$dll_win"; then
    missing=()
    for k in "${keys[@]}"; do
      if ! key_exists "$k"; then missing+=("$k"); fi
    done
    snapshot "$prefix/registered.txt"
    comm -13 "$prefix/before.txt" "$prefix/registered.txt" >"$prefix/added.txt"
    if [ ${#missing[@]} -eq 0 ]; then
      pass "$bits: regsvr32 registered kor.dll ($(wc -l <"$prefix/added.txt") keys and values added$view)"
    else
      fail "$bits: regsvr32 succeeded but keys are missing: ${missing[*]}"
    fi
  else
    fail "$bits: regsvr32 kor.dll (exit $?)"
  fi

  # The type library stores its Czech help strings as Windows-1250 bytes, which
  # read back exactly only with the ANSI code page 1250.  Wine derives the code
  # page from LC_ALL (LANG alone does not do it), and it does so even when glibc
  # has no cs_CZ.UTF-8 locale generated: the name is enough, so nothing needs
  # to be installed or generated for it.
  echo "== $bits: test client (code page 1250)"
  # The 64-bit client compares the 32-bit DLL's type library with the registered one.
  local typelib32=""
  [ "$bits" = 64-bit ] && typelib32=$dll32_win
  if env LC_ALL=cs_CZ.UTF-8 GTEST_BRIEF=1 KOR_TYPELIB32="$typelib32" "$loader" "$build/kor_com_tests.exe" \
       --gtest_filter=-PerUser.*; then
    pass "$bits: kor_com_tests.exe"
  else
    fail "$bits: kor_com_tests.exe"
  fi

  # cscript reads an argument that starts with "/" as an option, so scripts are
  # run from their folder by name.  It prints nothing when a script stops on an
  # error: a script proves it ran to its end by its summary line.
  for script in tests/com/*.vbs; do
    name=$(basename "$script")
    echo "== $bits: cscript $name"
    output=$(cd "$(dirname "$script")" && "$loader" "$system\\cscript.exe" //nologo "$name" 2>&1 | tr -d '\r') || true
    [ -n "$output" ] && printf '%s\n' "$output"
    last=$(printf '%s\n' "$output" | sed '/^[[:space:]]*$/d' | tail -n 1)
    if [[ $last =~ ^[0-9]+\ passed,\ 0\ failed$ ]]; then
      pass "$bits: $name: $last"
    elif [[ $last =~ ^[0-9]+\ passed,\ [0-9]+\ failed$ ]]; then
      fail "$bits: $name: $last"
    else
      fail "$bits: $name: no summary line (the script stopped early)"
    fi
  done

  # The call costs through the component, reported (a benchmark, not a test).
  if [ "$bits" = 64-bit ]; then
    echo "== call costs (kor_com_bench.exe)"
    if "$loader" "$build/kor_com_bench.exe" | tr -d '\r'; then
      pass "kor_com_bench.exe ran"
    else
      fail "kor_com_bench.exe"
    fi
  fi

  echo "== $bits: regsvr32 /u kor.dll"
  if "${regsvr32[@]}" /u /s "$dll_win"; then
    left=()
    for k in "${keys[@]}"; do
      if key_exists "$k"; then left+=("$k"); fi
    done
    if [ ${#left[@]} -ne 0 ]; then
      fail "$bits: regsvr32 /u left keys behind: ${left[*]}"
    else
      check_removed "$bits" "regsvr32 /u"
    fi
  else
    fail "$bits: regsvr32 /u kor.dll (exit $?)"
  fi
}

dll32_win=$("$wine" winepath -w "$root/build/windows32/kor.dll" 2>/dev/null | tr -d '\r')
run_component 64-bit "$wine" "$root/build/windows" 'C:\windows\system32' ""

# Per user, with the 64-bit DLL.  Wine's HKEY_CLASSES_ROOT shows the machine's
# classes only, so the client follows the user's classes itself; and Wine's
# RegisterTypeLibForUser registers the type library for the machine too, so
# only the classes are required to stay in the user's classes.
echo "== per user: regsvr32 /n /i:user kor.dll"
dll_win=$("$wine" winepath -w "$dll" 2>/dev/null | tr -d '\r')
snapshot "$prefix/before.txt"
if "$wine" regsvr32 /s /n /i:user "$dll_win"; then
  snapshot "$prefix/registered.txt"
  comm -13 "$prefix/before.txt" "$prefix/registered.txt" >"$prefix/added.txt"
  # The containers Software\Classes and its CLSID key are everybody's, even
  # where a fresh prefix gets them from this registration: not kor's to remove.
  grep -vxiE '\[HKEY_CURRENT_USER\\Software\\Classes(\\CLSID)?\]' "$prefix/added.txt" >"$prefix/own.txt" || true
  mv "$prefix/own.txt" "$prefix/added.txt"
  classes_re='\\(CLSID\\\{('"${uuids[2]}|${uuids[4]}"')\}|Kor\.(Korvat|Interpret))(\\|\])'
  user=$(grep -ciE '^\[HKEY_CURRENT_USER\\Software\\Classes'"$classes_re" "$prefix/added.txt" || true)
  machine=$(grep -iE "$classes_re" "$prefix/added.txt" | grep -civ '^\[HKEY_CURRENT_USER\\' || true)
  if [ "$user" -gt 0 ] && [ "$machine" -eq 0 ]; then
    pass "per user: the classes are in the user's classes only ($user keys and values)"
  else
    fail "per user: $user keys and values of the classes in the user's classes, $machine elsewhere"
  fi
else
  fail "per user: regsvr32 /n /i:user kor.dll (exit $?)"
fi
echo "== per user: test client"
if KOR_PER_USER_DLL="$dll_win" GTEST_BRIEF=1 "$wine" "$client" --gtest_filter='PerUser.*' | tr -d '\r' |
   tee "$prefix/per-user.txt" | grep -q '^\[  PASSED  \] 1 test'; then
  pass "per user: the client finds both classes in the user's classes and makes their objects"
else
  cat "$prefix/per-user.txt"
  fail "per user: the client does not find both classes in the user's classes"
fi
echo "== per user: regsvr32 /u /n /i:user kor.dll"
if "$wine" regsvr32 /s /u /n /i:user "$dll_win"; then
  check_removed "per user" "regsvr32 /u /n /i:user"
else
  fail "per user: regsvr32 /u /n /i:user kor.dll (exit $?)"
fi

if [ -n "$wine32" ]; then
  run_component 32-bit "$wine32" "$root/build/windows32" 'C:\windows\syswow64' " in the 32-bit view"
fi

echo
echo "== summary ($((SECONDS - started)) s)"
printf '%s\n' "${results[@]}"
if [ "$failures" -ne 0 ]; then
  echo "$failures step(s) failed"
else
  echo "all Windows component tests passed"
fi
# Last, so that it is the closing note of every run.
if [ -z "$wine32" ]; then echo "SKIP  32-bit Wine run: $skipped32"; fi
[ "$failures" -eq 0 ]
