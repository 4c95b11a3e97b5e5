#!/usr/bin/env bash
# kor eval, run as a user runs it: output, messages on standard error, exit codes.
set -u
kor=$1
failures=0
check() {  # check NAME EXPECTED_EXIT EXPECTED_STDOUT EXPECTED_STDERR_SUBSTRING -- ARGS...
  local name=$1 want_rc=$2 want_out=$3 want_err=$4
  shift 5
  local out err rc
  out=$("$kor" "$@" 2>/tmp/kor-eval-err.$$); rc=$?
  err=$(cat /tmp/kor-eval-err.$$)
  if [ "$rc" != "$want_rc" ] || [ "$out" != "$want_out" ] || [[ "$err" != *"$want_err"* ]]; then
    echo "FAIL $name: rc=$rc out='$out' err='$err'"
    failures=$((failures + 1))
  fi
}
check precedence 0 14 "" -- eval "2+3*4"
check paren-minus 0 5 "" -- eval "-(2+3)"
check unary-power 0 4 "" -- eval "-2^2"
check table 0 6.25 "" -- eval "(Y[1]-Z1)^2" --z 1.5 --y 0,4
check second-row 0 -3 "" -- eval "Z1*Z2" --z 1.5,-2
check sqr-zero 1 "" "Interpret: Odmocnina: záporný argument  0" -- eval "SQR(0)"
check unknown-name 1 "" "Interpret: Proměnná Z3 nenalezena!" -- eval "Z3+1" --z 1,2
check quiet 1 "" "status -2" -- eval "Z3+1" --z 1,2 --level -1
check space 1 "" "Mezery ve výrazu jsou nepřípustné!" -- eval "1 + 2"
check division 2 "" "runtime error 11: Division by zero" -- eval "1/0"
check bad-list 3 "" "not a number" -- eval "Z1" --z 1,x
check too-many 3 "" "at most 10" -- eval "Z1" --z 1,2,3,4,5,6,7,8,9,10,11
check no-text 3 "" "" -- eval
rm -f /tmp/kor-eval-err.$$
[ "$failures" = 0 ] && echo "kor eval: all checks passed"
exit "$failures"
