' A linear system, an inverse and the roots of a polynomial with Kor.Korvat.
' Run it with:  cscript //nologo linear.vbs
Option Explicit
Dim k
Set k = CreateObject("Kor.Korvat")

' Six decimals are plenty to read the results by.
Function Show(v)
  Show = FormatNumber(v, 6)
End Function

' 2x + y = 5, x + 3y = 10.  Gauss replaces the right-hand side by the solution.
Dim a(2, 3), id
a(1, 1) = 2: a(1, 2) = 1: a(1, 3) = 5
a(2, 1) = 1: a(2, 2) = 3: a(2, 3) = 10
k.Gauss 2, a, 1, id
WScript.Echo "Gauss: x = " & Show(a(1, 3)) & ", y = " & Show(a(2, 3)) & " (status " & id & ")"

' The inverse of [[4, 7], [2, 6]] is [[0.6, -0.7], [-0.2, 0.4]].
Dim m(2, 2), inv(2, 2), n
m(1, 1) = 4: m(1, 2) = 7: m(2, 1) = 2: m(2, 2) = 6
n = 2
k.Invert n, m, inv, id
WScript.Echo "Invert: " & Show(inv(1, 1)) & " " & Show(inv(1, 2)) & " / " & _
             Show(inv(2, 1)) & " " & Show(inv(2, 2)) & " (status " & id & ")"

' x^3 - 6x^2 + 11x - 6 = (x - 1)(x - 2)(x - 3).
Dim p(4), xr(3), xi(3)
p(1) = 1: p(2) = -6: p(3) = 11: p(4) = -6
k.LinBairstow 3, p, xr, xi, 1E-12
WScript.Echo "LinBairstow: " & Show(xr(1)) & " " & Show(xr(2)) & " " & Show(xr(3))
