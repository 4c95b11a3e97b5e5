' Every method family of Korvat and Interpret called from a script with
' script arrays (arrays of Variants passed by reference, two levels deep),
' and script classes as the client function objects.  Expected values are
' worked out by hand in the comments.  The last line is the summary.
Option Explicit

Dim passed, failed
passed = 0
failed = 0

Sub Check(ok, what)
  If ok Then
    passed = passed + 1
  Else
    failed = failed + 1
    WScript.Echo "FAILED: " & what
  End If
End Sub

Function Near(a, b, tol)
  Near = Abs(a - b) <= tol
End Function

' ---- client function objects ----
Class Circle       ' x1^2 + x2^2 = 8, x1 = x2: the root (2, 2)
  Public Calls
  Sub Fun(X, R, n, z)
    Calls = Calls + 1
    R(1) = X(1) ^ 2 + X(2) ^ 2 - z(1)
    R(2) = X(1) - X(2)
  End Sub
End Class

Class Growth       ' y' = y: y(1) = e from y(0) = 1
  Sub FKT(nn, x, Y, F, zz)
    F(1) = Y(1)
  End Sub
End Class

Class Bowl         ' (x1 - 1)^2 + (x2 + 2)^2 + 3: minimum 3 at (1, -2)
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

Dim k, it
Set k = CreateObject("Kor.Korvat")
Set it = CreateObject("Kor.Interpret")

On Error Resume Next

' ---- Gauss: 2x + y = 5, x + 3y = 10 gives x = 1, y = 3 ----
Dim a(2, 3), id
a(1, 1) = 2: a(1, 2) = 1: a(1, 3) = 5
a(2, 1) = 1: a(2, 2) = 3: a(2, 3) = 10
k.Gauss 2, a, 1, id
Check Err.Number = 0 And id = 0 And Near(a(1, 3), 1, 1E-12) And Near(a(2, 3), 3, 1E-12), _
      "Gauss: " & Err.Number & " id=" & id & " " & a(1, 3) & " " & a(2, 3)
Err.Clear
' A singular system: the second row is twice the first.
a(1, 1) = 1: a(1, 2) = 2: a(1, 3) = 3
a(2, 1) = 2: a(2, 2) = 4: a(2, 3) = 6
k.Gauss 2, a, 1, id
Check id = 1, "Gauss singular: id=" & id
' Numbers in strings and integers read as numbers.
a(1, 1) = "2": a(1, 2) = 1: a(1, 3) = "5"
a(2, 1) = 1: a(2, 2) = 3: a(2, 3) = 10
k.Gauss 2, a, 1, id
Check id = 0 And Near(a(2, 3), 3, 1E-12), "Gauss with strings: id=" & id
Err.Clear

' ---- Invert: diag(2, 4) gives diag(0.5, 0.25); the input stays ----
Dim ap(2, 2), ai(2, 2), n
ap(1, 1) = 2: ap(1, 2) = 0: ap(2, 1) = 0: ap(2, 2) = 4
n = 2
k.Invert n, ap, ai, id
Check Err.Number = 0 And id = 0 And ai(1, 1) = 0.5 And ai(2, 2) = 0.25 And ai(1, 2) = 0 And ap(1, 1) = 2, _
      "Invert: " & Err.Number & " id=" & id & " " & ai(1, 1) & " " & ai(2, 2)
Err.Clear

' ---- Polyn: x^2 - 3x + 2 is 0 at 2 and 2 at 3 ----
Dim c(3), x
c(1) = 1: c(2) = -3: c(3) = 2
x = 3
Check k.Polyn(-2, x, c) = 2, "Polyn general at 3"
x = 1
Dim m(2): m(1) = -3: m(2) = 2
Check k.Polyn(2, x, m) = 0, "Polyn monic at 1"
Err.Clear

' ---- LinBairstow: x^3 - 6x^2 + 11x - 6 has the roots 1, 2, 3 ----
Dim p(4), xr(3), xi(3)
p(1) = 1: p(2) = -6: p(3) = 11: p(4) = -6
k.LinBairstow 3, p, xr, xi, 1E-12
Check Err.Number = 0 And Near(xr(1), 1, 1E-12) And Near(xr(2), 2, 1E-12) And Near(xr(3), 3, 1E-12) _
      And xi(1) = 0 And xi(3) = 0, "LinBairstow real: " & Err.Number & " " & xr(1) & " " & xr(2) & " " & xr(3)
Err.Clear
' x^2 - 2x + 5: 1 + 2i and 1 - 2i.
Dim q(3), qr(2), qi(2)
q(1) = 1: q(2) = -2: q(3) = 5
k.LinBairstow 2, q, qr, qi, 0
Check Near(qr(1), 1, 1E-14) And Near(qi(1), 2, 1E-14) And Near(qr(2), 1, 1E-14) And Near(qi(2), -2, 1E-14), _
      "LinBairstow pair: " & qr(1) & "+" & qi(1) & "i, " & qr(2) & "+" & qi(2) & "i"
