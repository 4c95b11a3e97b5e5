; The installer of kor: kor.dll for 32-bit clients and, on 64-bit Windows, for
; 64-bit clients, each registered with the regsvr32 of its own bitness; the
; documentation and the script examples; for all users (administrator) or for
; the current user only (no administrator rights: the classes go to the user's
; own registry).  An uninstaller unregisters and removes all of it.
;
; tools/installer.sh builds it after both DLLs:
;   makensis -DVERSION=3.0.0 -DROOT=<source tree> -DDLL64=... -DDLL32=... -DOUTFILE=... tools/kor-setup.nsi
; With -DX64 the installer itself is a 64-bit program (for 64-bit Windows
; without its 32-bit subsystem, where it installs only the 64-bit DLL).
;
; Command line: /S silent, /AllUsers or /CurrentUser, /D=folder (last).

!ifdef X64
  Target amd64-unicode
  ; RunningX64 is then decided when the script compiles, leaving a label unused.
  !pragma warning disable 6012
!else
  Unicode true
!endif

!define UNINST_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\KOR"

Name "KOR ${VERSION}"
OutFile "${OUTFILE}"
SetCompressor /SOLID lzma
ManifestDPIAware true

; Administrators choose, others install for themselves; the uninstaller finds
; the mode it was installed in from the InstallMode value of its uninstall key.
!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR "KOR"
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${UNINST_KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallMode"
!include MultiUser.nsh
!include MUI2.nsh
!include LogicLib.nsh
!include x64.nsh

!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "KOR"
VIAddVersionKey "FileDescription" "KOR library of numerical methods: installer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "CompanyName" "kor"
VIAddVersionKey "LegalCopyright" "kor"

Var Regsvr64   ; the 64-bit regsvr32, empty on 32-bit Windows
Var Regsvr32   ; the 32-bit regsvr32, empty where Windows has no 32-bit subsystem
Var Scope      ; regsvr32's options for the install mode

; The regsvr32 of each bitness.  System32 holds the system's own programs
; once the installer has turned off the redirection that a 32-bit program on
; 64-bit Windows is subject to; SysWOW64 holds the 32-bit ones.
!macro FindRegsvr PREFIX
Function ${PREFIX}FindRegsvr
  ${DisableX64FSRedirection}
  StrCpy $Regsvr64 ""
  StrCpy $Regsvr32 ""
  ${If} ${RunningX64}
    StrCpy $Regsvr64 "$WINDIR\System32\regsvr32.exe"
    ${If} ${FileExists} "$WINDIR\SysWOW64\regsvr32.exe"
      StrCpy $Regsvr32 "$WINDIR\SysWOW64\regsvr32.exe"
    ${EndIf}
  ${Else}
    StrCpy $Regsvr32 "$WINDIR\System32\regsvr32.exe"
  ${EndIf}
  ${If} $MultiUser.InstallMode == "CurrentUser"
    StrCpy $Scope "/n /i:user"
  ${Else}
    StrCpy $Scope ""
  ${EndIf}
FunctionEnd
!macroend
!insertmacro FindRegsvr ""
!insertmacro FindRegsvr "un."

; regsvr32 [/u] on one DLL; a failure ends the installation (or the removal,
; before any file is gone) with a message and exit code 2.
!macro Regsvr REGSVR OPTIONS DLL
  ClearErrors
  ExecWait '"${REGSVR}" /s ${OPTIONS} $Scope "${DLL}"' $0
  ${If} ${Errors}
  ${OrIf} $0 != 0
    SetErrorLevel 2
    MessageBox MB_ICONSTOP "regsvr32 ${OPTIONS} $Scope ${DLL} failed (exit code $0)." /SD IDOK
    Abort
  ${EndIf}
!macroend

Function .onInit
  !insertmacro MULTIUSER_INIT
FunctionEnd

Function un.onInit
  !insertmacro MULTIUSER_UNINIT
FunctionEnd

Section "KOR"
  Call FindRegsvr

  SetOutPath "$INSTDIR\docs"
  File "${ROOT}\README.md"
  File "${ROOT}\docs\windows.md"
  SetOutPath "$INSTDIR\docs\reference"
  File "${ROOT}\docs\reference\*.md"
  SetOutPath "$INSTDIR\examples"
  File "${ROOT}\docs\examples\*.vbs"
  ${If} $Regsvr64 != ""
    SetOutPath "$INSTDIR\x64"
    File "${DLL64}"
  ${EndIf}
  ${If} $Regsvr32 != ""
    SetOutPath "$INSTDIR\x86"
    File "${DLL32}"
  ${Else}
    DetailPrint "This Windows runs no 32-bit programs: the 32-bit kor.dll is not installed."
  ${EndIf}

  ; The uninstaller first, so that a failed registration can be undone with it.
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr SHCTX "${UNINST_KEY}" "DisplayName" "KOR ${VERSION} (kor.dll)"
  WriteRegStr SHCTX "${UNINST_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${UNINST_KEY}" "Publisher" "kor"
  WriteRegStr SHCTX "${UNINST_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${UNINST_KEY}" "InstallMode" "$MultiUser.InstallMode"
  WriteRegStr SHCTX "${UNINST_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
  WriteRegStr SHCTX "${UNINST_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD SHCTX "${UNINST_KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${UNINST_KEY}" "NoRepair" 1

  ${If} $Regsvr64 != ""
    !insertmacro Regsvr $Regsvr64 "" "$INSTDIR\x64\kor.dll"
  ${EndIf}
  ${If} $Regsvr32 != ""
    !insertmacro Regsvr $Regsvr32 "" "$INSTDIR\x86\kor.dll"
  ${EndIf}
SectionEnd

Section "Uninstall"
  Call un.FindRegsvr
  ${If} ${FileExists} "$INSTDIR\x64\kor.dll"
  ${AndIf} $Regsvr64 != ""
    !insertmacro Regsvr $Regsvr64 "/u" "$INSTDIR\x64\kor.dll"
  ${EndIf}
  ${If} ${FileExists} "$INSTDIR\x86\kor.dll"
  ${AndIf} $Regsvr32 != ""
    !insertmacro Regsvr $Regsvr32 "/u" "$INSTDIR\x86\kor.dll"
  ${EndIf}

  Delete "$INSTDIR\x64\kor.dll"
  Delete "$INSTDIR\x86\kor.dll"
  RMDir "$INSTDIR\x64"
  RMDir "$INSTDIR\x86"
  RMDir /r "$INSTDIR\docs"
  RMDir /r "$INSTDIR\examples"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  ; The user's Programs folder, which the installation may have made: only if empty.
  ${If} $MultiUser.InstallMode == "CurrentUser"
    GetKnownFolderPath $1 {5CD7AEE2-2219-4A67-B85D-6C9CE15660CB}
    ${If} $1 == ""
      StrCpy $1 "$LOCALAPPDATA\Programs"
    ${EndIf}
    RMDir $1
  ${EndIf}
  DeleteRegKey SHCTX "${UNINST_KEY}"
SectionEnd
