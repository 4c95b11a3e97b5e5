#!/usr/bin/env bash
# kor linsolve, invert, poly, spline and lagrange on small files.
set -u
kor=$1
source "$(dirname "$0")/check.bash"
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
printf '2,1,5\n1,3,10\n' > "$dir/system.csv"
printf '# two right-hand sides\n0,2,1,7,4\n1,1,1,6,3\n\n2,1,3,13,10\n' > "$dir/two.csv"
printf '2,0\n0,4\n' > "$dir/diag.csv"
printf '2,1\n1,2\n' > "$dir/sym.csv"
printf '2,1\n0,2\n' > "$dir/unsymmetric.csv"
printf '1,2\n2,4\n' > "$dir/singular.csv"
printf '1,2,3\n2,4,6\n' > "$dir/singular-system.csv"
printf '0,0\n1,1\n2,0\n' > "$dir/hat.csv"
printf '3,81\n0,0\n4,256\n1,1\n2,16\n' > "$dir/quartic.csv"
printf '1,2\n3\n' > "$dir/ragged.csv"
printf '1,2\n3,abc\n' > "$dir/text.csv"
: > "$dir/empty.csv"
printf '1,2\n3,inf\n' > "$dir/infinite.csv"
printf '1,nan\n3,4\n' > "$dir/nan.csv"

check solve 0 $'x1 = 1\nx2 = 3\nID = 0' "" -- linsolve "$dir/system.csv"
check solve-two 0 $'x1 = 1, -1\nx2 = 2, 0\nx3 = 3, 4\nID = 0' "" -- linsolve "$dir/two.csv"
check solve-singular 1 "ID = 1" "singular" -- linsolve "$dir/singular-system.csv"
check solve-square 3 "" "needs at least 3 columns" -- linsolve "$dir/diag.csv"
check invert 0 $'0.5,0\n0,0.25\nID = 0' "" -- invert "$dir/diag.csv"
check invert-singular 1 "ID = 1" "singular" -- invert "$dir/singular.csv"
check invert-ragged 3 "" "ragged.csv:2: 1 values where line 1 has 2" -- invert "$dir/ragged.csv"
check invert-text 3 "" "text.csv:2: column 2: \"abc\" is not a number" -- invert "$dir/text.csv"
check invert-infinite 3 "" "infinite.csv:2: column 2: \"inf\" is not a finite number" -- invert "$dir/infinite.csv"
check solve-nan 3 "" "nan.csv:1: column 2: \"nan\" is not a finite number" -- linsolve "$dir/nan.csv"
check invert-empty 3 "" "empty.csv: no numbers" -- invert "$dir/empty.csv"
check invert-missing 3 "" "cannot open" -- invert "$dir/none.csv"
check poly-general 0 $'0\n2' "" -- poly 1,-3,2 --at 2 3
check poly-monic 0 "0" "" -- poly -3,2 --monic --at 1
check poly-bad 3 "" "not a number" -- poly 1,y --at 1
check spline-values 0 $'0.59375\n-1.25' "" -- spline "$dir/hat.csv" --at 0.5 -1
check spline-slope 0 "1.0625" "" -- spline "$dir/hat.csv" --at 0.5 --derivative
check spline-integral 0 "1.3333333333333333" "" -- spline "$dir/hat.csv" --integral 0 2
check spline-order 3 "" "must increase" -- spline "$dir/quartic.csv" --at 1
check spline-slope-range 3 "" "strictly between" -- spline "$dir/hat.csv" --at 1 --start-slope 10000
check lagrange 0 "38.5" "" -- lagrange "$dir/quartic.csv" --at 2.5
check lagrange-points 0 "42.25" "" -- lagrange "$dir/quartic.csv" --at 2.5 --points 3
check lagrange-too-many 3 "" "exceeds" -- lagrange "$dir/hat.csv" --at 1 --points 5
check roots-real 0 $'1\n2\n3' "" -- roots 1,-6,11,-6
check roots-pair 0 $'-1\n1 + 2i\n1 - 2i' "" -- roots 1,-1,3,5
check roots-zero-lead 0 $'1\n2' "degree is 2" -- roots 0,1,-3,2
check roots-constant 3 "" "at least 2 coefficients" -- roots 5
check roots-all-zero 3 "" "at least 2 coefficients" -- roots 0,0,0
check eigen 0 $'lambda1 = 1\nlambda2 = 3\nsweeps = 1, rotations = 1' "" -- eigen "$dir/sym.csv"
check eigen-diagonal 0 $'lambda1 = 2: 1,0\nlambda2 = 4: 0,1\nsweeps = 0, rotations = 0' "" -- eigen "$dir/diag.csv" --vectors
check eigen-unsymmetric 1 "" "not symmetric" -- eigen "$dir/unsymmetric.csv"
check eigen-square 3 "" "must be square" -- eigen "$dir/system.csv"
finish "kor tables"