Err.Clear

' ---- Rutishauser: [[2, 1], [1, 2]] has 1 with (1, -1)/sqrt 2 and 3 with (1, 1)/sqrt 2 ----
Dim s(2, 2), b(2), u(2, 2), t1, t2, sw, h
s(1, 1) = 2: s(1, 2) = 1: s(2, 1) = 1: s(2, 2) = 2
h = Sqr(0.5)
k.Rutishauser 2, s, b, u, t1, t2, sw
Check Err.Number = 0 And t1 = 0 And Near(b(1), 1, 1E-14) And Near(b(2), 3, 1E-14) _
      And Near(u(1, 1), h, 1E-14) And Near(u(2, 1), -h, 1E-14) And Near(u(2, 2), h, 1E-14), _
      "Rutishauser: " & Err.Number & " tag1=" & t1 & " " & b(1) & " " & b(2)
Err.Clear
s(2, 1) = 0
k.Rutishauser 2, s, b, u, t1, t2, sw
Check t1 = 2, "Rutishauser unsymmetric: tag1=" & t1
' eigvec False: U is not touched.
s(2, 1) = 1: u(1, 1) = 42
k.Rutishauser 2, s, b, u, t1, t2, sw, False
Check u(1, 1) = 42 And Near(b(2), 3, 1E-14), "Rutishauser without vectors"
Err.Clear

' ---- Flagr: the table is sorted by abscissa in place ----
Dim fx(5), fy(5), fxi
fx(1) = 3: fx(2) = 0: fx(3) = 4: fx(4) = 1: fx(5) = 2
fy(1) = 81: fy(2) = 0: fy(3) = 256: fy(4) = 1: fy(5) = 16
fxi = 2.5
Check Near(k.Flagr(5, fx, fy, fxi), 38.5, 1E-12) And fx(1) = 0 And fy(3) = 16, "Flagr: sorted table " & fx(1)
Err.Clear

' ---- the spline family on the hat (0, 0), (1, 1), (2, 0) with natural ends ----
' The library's own interior recurrence (not the textbook one): sig = 1/2,
' p = 2, W(1) = -1 - 1/p = -1.5, so Y2 = (0, -1.5, 0).  At 0.5:
' 0.5 + (0.125 - 0.5)(-1.5)/6 = 0.59375; the slope 1 + (0.75 - 1)(-1.5)/6 =
' 1.0625; over 0..2 (not strictly inside the knots) one Simpson panel,
' (2/6)(0 + 4 + 0) = 4/3.
Dim sx(2), sy(2), sy2(2), xx, ipoc
sx(0) = 0: sx(1) = 1: sx(2) = 2
sy(0) = 0: sy(1) = 1: sy(2) = 0
k.Spline 0, 2, sx, sy, 10000, 10000, sy2
Check Err.Number = 0 And sy2(0) = 0 And Near(sy2(1), -1.5, 1E-14) And sy2(2) = 0, "Spline: " & Err.Number & " " & sy2(1)
Check Near(k.Splinp(0, 2, sx, sy, sy2, 0.5), 0.59375, 1E-14), "Splinp"
Dim i0, i2: i0 = 0: i2 = 2: xx = 0.5
Check Near(k.Splder(i0, i2, sx, sy, sy2, xx), 1.0625, 1E-14), "Splder"
Check Near(k.Splint(0, 2, sx, sy, sy2, 0, 2), 4 / 3, 1E-14), "Splint"
' Sinterp on positions 1..3 (Npoc = 1): the same spline, computed and kept.
Dim tx(3), ty(3)
tx(1) = 0: tx(2) = 1: tx(3) = 2
ty(1) = 0: ty(2) = 1: ty(3) = 0
ipoc = 0
Check Near(k.Sinterp(3, 1, tx, ty, 0.5, 10000, 10000, ipoc), 0.59375, 1E-14) And ipoc = 1, "Sinterp: ipoc=" & ipoc
Err.Clear

' ---- Newton with a script class as Fun ----
Dim g, nx(2), ipom(2), z(1)
Set g = New Circle
g.Calls = 0
nx(1) = 1: nx(2) = 3: ipom(1) = 1: ipom(2) = 2: z(1) = 8
Dim iters
iters = k.Newton(g, 2, 2, 0, nx, ipom, z, id, 1E-10)
Check Err.Number = 0 And id = 0 And Near(nx(1), 2, 1E-8) And Near(nx(2), 2, 1E-8) And g.Calls > 0, _
      "Newton: " & Err.Number & " " & Err.Description & " id=" & id & " x=" & nx(1) & ", " & nx(2)
Err.Clear

