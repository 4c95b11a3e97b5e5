' The component as a script sees it: both classes are created by ProgID and
' name themselves after their interface; a member they lack is run-time error
' 438, a surplus argument 450.  The last line is the summary "N passed, M
' failed"; a script that stops early prints none.
Option Explicit
Dim passed, failed, k, k2, interp, dummy, a(2), id
passed = 0
failed = 0

Sub Check(ok, what)
  If ok Then passed = passed + 1 Else failed = failed + 1: WScript.Echo "FAILED: " & what
End Sub

' Hosts differ on whether TypeName keeps the underscore of a hidden interface.
Function ClassName(o)
  ClassName = Replace("#" & TypeName(o), "#_", "#")
End Function

On Error Resume Next
Set k = CreateObject("Kor.Korvat")
Set k2 = CreateObject("kor.korvat")
Set interp = CreateObject("Kor.Interpret")
Check Err.Number = 0, "CreateObject: " & Err.Number & " " & Err.Description
Check ClassName(k) = "#Korvat" And ClassName(interp) = "#Interpret", "TypeName: " & TypeName(k) & " " & TypeName(interp)
Check Not (k Is k2), "two creations give two objects"
k.NoSuchMethod
Check Err.Number = 438, "Korvat.NoSuchMethod: " & Err.Number
Err.Clear
k.Interp "1+1", 0
Check Err.Number = 438, "Korvat.Interp (a member of Interpret): " & Err.Number
Err.Clear
dummy = interp.Newton
Check Err.Number = 438, "Interpret.Newton: " & Err.Number
Err.Clear
k.Gauss 1, a, 1, id, 5
Check Err.Number = 450, "Korvat.Gauss with five arguments: " & Err.Number
Err.Clear
dummy = interp.Interp("1", 0, a, a, 5)
Check Err.Number = 450, "Interpret.Interp with five arguments: " & Err.Number
On Error GoTo 0
WScript.Echo passed & " passed, " & failed & " failed"
