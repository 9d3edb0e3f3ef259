; The installer of Harbinet PRO. scripts/release/installer compiles it and gives these definitions:
;
;   VERSION, VERSION_FOUR   2.0 and 2.0.0.0
;   CONTENT                 the folder with what is installed, as the portable archive holds it
;   SIZE_KB                 its size, for the list of apps
;   OUTPUT                  the installer to write
;   PUBLISHER, PUBLISHER_URL, SUPPORT_URL
;   SIGN                    a command that signs the file named by its last word; not defined: nothing is signed
;
; Switches beside NSIS' own /S (silent) and /D=FOLDER:
;
;   both       /LANG=1033|1031    English or German, whatever Windows' own language is
;   setup      /FIREWALL=yes|no   /DESKTOP=yes|no   without them: as last time, at first yes and no
;              /DOWNGRADE=yes     replaces a newer version without asking
;              /D=FOLDER          counts for a first setup only: a copy that is there is replaced where it lies
;   uninstall  /SETTINGS=remove   removes settings and certificate too
;
; Exit codes: 0 done, 1 cancelled, 2 stopped (a newer version is installed, or the program could not be closed).

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestSupportedOS Win10
ManifestDPIAware true
CRCCheck force

!include MUI2.nsh
!include LogicLib.nsh
!include FileFunc.nsh
!include WordFunc.nsh
!include Sections.nsh

!define APP "Harbinet PRO"
!define PROGRAM "Harbinet.exe"
!define APPS_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${APP}"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
!define SETTINGS_KEY "Software\Harbinet PRO"

Name "${APP}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\${APP}"
InstallDirRegKey HKLM "${APPS_KEY}" "InstallLocation"
BrandingText "${APP} ${VERSION}"

VIProductVersion "${VERSION_FOUR}"
VIFileVersion "${VERSION_FOUR}"
!macro VersionTexts language
    VIAddVersionKey /LANG=${language} "ProductName" "${APP}"
    VIAddVersionKey /LANG=${language} "CompanyName" "${PUBLISHER}"
    VIAddVersionKey /LANG=${language} "FileDescription" "${APP} Setup"
    VIAddVersionKey /LANG=${language} "FileVersion" "${VERSION}"
    VIAddVersionKey /LANG=${language} "ProductVersion" "${VERSION}"
    VIAddVersionKey /LANG=${language} "LegalCopyright" "the Harbinet PRO authors"
!macroend

!ifdef SIGN
    !uninstfinalize '${SIGN} "%1"' = 0
!endif

!define MUI_ICON "..\..\src\ui\resources\harbinet.ico"
!define MUI_UNICON "..\..\src\ui\resources\harbinet.ico"
!define MUI_WELCOMEFINISHPAGE_BITMAP "side.bmp"
!define MUI_ABORTWARNING
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_TEXT "$(StartNow)"
!define MUI_FINISHPAGE_RUN_FUNCTION StartAsUser
!define MUI_FINISHPAGE_NOREBOOTSUPPORT

!insertmacro MUI_PAGE_LICENSE "${CONTENT}\LICENSE.txt"
!define MUI_PAGE_CUSTOMFUNCTION_SHOW NameNextStep
!insertmacro MUI_PAGE_COMPONENTS
!define MUI_PAGE_CUSTOMFUNCTION_PRE SkipFolderOfOlderCopy
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH

!insertmacro MUI_UNPAGE_CONFIRM
!define MUI_PAGE_CUSTOMFUNCTION_SHOW un.HideSpaceRequired
!insertmacro MUI_UNPAGE_COMPONENTS
!insertmacro MUI_UNPAGE_INSTFILES

!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "German"
!insertmacro VersionTexts ${LANG_ENGLISH}
!insertmacro VersionTexts ${LANG_GERMAN}

Var InstalledFolder ; of the copy that this one replaces; empty at the first setup

!include texts.nsh
!include running_program.nsh
!include user_data.nsh

; ---- Setup ---------------------------------------------------------------------------------------

; Deletes every incoming rule of this program: our own from before, and the ones that block it, which Windows makes when
; its question is answered with "Cancel" or by somebody without administrator rights. A blocking rule wins over ours.
!macro DeleteFirewallRules
    nsExec::ExecToLog '"$SYSDIR\netsh.exe" advfirewall firewall delete rule name=all dir=in program="$INSTDIR\${PROGRAM}"'
    Pop $0 ; 1 means that there was none
!macroend

Section "-close the program"
    Call CloseRunningProgram
