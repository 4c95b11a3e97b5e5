# Sourced by the command tests.
#   check NAME RC STDOUT STDERR_PART -- ARGS...   runs "$kor" ARGS and compares
#   holds NAME RC AWK_CONDITION -- ARGS...         the condition, over the lines
#                                                  l[1..n] of standard output, holds
failures=0
run_kor() {
  local errfile
  errfile=$(mktemp)
  out=$("$kor" "$@" 2>"$errfile"); rc=$?
  err=$(cat "$errfile")
  rm -f "$errfile"
}
fail() { echo "FAIL $1: rc=$rc out='$out' err='$err'"; failures=$((failures + 1)); }
check() {
  local name=$1 want_rc=$2 want_out=$3 want_err=$4
  shift 5
  run_kor "$@"
  if [ "$rc" != "$want_rc" ] || [ "$out" != "$want_out" ] || [[ "$err" != *"$want_err"* ]]; then fail "$name"; fi
}
holds() {
  local name=$1 want_rc=$2 condition=$3
  shift 4
  run_kor "$@"
  if [ "$rc" != "$want_rc" ] || ! awk -v o="$out" "BEGIN { n = split(o, l, \"\\n\"); exit !($condition) }"; then
    fail "$name"
  fi
}
finish() {
  [ "$failures" = 0 ] && echo "$1: all checks passed"
  exit "$failures"
}
