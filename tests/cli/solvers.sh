#!/usr/bin/env bash
# kor solve, minimize and ode on problems whose answers are known in closed form.
set -u
kor=$1
source "$(dirname "$0")/check.bash"
value() { echo "(substr(l[$1], index(l[$1], \"= \") + 2) + 0)"; }  # the number after "= " on line $1

# x + y = 3, x - y = 1: (2, 1); the first step is damped to 0.8 (relative
# correction 1), the second lands, the third is tiny.
check linear 0 $'X[1] = 2\nX[2] = 1\nconverged after 3 iterations' "" -- solve "X[1]+X[2]-3" "X[1]-X[2]-1" --x 1,1
# x^2 + 1 = 0 has no real root: the limit of 5 iterations ends it.
holds no-root 1 'l[n] == "iteration limit after 6 iterations"' -- solve "X[1]^2+1" --x 1 --niter 5
# Only X[2] is an unknown: X[1] = 4 is a parameter, X[2] = sqrt(4) = 2.
holds parameter 0 "l[1] == \"X[1] = 4\" && ($(value 2) - 2) ^ 2 < 1e-16" -- solve "X[2]^2-X[1]" --x 4,1 --unknowns 2 --eps 1e-9
holds sqrt2 0 "($(value 1) - 1.4142135623730951) ^ 2 < 1e-18" -- solve "X[1]^2-Z1" --x 1 --z 2 --eps 1e-10
# The minimum of (x-1)^2 + (y-2)^2 by both methods.
for method in rosenbrock simplex; do
  holds "minimize-$method" 0 "($(value 1) - 1) ^ 2 < 1e-8 && ($(value 2) - 2) ^ 2 < 1e-8" -- \
    minimize "(X[1]-Z1)^2+(X[2]-Z2)^2" --x 0,0 --z 1,2 --method $method
done
# A constant function never converges: the limit message and exit 1.
check constant 1 $'X[1] = 104603532.02000004\nF = 1\niteration limit after 21 trial steps' \
  "FMIN: Překročen max.počet iterací   20" -- minimize "Z1" --x 0 --z 1 --itmax 20
check bad-method 3 "" "" -- minimize "X[1]^2" --x 1 --method newton
# y' = y from 0 to 1 ends at e; y' = x from 0 to 2 is x^2/2 exactly (Merson is exact for it).
holds ode-growth 0 'l[1] == "x,y1" && n == 6 && l[6] ~ /^1,/ && (substr(l[6], 3) - exp(1)) ^ 2 < 1e-12' -- \
  ode "Y[1]" --y0 1 --from 0 --to 1 --points 4 --delta 1e-8
check ode-quadrature 0 $'x,y1\n0,0\n1,0.5\n2,2' "" -- ode "Y[0]" --y0 0 --from 0 --to 2 --points 2
# A bound below 1E-8 is taken as 1E-4: the same table as --delta 1e-4.
floor=$("$kor" ode "Y[1]" --y0 1 --from 0 --to 1 --delta 1e-4)
check ode-delta-floor 0 "$floor" "" -- ode "Y[1]" --y0 1 --from 0 --to 1 --delta 1e-9
svg=$(mktemp --suffix=.svg)
holds ode-plot 0 'n == 32 && l[32] ~ /^3,/' -- ode "Y[2]" "-Y[1]" --y0 0,1 --from 0 --to 3 --points 30 --plot "$svg"
[ "$(grep -c '<polyline' "$svg")" = 2 ] || fail "ode-plot-lines"
rm -f "$svg"
check ode-count 3 "" "one starting value per equation" -- ode "Y[1]" --y0 1,2 --from 0 --to 1
check ode-backwards 3 "" "--to must be greater than --from" -- ode "Y[1]" --y0 1 --from 1 --to 0
check solve-runtime-error 2 "" "kor solve: runtime error 11: Division by zero" -- solve "X[1]/0" --x 1
finish "kor solvers"
