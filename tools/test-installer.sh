#!/usr/bin/env bash
# The installer under Wine, once for all users and once for the current user,
# each time in a fresh Wine prefix:
#   1. the installer runs silently (/S);
#   2. the files are where the mode puts them, the classes in the mode's
#      registry (the user's own classes for a per-user install);
#   3. for all users: the installed script examples run under cscript from
#      the installed folder (no build tree in sight) and print what they must;
#   4. per user: the test client finds both classes in the user's classes
#      and makes objects from the DLL they name;
#   5. the uninstaller from the uninstall key runs silently, and no key,
#      value or file of kor is left.
# Usage: tools/test-installer.sh SETUP.EXE CLIENT.EXE
# Prints one line per step, "PASS ..." or "FAIL ...", and exits non-zero if
# any failed.
set -uo pipefail
cd "$(dirname "$0")/.."
setup=$(realpath "$1")
client=$(realpath "$2")
# Debian's wine runs 32- and 64-bit programs alike once wine32 is there.
wine=$(command -v wine || command -v wine64 || echo /usr/lib/wine/wine64)
wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="

failures=0
pass() { echo "PASS  $1"; }
fail() { echo "FAIL  $1"; failures=$((failures + 1)); }

# What counts as kor's in the registry: its five identifiers, its ProgIDs,
# its uninstall key, paths into its folder.
uuids=$(grep -oiE 'uuid\([0-9a-f-]+\)' com/kor.idl | sed -E 's/uuid\((.*)\)/\1/' | paste -sd'|')
kor_re="$uuids|Kor\.(Korvat|Interpret)|Uninstall\\\\KOR\]|\\\\KOR\\\\|kor\.dll"
clsids=$(grep -oiE 'uuid\([0-9a-f-]+\)' com/kor.idl | sed -n '3p;5p' | sed -E 's/uuid\((.*)\)/\1/' | paste -sd'|')

# Every key and value under HKLM\Software and HKCU\Software, one per line as
# "[key]" or "[key] name=value".
snapshot() {
  local hive
  for hive in 'HKLM\Software' 'HKCU\Software'; do
    "$wine" reg export "$hive" "$WINEPREFIX/export.reg" /y >/dev/null 2>&1 || continue
    iconv -f UTF-16 -t UTF-8 "$WINEPREFIX/export.reg" | tr -d '\r' |
      awk '/^\[.*\]$/ { key = $0; print key; next } NF && key != "" { print key " " $0 }'
  done | sort -u
}
files() { (cd "$WINEPREFIX/drive_c" && find . | sort); }