' ---- Rkm with a script class as FKT: y' = y from 0 to 1 ----
Dim gr, ry(1), zz(1), xb, xe, star
Set gr = New Growth
ry(1) = 1: xb = 0: xe = 1: star = 0
k.Rkm gr, 1, xb, xe, ry, 1E-7, star, zz
Check Err.Number = 0 And Near(ry(1), Exp(1), 1E-6) And Near(xb, 1, 1E-12), _
      "Rkm: " & Err.Number & " " & Err.Description & " y=" & ry(1) & " xb=" & xb
Err.Clear

' ---- the minimisers with a script class as F ----
Dim bowl, mx(2), itmax, fmin
Set bowl = New Bowl
mx(1) = 0: mx(2) = 0
fmin = k.Fmin(bowl, 2, mx, 1E-8)
Check Err.Number = 0 And Near(fmin, 3, 1E-6) And Near(mx(1), 1, 1E-3) And Near(mx(2), -2, 1E-3), _
      "Fmin: " & Err.Number & " " & Err.Description & " " & fmin & " at " & mx(1) & ", " & mx(2)
Err.Clear
mx(1) = 0: mx(2) = 0: itmax = 500
fmin = k.Fmin1(bowl, 2, mx, 1E-10, itmax)
Check Err.Number = 0 And Near(fmin, 3, 1E-6) And Near(mx(1), 1, 1E-3) And itmax > 0 And itmax <= 500, _
      "Fmin1: " & Err.Number & " " & fmin & " itmax=" & itmax
Err.Clear

' ---- errors ----
Dim bad(1)
k.Gauss 2, bad, 1, id
Check Err.Number = 9 And Err.Description = "Subscript out of range", "Gauss on a short array: " & Err.Number & " " & Err.Description
Err.Clear
Dim ov(2)
ov(1) = 1E300: ov(2) = 0
x = 1E300
k.Polyn -1, x, ov
Check Err.Number = 6, "Polyn overflow: " & Err.Number
Err.Clear
k.Gaussd 2, a, 1, id
Check Err.Number = 13, "Gaussd with a Variant array: " & Err.Number
Err.Clear
k.Gauss 2, "text", 1, id
Check Err.Number = 13, "Gauss with a text for the matrix: " & Err.Number
Err.Clear
fmin = k.Fmin(New Failing, 2, mx)
Check Err.Number = 1234, "the client's own error passes through: " & Err.Number
Err.Clear
fmin = k.Fmin(New Empty0, 2, mx)
Check Err.Number = 438, "a client without F: " & Err.Number
Err.Clear

' ---- Interpret ----
Dim pr(2, 2), yv(2), ipok
pr(1, 1) = "Z1": pr(1, 2) = 4
yv(1) = 3: yv(2) = 5
ipok = 0
Check it.Interp("2+3*4", ipok, pr, yv) = 14, "Interp 2+3*4"
ipok = 0
Check it.Interp("Z1*Y[1]+Y[2]", ipok, pr, yv) = 17 And ipok >= 0, "Interp Z1*Y[1]+Y[2]: ipok=" & ipok
ipok = -2
Check it.Interp("SQR(0-1)", ipok, pr, yv) = -9999 And ipok = -3, "Interp failure: ipok=" & ipok
Err.Clear

Dim rov(2), ix(2), iz(10)
rov(1) = "X[1]^2+X[2]^2-Z1": rov(2) = "X[1]-X[2]"
ix(1) = 1: ix(2) = 3: iz(1) = 8
iters = it.NewtonI(rov, 2, 2, 0, ix, ipom, iz, id, 1E-10)
Check Err.Number = 0 And id = 0 And Near(ix(1), 2, 1E-8) And Near(ix(2), 2, 1E-8), _
      "NewtonI: " & Err.Number & " " & Err.Description & " id=" & id & " " & ix(1) & ", " & ix(2)
Err.Clear
iz(1) = 1: iz(2) = -2
ix(1) = 0: ix(2) = 0
fmin = it.FminI("(X[1]-Z1)^2+(X[2]-Z2)^2+3", 2, ix, iz, 1E-8)
Check Err.Number = 0 And Near(fmin, 3, 1E-6) And Near(ix(1), 1, 1E-3) And Near(ix(2), -2, 1E-3), _
      "FminI: " & Err.Number & " " & fmin
Err.Clear
ix(1) = 0: ix(2) = 0
fmin = it.Fmin1I("(X[1]-Z1)^2+(X[2]-Z2)^2+3", 2, ix, iz, 1E-10)
Check Err.Number = 0 And Near(fmin, 3, 1E-6) And Near(ix(1), 1, 1E-3), "Fmin1I: " & Err.Number & " " & fmin
Err.Clear
Dim er(1), ey(20), ez(10)
er(1) = "Y[1]"
ey(1) = 1: xb = 0: xe = 1: star = 0
it.RkmI er, 1, xb, xe, ey, 1E-7, star, ez
Check Err.Number = 0 And Near(ey(1), Exp(1), 1E-6), "RkmI: " & Err.Number & " " & Err.Description & " y=" & ey(1)
Err.Clear

On Error GoTo 0
WScript.Echo passed & " passed, " & failed & " failed"
