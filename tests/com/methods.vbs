' Korvat and Interpret called from a script: script arrays (Variant arrays
' passed by reference two levels deep) are written in place, script variables
' are written back, script classes serve as the client function objects (the
' component reaches them through IDispatchEx), and errors arrive as
' Err.Number.  Expected values are worked out by hand in the comments.  The
' last line is the summary.
Option Explicit
Dim passed, failed, k, it
passed = 0
failed = 0

Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1: WScript.Echo "FAILED: " & what
End Sub

Function Near(a, b, tol)
  Near = Abs(a - b) <= tol
End Function

Class Circle       ' x1^2 + x2^2 = z(1) = 8, x1 = x2: the root (2, 2)
  Sub Fun(X, R, n, z)
    R(1) = X(1) ^ 2 + X(2) ^ 2 - z(1)
    R(2) = X(1) - X(2)
  End Sub
End Class

Class Growth       ' y' = y: y(1) = e from y(0) = 1
  Sub FKT(nn, x, Y, F, zz)
    F(1) = Y(1)
  End Sub
End Class

Class Bowl         ' (x1 - 1)^2 + (x2 + 2)^2 + 3: the minimum 3 at (1, -2)
  Function F(X)
    F = (X(1) - 1) ^ 2 + (X(2) + 2) ^ 2 + 3
  End Function
End Class

Class Failing
  Function F(X)
    Err.Raise 1234, "Failing", "the client's own error"
  End Function
End Class

Class Empty0
  Public Dummy
End Class

Set k = CreateObject("Kor.Korvat")
Set it = CreateObject("Kor.Interpret")
On Error Resume Next

' 2x + y = 5, x + 3y = 10, two cells holding their numbers as text: x = 1, y = 3.
Dim a(2, 3), id
a(1, 1) = "2": a(1, 2) = 1: a(1, 3) = "5": a(2, 1) = 1: a(2, 2) = 3: a(2, 3) = 10
k.Gauss 2, a, 1, id
Check Err.Number = 0 And id = 0 And Near(a(1, 3), 1, 1E-12) And Near(a(2, 3), 3, 1E-12), "Gauss: " & Err.Number & " id=" & id

' The spline through (0, 0), (1, 1), (2, 0) with natural ends has Y2 = (0, -1.5, 0);
' at 0.5 it is 0.5 + (0.125 - 0.5)(-1.5)/6 = 0.59375.  Sinterp keeps its knots from Npoc = 1.
Dim tx(3), ty(3), ipoc
tx(1) = 0: tx(2) = 1: tx(3) = 2: ty(1) = 0: ty(2) = 1: ty(3) = 0: ipoc = 0
Check Near(k.Sinterp(3, 1, tx, ty, 0.5, 10000, 10000, ipoc), 0.59375, 1E-14) And ipoc = 1, "Sinterp: ipoc=" & ipoc

' Script classes as Fun, FKT and F.
Dim nx(2), ipom(2), z(1), ry(1), zz(1), xb, xe, star, mx(2), itmax, fmin
nx(1) = 1: nx(2) = 3: ipom(1) = 1: ipom(2) = 2: z(1) = 8
k.Newton New Circle, 2, 2, 0, nx, ipom, z, id, 1E-10
Check Err.Number = 0 And id = 0 And Near(nx(1), 2, 1E-8) And Near(nx(2), 2, 1E-8), "Newton: " & Err.Description
ry(1) = 1: xb = 0: xe = 1: star = 0
k.Rkm New Growth, 1, xb, xe, ry, 1E-7, star, zz
Check Err.Number = 0 And Near(ry(1), Exp(1), 1E-6) And Near(xb, 1, 1E-12), "Rkm: " & Err.Description & " y=" & ry(1)
itmax = 500
fmin = k.Fmin1(New Bowl, 2, mx, 1E-10, itmax)
Check Err.Number = 0 And Near(fmin, 3, 1E-6) And Near(mx(1), 1, 1E-3) And itmax > 0 And itmax < 500, "Fmin1: itmax=" & itmax

' Errors, with their numbers.
Dim bad(1)
k.Gauss 2, bad, 1, id
Check Err.Number = 9 And Err.Description = "Subscript out of range", "Gauss on a short array: " & Err.Number
Err.Clear
k.Gaussd 2, a, 1, id
Check Err.Number = 13, "Gaussd with a Variant array: " & Err.Number
Err.Clear
fmin = k.Fmin(New Failing, 2, mx)
Check Err.Number = 1234, "the client's own error passes through: " & Err.Number
Err.Clear
fmin = k.Fmin(New Empty0, 2, mx)
Check Err.Number = 438, "a client without F: " & Err.Number
Err.Clear

' The interpreter and its solvers on texts, with the script's tables.
Dim pr(2, 2), yv(2), ipok, rov(2), ix(2), iz(10), er(1), ey(20), ez(10)
pr(1, 1) = "Z1": pr(1, 2) = 4: yv(1) = 3: yv(2) = 5: ipok = 0
Check it.Interp("Z1*Y[1]+Y[2]", ipok, pr, yv) = 17 And ipok >= 0, "Interp: ipok=" & ipok
ipok = -2
Check it.Interp("SQR(0-1)", ipok, pr, yv) = -9999 And ipok = -3, "Interp failure: ipok=" & ipok
rov(1) = "X[1]^2+X[2]^2-Z1": rov(2) = "X[1]-X[2]": ix(1) = 1: ix(2) = 3: iz(1) = 8
it.NewtonI rov, 2, 2, 0, ix, ipom, iz, id, 1E-10
Check Err.Number = 0 And id = 0 And Near(ix(1), 2, 1E-8) And Near(ix(2), 2, 1E-8), "NewtonI: " & Err.Description
iz(1) = 1: iz(2) = -2: ix(1) = 0: ix(2) = 0
fmin = it.FminI("(X[1]-Z1)^2+(X[2]-Z2)^2+3", 2, ix, iz, 1E-8)
Check Err.Number = 0 And Near(fmin, 3, 1E-6) And Near(ix(2), -2, 1E-3), "FminI: " & fmin
er(1) = "Y[1]": ey(1) = 1: xb = 0: xe = 1: star = 0
it.RkmI er, 1, xb, xe, ey, 1E-7, star, ez
Check Err.Number = 0 And Near(ey(1), Exp(1), 1E-6) And Near(xb, 1, 1E-12), "RkmI: " & Err.Description & " y=" & ey(1)

On Error GoTo 0
WScript.Echo passed & " passed, " & failed & " failed"
