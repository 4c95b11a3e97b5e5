#!/usr/bin/env bash
# kor eval, run as a user runs it: output, messages on standard error, exit codes.
set -u
kor=$1
source "$(dirname "$0")/check.bash"
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
finish "kor eval"
