' The component as a script sees it: script arrays and variables written where
' the method writes them (callbacks that look meanwhile see the method's values),
' untouched ones keeping their types, default properties, script classes called
' back, errors as Err.Number; each value worked out by hand.  Last line: "N passed, M failed".
Option Explicit
Dim passed, failed, k, s, watched, seen, a(2, 3), id, x(3), y(3), ipom(1), z(10), zz, star, xe, r, f, stage, stages, xi
Dim ipok, pr(1, 2), v(2), rov(1), n, inv(2, 2)
passed = 0: failed = 0

Sub Check(ok, what)  ' and clears the error the case left
  If ok Then passed = passed + 1 Else failed = failed + 1: WScript.Echo "FAILED: " & what
  Err.Clear
End Sub

Class Watcher     ' Fmin's F, (x - 1)^2: notes the script's itmax at each call
  Function F(X)
    seen = seen & "," & watched
    F = (X(1) - 1) ^ 2
  End Function
End Class

Class Equation    ' Newton's Fun, x^2 = 4: notes the script's ID at the first call
  Sub Fun(X, R, n, z)
    If seen = "" Then seen = TypeName(watched) & " " & watched
    R(1) = X(1) * X(1) - 4
  End Sub
End Class

Class Derivative  ' Rkm's FKT, y' = 1: notes the xb it gets if the script's variable holds the same
  Public redimY
  Sub FKT(nn, xb, Y, K, zz)
    If watched = xb Then seen = seen & "," & CSng(xb) Else seen = seen & ", xb " & xb & " but " & watched
    K(1) = 1
    ReDim zz(3)
    If redimY Then ReDim Y(5)
  End Sub
End Class

Class Failing
  Function F(X)
    Err.Raise 1234, "Failing", "the client's own error"
  End Function
End Class

Class Cell        ' a default property, as a spreadsheet's Range has
  Public v
  Public Default Property Get Value
    Value = v
  End Property
End Class

Set k = CreateObject("Kor.Korvat")
Set s = CreateObject("Kor.Interpret")
On Error Resume Next
' Fmin replaces a limit below 11 by 2000 before its first F.
x(1) = 0: watched = 5: seen = ""
r = k.Fmin(New Watcher, 1, x, 1E-3, watched)
Check Err.Number = 0 And seen <> "" And Replace(seen, ",2000", "") = "", "Fmin: F saw itmax" & Left(seen, 40)
' Newton writes ID = 0 before its first Fun; with Nothing, Fun's call is error 91.
x(1) = 1: ipom(1) = 1: watched = "unset": seen = ""
r = k.Newton(New Equation, 1, 1, 0, x, ipom, z, watched)
Check Err.Number = 0 And seen = "Integer 0" And Abs(x(1) - 2) < 1E-4, "Newton: Fun saw ID " & seen & ", x " & x(1)
watched = "unset": r = k.Newton(Nothing, 1, 1, 0, x, ipom, z, watched)
Check Err.Number = 91 And TypeName(watched) = "Integer" And watched = 0, "Nothing: " & Err.Number & " " & watched
' Rkm from 0 to 0.6 with Star > 0 tries the whole interval: t = 0.2, stages
' at 0, 0.2, 0.2, 0.3, 0.6; y' = 1 makes the error estimate 0 and that step
' stands: Y(1) = 1 + 0.2 * (2 + (1 + 1) / 2) = 1.6, xb = 0.6, Star untouched.
y(1) = 1: ReDim zz(1): watched = 0: xe = CCur(0.6): star = CCur(1): seen = ""
Set f = New Derivative
k.Rkm f, 1, watched, xe, y, 1E-4, star, zz
For Each stage In Array(0, 0.2, 0.2, 0.3, 0.6)
  stages = stages & "," & CSng(stage)
Next
Check Err.Number = 0 And seen = stages, "Rkm: FKT saw xb" & seen
Check Abs(y(1) - 1.6) < 1E-12 And Abs(watched - 0.6) < 1E-12 And TypeName(star) = "Currency" And star = 1 _
      And TypeName(xe) = "Currency" And UBound(zz) = 3, "Rkm: " & y(1) & " " & watched & " " & TypeName(star) & " " & UBound(zz)
