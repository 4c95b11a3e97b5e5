' Expressions given as text, and Newton's method on equations given as text,
' with Kor.Interpret.  Run it with:  cscript //nologo interpret.vbs
Option Explicit
Dim s
Set s = CreateObject("Kor.Interpret")

Function Show(v)
  Show = FormatNumber(v, 6)
End Function

' A table of named values: names in the first column, values in the second.
Dim table(1, 2), y(2), ipok
table(1, 1) = "Z1": table(1, 2) = 0.7
WScript.Echo "Interp: 2+3*4 = " & s.Interp("2+3*4", ipok, table, y)
WScript.Echo "Interp: SIN(Z1)^2+COS(Z1)^2 = " & Show(s.Interp("SIN(Z1)^2+COS(Z1)^2", ipok, table, y))

' x^2 + y^2 = 8 and x = y, from (1, 2): the root (2, 2).  ipom names the
' positions in x of the unknowns; z holds the constants Z1 ... Z10.
Dim rov(2), x(2), ipom(2), z(10), id, iterations
rov(1) = "X[1]^2+X[2]^2-Z1": rov(2) = "X[1]-X[2]"
x(1) = 1: x(2) = 2
ipom(1) = 1: ipom(2) = 2
z(1) = 8
iterations = s.NewtonI(rov, 2, 2, 0, x, ipom, z, id, 1E-10)
WScript.Echo "NewtonI: x = " & Show(x(1)) & ", y = " & Show(x(2)) & " (status " & id & ")"
