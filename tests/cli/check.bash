# Sourced by the command tests: check NAME EXPECTED_EXIT EXPECTED_STDOUT
# EXPECTED_STDERR_SUBSTRING -- ARGS... runs "$kor" ARGS and compares.
failures=0
check() {
  local name=$1 want_rc=$2 want_out=$3 want_err=$4
  shift 5
  local out err rc errfile
  errfile=$(mktemp)
  out=$("$kor" "$@" 2>"$errfile"); rc=$?
  err=$(cat "$errfile")
  rm -f "$errfile"
  if [ "$rc" != "$want_rc" ] || [ "$out" != "$want_out" ] || [[ "$err" != *"$want_err"* ]]; then
    echo "FAIL $name: rc=$rc out='$out' err='$err'"
    failures=$((failures + 1))
  fi
}
finish() {
  [ "$failures" = 0 ] && echo "$1: all checks passed"
  exit "$failures"
}