# The output the examples must print, worked out by hand: 2x + y = 5,
# x + 3y = 10 has x = 1, y = 3; [[4, 7], [2, 6]] has the inverse
# [[0.6, -0.7], [-0.2, 0.4]]; x^3 - 6x^2 + 11x - 6 has the roots 1, 2, 3;
# sin^2 + cos^2 = 1; x^2 + y^2 = 8, x = y has the root (2, 2).
declare -A expected=(
  [linear.vbs]="Gauss: x = 1.000000, y = 3.000000 (status 0)
Invert: 0.600000 -0.700000 / -0.200000 0.400000 (status 0)
LinBairstow: 1.000000 2.000000 3.000000"
  [interpret.vbs]="Interp: 2+3*4 = 14
Interp: SIN(Z1)^2+COS(Z1)^2 = 1.000000
NewtonI: x = 2.000000, y = 2.000000 (status 0)")

round_trip() {
  local mode=$1 folder hive before registered after added quiet exe args left dll
  export WINEPREFIX
  WINEPREFIX=$(mktemp -d "${TMPDIR:-/tmp}/kor-setup.XXXXXX")
  "$wine" wineboot -i >/dev/null 2>&1
  before=$(snapshot)
  local files_before
  files_before=$(files)

  if "$wine" "$setup" /S "/$mode"; then
    pass "$mode: silent install"
  else
    fail "$mode: silent install (exit $?)"
  fi
  registered=$(snapshot)
  added=$(comm -13 <(echo "$before") <(echo "$registered"))

  if [ "$mode" = AllUsers ]; then
    folder="$WINEPREFIX/drive_c/Program Files/KOR"
    hive=HKEY_LOCAL_MACHINE
  else
    folder=$(find "$WINEPREFIX/drive_c/users" -maxdepth 5 -type d -path '*/AppData/Local/Programs/KOR' | head -n 1)
    hive=HKEY_CURRENT_USER
  fi
  if [ -f "$folder/x64/kor.dll" ] && [ -f "$folder/docs/windows.md" ] && [ -f "$folder/examples/linear.vbs" ] &&
     [ -f "$folder/uninstall.exe" ]; then
    pass "$mode: files in ${folder#"$WINEPREFIX/"}"
  else
    fail "$mode: files missing in ${folder:-(no folder)}"
  fi
  # Each class registered in the mode's hive, and in no other.
  local here elsewhere
  here=$(grep -ciE "^\[$hive\\\\Software\\\\Classes\\\\CLSID\\\\\{($clsids)\}\\\\InprocServer32\] @=" <<<"$added")
  elsewhere=$(grep -iE "^\[HKEY_(LOCAL_MACHINE|CURRENT_USER)\\\\Software\\\\(Wow6432Node\\\\)?Classes\\\\(Wow6432Node\\\\)?(CLSID\\\\\{($clsids)\}|Kor\.)" <<<"$added" |
              grep -vc "^\[$hive\\\\Software\\\\Classes\\\\")
  if [ "$here" -eq 2 ] && [ "$elsewhere" -eq 0 ]; then
    pass "$mode: both classes registered under $hive only"
  else
    fail "$mode: classes registered under $hive: $here of 2, elsewhere: $elsewhere keys"
  fi

  # The examples, run from the installed folder by the installed component.
  # Only for all users: Wine's HKEY_CLASSES_ROOT shows the machine's classes
  # alone, so a script under Wine cannot create a class registered per user
  # (step 4 checks those registrations instead).
  local script output
  [ "$mode" = AllUsers ] && for script in "${!expected[@]}"; do
    output=$(cd "$folder/examples" && "$wine" cscript //nologo "$script" 2>&1 | tr -d '\r')
    if [ "$output" = "${expected[$script]}" ]; then
      pass "$mode: installed examples/$script prints the worked-out results"
    else
      printf '%s\n' "$output"
      fail "$mode: installed examples/$script"
    fi
  done

  if [ "$mode" = CurrentUser ]; then
    dll=$("$wine" winepath -w "$folder/x64/kor.dll" 2>/dev/null | tr -d '\r')
    if KOR_PER_USER_DLL="$dll" GTEST_BRIEF=1 "$wine" "$client" --gtest_filter='PerUser.*' | tr -d '\r' | grep -q '^\[  PASSED  \] 1 test'; then
      pass "$mode: the client finds both classes in the user's classes"
    else
      fail "$mode: the client does not find the classes in the user's classes"
    fi
  fi

  # The uninstaller as Windows would start it, from the uninstall key; it
  # runs a copy of itself from the temporary folder, so wait for it to end.
  quiet=$(grep -E 'Uninstall\\KOR\] "QuietUninstallString"=' <<<"$registered" | head -n 1 |
          sed -E 's/^[^=]*="(.*)"$/\1/; s/\\"/"/g; s/\\\\/\\/g')
  exe=$(sed -E 's/^"([^"]*)".*/\1/' <<<"$quiet")
  read -ra args <<<"$(sed -E 's/^"[^"]*" *//' <<<"$quiet")"
  if [ -n "$exe" ] && "$wine" "$exe" "${args[@]}" && "$wineserver" -w; then
    pass "$mode: silent uninstall ($quiet)"
  else
    fail "$mode: silent uninstall (${quiet:-no QuietUninstallString})"
  fi
  after=$(snapshot)
  left=$(comm -13 <(echo "$before") <(echo "$after") | grep -iE "$kor_re")
  # The uninstaller's copy ran from an empty folder of its own in the
  # temporary folder, which Windows removes at the next start.
  local new_files
  new_files=$(comm -13 <(echo "$files_before") <(files) | grep -vE '^\./users/[^/]+/(AppData/Local/)?Temp/~nsu[^/]*\.tmp$')
  if ! grep -qiE "$kor_re" <<<"$added"; then
    fail "$mode: the installation added nothing of kor to look for afterwards"
  elif [ -z "$left" ] && [ -z "$new_files" ]; then
    pass "$mode: no key, value or file of kor left"
  else
    printf '%s\n' "$left" "$new_files" | sed '/^$/d' | head -20
    fail "$mode: the uninstaller left keys, values or files"
  fi
  "$wineserver" -k >/dev/null 2>&1
  rm -rf "$WINEPREFIX"
}

round_trip AllUsers
round_trip CurrentUser
exit $((failures > 0))