SectionEnd

Section "!${APP}" SectionProgram
    SectionIn RO
    SetShellVarContext all
    SetOutPath "$INSTDIR\licenses"
    File "${CONTENT}\licenses\*"
    SetOutPath "$INSTDIR"
    File "${CONTENT}\${PROGRAM}"
    File "${CONTENT}\LICENSE.txt"
    File "${CONTENT}\README.txt"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    CreateShortcut "$SMPROGRAMS\${APP}.lnk" "$INSTDIR\${PROGRAM}"

    WriteRegStr HKLM "${APPS_KEY}" "DisplayName" "${APP}"
    WriteRegStr HKLM "${APPS_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${APPS_KEY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKLM "${APPS_KEY}" "Publisher" "${PUBLISHER}"
    WriteRegStr HKLM "${APPS_KEY}" "URLInfoAbout" "${PUBLISHER_URL}"
    WriteRegStr HKLM "${APPS_KEY}" "HelpLink" "${SUPPORT_URL}"
    WriteRegStr HKLM "${APPS_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${APPS_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKLM "${APPS_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKLM "${APPS_KEY}" "EstimatedSize" ${SIZE_KB}
    WriteRegDWORD HKLM "${APPS_KEY}" "NoModify" 1
    WriteRegDWORD HKLM "${APPS_KEY}" "NoRepair" 1
SectionEnd

Section "$(FirewallName)" SectionFirewall
    !insertmacro DeleteFirewallRules
    nsExec::ExecToLog '"$SYSDIR\netsh.exe" advfirewall firewall add rule name="${APP}" dir=in action=allow program="$INSTDIR\${PROGRAM}" enable=yes profile=private,domain protocol=TCP remoteip=localsubnet'
    Pop $0
    ${If} $0 != 0
        DetailPrint "$(FirewallFailed) ($0)"
    ${EndIf}
SectionEnd

Section /o "$(DesktopName)" SectionDesktop
    SetShellVarContext all
    CreateShortcut "$DESKTOP\${APP}.lnk" "$INSTDIR\${PROGRAM}"
SectionEnd

; What was chosen the last time and is not any more is taken back; what is chosen now is remembered for the next setup.
Section "-take back"
    SetShellVarContext all
    ReadRegDWORD $1 HKLM "${APPS_KEY}" "FirewallRule"
    ${If} ${SectionIsSelected} ${SectionFirewall}
        WriteRegDWORD HKLM "${APPS_KEY}" "FirewallRule" 1
    ${Else}
        ${If} $1 == 1
            !insertmacro DeleteFirewallRules
        ${EndIf}
        WriteRegDWORD HKLM "${APPS_KEY}" "FirewallRule" 0
    ${EndIf}
    ReadRegDWORD $1 HKLM "${APPS_KEY}" "DesktopShortcut"
    ${If} ${SectionIsSelected} ${SectionDesktop}
        WriteRegDWORD HKLM "${APPS_KEY}" "DesktopShortcut" 1
    ${Else}
        ${If} $1 == 1
            Delete "$DESKTOP\${APP}.lnk"
        ${EndIf}
        WriteRegDWORD HKLM "${APPS_KEY}" "DesktopShortcut" 0
    ${EndIf}
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${SectionProgram} "$(ProgramText)"
    !insertmacro MUI_DESCRIPTION_TEXT ${SectionFirewall} "$(FirewallText)"
    !insertmacro MUI_DESCRIPTION_TEXT ${SectionDesktop} "$(DesktopText)"
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; The choice for a section: the switch, else what was chosen the last time, else as the section says.
!macro ChooseSection switch value section
    ClearErrors
    ReadRegDWORD $1 HKLM "${APPS_KEY}" "${value}"
    ${IfNot} ${Errors}
        ${If} $1 == 0
            !insertmacro UnselectSection ${section}
        ${Else}
            !insertmacro SelectSection ${section}
        ${EndIf}
    ${EndIf}
    ClearErrors
    ${GetParameters} $0
    ${GetOptions} $0 "/${switch}=" $1
    ${If} $1 == "no"
        !insertmacro UnselectSection ${section}
    ${ElseIf} $1 == "yes"
        !insertmacro SelectSection ${section}
    ${EndIf}
!macroend

!macro ChooseLanguage
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/LANG=" $1
    ${IfNot} ${Errors}
        StrCpy $LANGUAGE $1
    ${EndIf}
!macroend

; Without the page for the folder, installing is next.
Function NameNextStep
    ${If} $InstalledFolder != ""
        GetDlgItem $0 $HWNDPARENT 1
        SendMessage $0 ${WM_SETTEXT} 0 "STR:$(^InstallBtn)"
    ${EndIf}
FunctionEnd

Function SkipFolderOfOlderCopy
    ${If} $InstalledFolder != ""
        Abort
    ${EndIf}
FunctionEnd

Function .onInit
    SetRegView 64
    !insertmacro ChooseLanguage
    !insertmacro ChooseSection "FIREWALL" "FirewallRule" ${SectionFirewall}
    !insertmacro ChooseSection "DESKTOP" "DesktopShortcut" ${SectionDesktop}

    ; In another folder there would be two programs, one of which nobody could uninstall.
    ReadRegStr $InstalledFolder HKLM "${APPS_KEY}" "InstallLocation"
    ${If} $InstalledFolder != ""
        StrCpy $INSTDIR $InstalledFolder
    ${EndIf}

    ReadRegStr $0 HKLM "${APPS_KEY}" "DisplayVersion"
    ${VersionCompare} "$0" "${VERSION}" $1
    ${If} $0 != ""
    ${AndIf} $1 == 1
        ${GetParameters} $2
        ${GetOptions} $2 "/DOWNGRADE=" $3
        ${If} $3 != "yes"
            StrCpy $4 "${OLDER_ENGLISH}"
            ${If} $LANGUAGE = ${LANG_GERMAN}
                StrCpy $4 "${OLDER_GERMAN}"
            ${EndIf}
            MessageBox MB_YESNO|MB_ICONEXCLAMATION|MB_DEFBUTTON2 "$4" /SD IDNO IDYES older
            SetErrorLevel 2
            Quit
            older:
        ${EndIf}
    ${EndIf}
FunctionEnd

; Setup runs with administrator rights; what the desktop starts for us runs with the user's own.
Function StartAsUser
    Exec '"$WINDIR\explorer.exe" "$INSTDIR\${PROGRAM}"'
FunctionEnd

; ---- Uninstall -----------------------------------------------------------------------------------

Section "-un.close the program"
    Call un.CloseRunningProgram
SectionEnd

Section "un.${APP}" SectionRemoveProgram
    SectionIn RO
    SetShellVarContext all
    !insertmacro DeleteFirewallRules
    Call un.RemoveAutostart
    Delete "$SMPROGRAMS\${APP}.lnk"
    ReadRegDWORD $1 HKLM "${APPS_KEY}" "DesktopShortcut"
    ${If} $1 == 1
        Delete "$DESKTOP\${APP}.lnk"
    ${EndIf}

    ; File by file: whatever else lies in the folder is somebody's own.
    Delete "$INSTDIR\licenses\LICENSE-gcc-runtime-exception.txt"
    Delete "$INSTDIR\licenses\LICENSE-gcc.txt"
    Delete "$INSTDIR\licenses\LICENSE-libqrencode.txt"
    Delete "$INSTDIR\licenses\LICENSE-mingw-w64-runtime.txt"
    Delete "$INSTDIR\licenses\LICENSE-openssl.txt"
    Delete "$INSTDIR\licenses\LICENSE-winpthreads.txt"
    Delete "$INSTDIR\licenses\THIRD_PARTY_NOTICES.txt"
    RMDir "$INSTDIR\licenses"
    Delete "$INSTDIR\${PROGRAM}"
    Delete "$INSTDIR\LICENSE.txt"
    Delete "$INSTDIR\README.txt"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    DeleteRegKey HKLM "${APPS_KEY}"
SectionEnd

Section /o "un.$(SettingsName)" SectionRemoveSettings
    Call un.RemoveUserData
SectionEnd

!insertmacro MUI_UNFUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${SectionRemoveProgram} "$(RemoveProgramText)"
    !insertmacro MUI_DESCRIPTION_TEXT ${SectionRemoveSettings} "$(RemoveSettingsText)"
!insertmacro MUI_UNFUNCTION_DESCRIPTION_END

; Uninstall needs none.
Function un.HideSpaceRequired
    ShowWindow $mui.ComponentsPage.SpaceRequired ${SW_HIDE}
FunctionEnd

Function un.onInit
    SetRegView 64
    !insertmacro ChooseLanguage
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/SETTINGS=" $1
    ${If} $1 == "remove"
        !insertmacro SelectSection ${SectionRemoveSettings}
    ${EndIf}
FunctionEnd
