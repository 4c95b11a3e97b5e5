' The component as a script sees it: both classes can be created by ProgID,
' they name themselves after their interface, and a member they lack fails
' with run-time error 438.  The last line is the summary "N passed, M failed";
' a script that stops early prints none, which the runner counts as a failure.
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

' The name a script shows for an object.  Hosts differ on whether they keep
' the leading underscore of a hidden interface's name; either way it is the
' class's own name.
Function ClassName(o)
  ClassName = TypeName(o)
  If Left(ClassName, 1) = "_" Then ClassName = Mid(ClassName, 2)
End Function

On Error Resume Next

Dim k, k2, interp
Set k = CreateObject("Kor.Korvat")
Check Err.Number = 0, "CreateObject(""Kor.Korvat""): " & Err.Number & " " & Err.Description
Err.Clear
Set k2 = CreateObject("kor.korvat")
Check Err.Number = 0, "CreateObject(""kor.korvat""): " & Err.Number & " " & Err.Description
Err.Clear
Set interp = CreateObject("Kor.Interpret")
Check Err.Number = 0, "CreateObject(""Kor.Interpret""): " & Err.Number & " " & Err.Description
Err.Clear

Check IsObject(k), "Kor.Korvat is an object"
Check IsObject(interp), "Kor.Interpret is an object"
Check ClassName(k) = "Korvat", "TypeName of a Korvat: " & TypeName(k)
Check ClassName(interp) = "Interpret", "TypeName of an Interpret: " & TypeName(interp)
Check Not (k Is k2), "two creations give two objects"
Check k Is k, "an object is itself"

' Members that the objects do not have.
Dim names, i, dummy
k.NoSuchMethod
Check Err.Number = 438, "Korvat.NoSuchMethod: " & Err.Number
Err.Clear
dummy = k.NoSuchFunction(1, 2)
Check Err.Number = 438, "Korvat.NoSuchFunction(1, 2): " & Err.Number
Err.Clear
k.Interp "1+1", 0
Check Err.Number = 438, "Korvat.Interp (a member of Interpret): " & Err.Number
Err.Clear
interp.Gauss 1, 2, 3, 4
Check Err.Number = 438, "Interpret.Gauss (a member of Korvat): " & Err.Number
Err.Clear
dummy = interp.Newton
Check Err.Number = 438, "Interpret.Newton: " & Err.Number
Err.Clear

' More arguments than a method has parameters.
Dim a(2), id
k.Gauss 1, a, 1, id, 5
Check Err.Number = 450, "Korvat.Gauss with five arguments: " & Err.Number
Err.Clear
dummy = interp.Interp("1", 0, a, a, 5)
Check Err.Number = 450, "Interpret.Interp with five arguments: " & Err.Number
Err.Clear

On Error GoTo 0
WScript.Echo passed & " passed, " & failed & " failed"
