' A script's variables as the methods' by-reference arguments: written where
' the method writes them (a callback that looks meanwhile sees the method's
' values), untouched ones keep their types, objects count by their default
' property.  Expected values are worked out by hand beside each case.  The
' last line is "N passed, M failed".
Option Explicit

Dim passed, failed, k, watched, seen
passed = 0
failed = 0
Set k = CreateObject("Kor.Korvat")

Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1: WScript.Echo "FAILED: " & what
End Sub

Class Watcher     ' Fmin's F: notes the script's itmax at each call
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

Class Cell        ' a default property, as a spreadsheet's Range has
  Public v
  Public Default Property Get Value
    Value = v
  End Property
End Class

Class NoDefault
  Public v
End Class

Sub Callbacks()
  On Error Resume Next
  Dim x(1), ipom(1), z(10), y(1), zz, star, xe, r, f, stage, stages
  ' Fmin replaces a limit below 11 by 2000 before its first F.
  x(1) = 0: watched = 5: seen = ""
  r = k.Fmin(New Watcher, 1, x, 1E-3, watched)
  Check Err.Number = 0 And seen <> "" And Replace(seen, ",2000", "") = "", "Fmin: F saw itmax" & Left(seen, 40)
  ' Newton writes ID = 0 before its first Fun; with Nothing, Fun's call is error 91.
  x(1) = 1: ipom(1) = 1: watched = "unset": seen = ""
  r = k.Newton(New Equation, 1, 1, 0, x, ipom, z, watched)
  Check Err.Number = 0 And seen = "Integer 0" And Abs(x(1) - 2) < 1E-4, "Newton: Fun saw ID " & seen & ", x " & x(1)
  watched = "unset"
  r = k.Newton(Nothing, 1, 1, 0, x, ipom, z, watched)
  Check Err.Number = 91 And TypeName(watched) = "Integer" And watched = 0, "Nothing: " & Err.Number & " " & watched
  Err.Clear
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
  f.redimY = True: watched = 0
  k.Rkm f, 1, watched, xe, y, 1E-4, star, zz
  Check Err.Number = 10 And UBound(y) = 1, "Rkm with ReDim Y: " & Err.Number & " " & UBound(y)
  Err.Clear
End Sub

Sub Values()
  On Error Resume Next
  Dim x(3), y(3), xi, id, a(2, 3), r, s, pr(1, 2), v(1), ipok, rov(1), ipom(1), z(10)
  ' Three points of y = 2x with M = 3: 5 at 2.5 exactly (-0.25 + 3 + 2.25); XI is only read.
  x(1) = 1: x(2) = 2: x(3) = 3: y(1) = 2: y(2) = 4: y(3) = 6
  Set xi = New Cell: xi.v = 2.5
  r = k.Flagr(3, x, y, xi, 3)
  Check Err.Number = 0 And r = 5 And IsObject(xi), "Flagr, XI a Cell: " & r & " " & TypeName(xi)
  Set xi = New NoDefault: r = Empty
  r = k.Flagr(3, x, y, xi, 3)
  Check Err.Number = 438 And IsEmpty(r), "Flagr, XI without a default property: " & Err.Number
  Err.Clear
  xi = CCur(2.5)
  r = k.Flagr(3, x, y, xi, 3)
  Check Err.Number = 0 And r = 5 And TypeName(xi) = "Currency", "Flagr, XI Currency: " & r & " " & TypeName(xi)
  ' A singular system (row 2 = 2 * row 1): ID = 1 over whatever the variable held.
  a(1, 1) = 1: a(1, 2) = 2: a(1, 3) = 3: a(2, 1) = 2: a(2, 2) = 4: a(2, 3) = 6
  For Each id In Array(Array(7, 8), CByte(7))
    k.Gauss 2, a, 1, id
    Check Err.Number = 0 And TypeName(id) = "Integer" And id = 1, "Gauss, ID " & TypeName(id)
  Next
  ' Texts: Null is error 94; a Rov cell that is no text is error 13 where
  ' NewtonI first reads it, after ID = 0; as a text it solves x^2 = 4.
  Set s = CreateObject("Kor.Interpret")
  r = s.Interp(Null, ipok, pr, v)
  Check Err.Number = 94, "Interp(Null): " & Err.Number
  Err.Clear
  rov(1) = 5: x(1) = 1: ipom(1) = 1: id = Empty
  r = s.NewtonI(rov, 1, 1, 0, x, ipom, z, id)
  Check Err.Number = 13 And id = 0 And Not IsEmpty(id), "NewtonI, Rov(1) a number: " & Err.Number & " " & id
  Err.Clear
  rov(1) = "X[1]^2-4"
  r = s.NewtonI(rov, 1, 1, 0, x, ipom, z, id)
  Check Err.Number = 0 And id = 0 And Abs(x(1) - 2) < 1E-4, "NewtonI: " & Err.Number & " " & x(1)
End Sub

Callbacks
Values
WScript.Echo passed & " passed, " & failed & " failed"