' Y is the method's own while it runs: re-dimensioning it is error 10.
f.redimY = True: watched = 0: k.Rkm f, 1, watched, xe, y, 1E-4, star, zz
Check Err.Number = 10 And UBound(y) = 3, "Rkm with ReDim Y: " & Err.Number & " " & UBound(y)
r = k.Fmin(New Failing, 1, x)
Check Err.Number = 1234, "the client's own error: " & Err.Number
r = k.Fmin(New Cell, 1, x)
Check Err.Number = 438, "a client without F: " & Err.Number
' Three points of y = 2x with M = 3: 5 at 2.5 exactly (-0.25 + 3 + 2.25); XI is only read.
x(1) = 1: x(2) = 2: x(3) = 3: y(1) = 2: y(2) = 4: y(3) = 6
Set xi = New Cell: xi.v = 2.5
r = k.Flagr(3, x, y, xi, 3)
Check Err.Number = 0 And r = 5 And IsObject(xi), "Flagr, XI a Cell: " & r & " " & TypeName(xi)
Set xi = New Failing: r = Empty
r = k.Flagr(3, x, y, xi, 3)
Check Err.Number = 438 And IsEmpty(r), "Flagr, XI without a default property: " & Err.Number
xi = CCur(2.5)
r = k.Flagr(3, x, y, xi, 3)
Check Err.Number = 0 And r = 5 And TypeName(xi) = "Currency", "Flagr, XI Currency: " & r & " " & TypeName(xi)
' 2x + y = 5, x + 3y = 10 with two cells holding their numbers as texts: x = 1, y = 3.
a(1, 1) = "2": a(1, 2) = 1: a(1, 3) = "5": a(2, 1) = 1: a(2, 2) = 3: a(2, 3) = 10
k.Gauss 2, a, 1, id
Check Err.Number = 0 And id = 0 And Abs(a(1, 3) - 1) < 1E-12 And Abs(a(2, 3) - 3) < 1E-12, "Gauss: " & id & " " & a(1, 3)
' A singular system (row 2 = 2 * row 1): ID = 1 over whatever the variable held.
a(1, 1) = 1: a(1, 2) = 2: a(1, 3) = 3: a(2, 1) = 2: a(2, 2) = 4: a(2, 3) = 6
For Each id In Array(Array(7, 8), CByte(7), New Cell)
  k.Gauss 2, a, 1, id
  Check Err.Number = 0 And TypeName(id) = "Integer" And id = 1, "Gauss, ID " & TypeName(id)
Next
' ID the very array Gauss works on, locked while it runs: error 10, and the array stays.
k.Gauss 2, a, 1, a
Check Err.Number = 10 And IsArray(a), "Gauss, ID the array: " & Err.Number
' Gauss with n = 0 never reads NCOL: an array there does no harm; with n = 1 it is error 13.
k.Gauss 0, a, Array(1), id
Check Err.Number = 0, "Gauss, n = 0, NCOL an array: " & Err.Number
k.Gauss 1, a, Array(1), id
Check Err.Number = 13, "Gauss, n = 1, NCOL an array: " & Err.Number
' diag(1, 1E-7) is singular below the omitted EP's 1E-6 (ID 1), not below 1E-9 (ID 0).
inv(1, 1) = 1: inv(1, 2) = 0: inv(2, 1) = 0: inv(2, 2) = 1E-7: n = 2
k.Invert n, inv, a, id: r = id
k.Invert n, inv, a, id, 1E-9
Check Err.Number = 0 And r = 1 And id = 0 And Abs(a(2, 2) - 1E7) < 1E-6, "Invert: ID " & r & " then " & id
k.Gauss 2, x, 1, id
Check Err.Number = 9 And Err.Description = "Subscript out of range", "Gauss on a vector: " & Err.Number
k.Gaussd 2, a, 1, id
Check Err.Number = 13, "Gaussd with a Variant array: " & Err.Number
k.LinBairstow -1, x, y, y, 1E-12
Check Err.Number = 5 And Err.Description = "Invalid procedure call or argument", "LinBairstow, degree -1: " & Err.Number
' The interpreter with the script's tables; Null as a text is error 94; a
' Rov cell that is no text is error 13 where NewtonI first reads it, after
' ID = 0; as a text it solves x^2 = 4.
pr(1, 1) = "Z1": pr(1, 2) = 4: v(1) = 3: v(2) = 5: ipok = 0
Check s.Interp("Z1*Y[1]+Y[2]", ipok, pr, v) = 17 And ipok >= 0, "Interp: ipok=" & ipok
ipok = -2: Check s.Interp("SQR(0-1)", ipok, pr, v) = -9999 And ipok = -3, "Interp failure: ipok=" & ipok
r = s.Interp(Null, ipok, pr, v)
Check Err.Number = 94, "Interp(Null): " & Err.Number
rov(1) = 5: x(1) = 1: ipom(1) = 1: id = Empty: r = s.NewtonI(rov, 1, 1, 0, x, ipom, z, id)
Check Err.Number = 13 And id = 0 And Not IsEmpty(id), "NewtonI, Rov(1) a number: " & Err.Number & " " & id
rov(1) = "X[1]^2-4": r = s.NewtonI(rov, 1, 1, 0, x, ipom, z, id)
Check Err.Number = 0 And id = 0 And Abs(x(1) - 2) < 1E-4, "NewtonI: " & Err.Number & " " & x(1)

WScript.Echo passed & " passed, " & failed & " failed"
