#!/usr/bin/env bash
# kor solve, minimize and ode on problems whose answers are known in closed form.
set -u
kor=$1
source "$(dirname "$0")/check.bash"

# Two linear equations, x + y = 3 and x - y = 1: (2, 1); the first step is
# damped to 0.8 (relative correction 1), the second lands, the third is tiny.
check linear 0 "X[1] = 2
X[2] = 1
converged after 3 iterations" "" -- solve "X[1]+X[2]-3" "X[1]-X[2]-1" --x 1,1
# x^2 + 1 = 0 has no real root: the limit of 5 iterations ends it.
out=$("$kor" solve "X[1]^2+1" --x 1 --niter 5); rc=$?
if [ "$rc" != 1 ] || [[ "$out" != *"iteration limit after 6 iterations" ]]; then
  echo "FAIL no-root: rc=$rc out='$out'"; failures=$((failures + 1))
fi
# Only X[2] is an unknown: X[1] = 4 is a parameter, X[2] = sqrt(4) = 2.
out=$("$kor" solve "X[2]^2-X[1]" --x 4,1 --unknowns 2 --eps 1e-9); rc=$?
if [ "$rc" != 0 ] || ! awk -v o="$out" 'BEGIN { split(o, l, "\n"); split(l[2], f, " = ");
    exit !(l[1] == "X[1] = 4" && (f[2] - 2) ^ 2 < 1e-16) }'; then
  echo "FAIL parameter: rc=$rc out='$out'"; failures=$((failures + 1))
fi
# sqrt(2) from X[1]^2 - Z1 with Z1 = 2.
out=$("$kor" solve "X[1]^2-Z1" --x 1 --z 2 --eps 1e-10); rc=$?
if [ "$rc" != 0 ] || ! awk -v o="$out" 'BEGIN { split(o, l, "\n"); split(l[1], f, " = ");
    exit !((f[2] - 1.4142135623730951) ^ 2 < 1e-18) }'; then
  echo "FAIL sqrt2: rc=$rc out='$out'"; failures=$((failures + 1))
fi

# Minimum of (x-1)^2 + (y-2)^2 by both methods.
for method in rosenbrock simplex; do
  out=$("$kor" minimize "(X[1]-Z1)^2+(X[2]-Z2)^2" --x 0,0 --z 1,2 --method $method); rc=$?
  if [ "$rc" != 0 ] || ! awk -v o="$out" 'BEGIN { split(o, l, "\n"); split(l[1], a, " = "); split(l[2], b, " = ");
      exit !((a[2] - 1) ^ 2 < 1e-8 && (b[2] - 2) ^ 2 < 1e-8) }'; then
    echo "FAIL minimize-$method: rc=$rc out='$out'"; failures=$((failures + 1))
  fi
done
# A constant function never converges: the limit message and exit 1.
check constant 1 "X[1] = 104603532.02000004
F = 1
iteration limit after 21 trial steps" "FMIN: Překročen max.počet iterací   20" -- minimize "Z1" --x 0 --z 1 --itmax 20
check bad-method 3 "" "" -- minimize "X[1]^2" --x 1 --method newton

# y' = y from 0 to 1: e at the end; y' = x from 0 to 2: x^2/2 exactly (Merson is exact for it).
out=$("$kor" ode "Y[1]" --y0 1 --from 0 --to 1 --points 4 --delta 1e-8); rc=$?
if [ "$rc" != 0 ] || ! awk -v o="$out" 'BEGIN { n = split(o, l, "\n"); split(l[n], f, ",");
    exit !(l[1] == "x,y1" && n == 6 && f[1] == 1 && (f[2] - exp(1)) ^ 2 < 1e-12) }'; then
  echo "FAIL ode-growth: rc=$rc out='$out'"; failures=$((failures + 1))
fi
# A bound below 1E-8 is taken as 1E-4: the same table as --delta 1e-4.
if [ "$("$kor" ode "Y[1]" --y0 1 --from 0 --to 1 --delta 1e-9)" != "$("$kor" ode "Y[1]" --y0 1 --from 0 --to 1 --delta 1e-4)" ]; then
  echo "FAIL ode-delta-floor"; failures=$((failures + 1))
fi
check ode-quadrature 0 "x,y1
0,0
1,0.5
2,2" "" -- ode "Y[0]" --y0 0 --from 0 --to 2 --points 2
svg=$(mktemp --suffix=.svg)
"$kor" ode "Y[2]" "-Y[1]" --y0 0,1 --from 0 --to 3 --points 30 --plot "$svg" > /dev/null
if [ "$(grep -c '<polyline' "$svg")" != 2 ]; then
  echo "FAIL ode-plot: $(head -c 200 "$svg")"; failures=$((failures + 1))
fi
rm -f "$svg"
check ode-count 3 "" "one starting value per equation" -- ode "Y[1]" --y0 1,2 --from 0 --to 1
check ode-backwards 3 "" "--to must be greater than --from" -- ode "Y[1]" --y0 1 --from 1 --to 0
check solve-runtime-error 2 "" "kor solve: runtime error 11: Division by zero" -- solve "X[1]/0" --x 1
finish "kor solvers"
