; What the program itself leaves with its users, found through the registry of every user who is logged on: uninstall may
; run with the rights of another account.

; Calls `function` once for each such user, with the name of the user's registry under HKEY_USERS in $R0.
!macro ForEachUser function
    StrCpy $R1 0
    ${Do}
        EnumRegKey $R0 HKU "" $R1
        ${If} $R0 == ""
            ${Break}
        ${EndIf}
        Push $R1
        Call ${function}
        Pop $R1
        IntOp $R1 $R1 + 1
    ${Loop}
!macroend

; ---- Autostart -----------------------------------------------------------------------------------

Function un.RemoveUsersAutostart
    ReadRegStr $0 HKU "$R0\${RUN_KEY}" "${APP}"
    StrCpy $1 '"$INSTDIR\${PROGRAM}"'
    StrLen $2 $1
    StrCpy $0 $0 $2
    ; A value of another copy, in another folder, is that copy's own.
    ${If} $0 == $1
        DeleteRegValue HKU "$R0\${RUN_KEY}" "${APP}"
    ${EndIf}
FunctionEnd

Function un.RemoveAutostart
    !insertmacro ForEachUser un.RemoveUsersAutostart
FunctionEnd

; ---- Settings and certificate --------------------------------------------------------------------

; $0, an existing folder or file, becomes its real path, through links and short names; what does not exist stays as it is.
Function un.RealPath
    System::Call 'kernel32::CreateFileW(w r0, i 0, i 7, p 0, i 3, i 0x02000000, p 0) p .r1'
    ${If} $1 P<> -1
        System::Call 'kernel32::GetFinalPathNameByHandleW(p r1, w .r2, i ${NSIS_MAX_STRLEN}, i 0) i .r3'
        System::Call 'kernel32::CloseHandle(p r1)'
        ${If} $3 > 0
        ${AndIf} $3 < ${NSIS_MAX_STRLEN}
            StrCpy $0 $2
        ${EndIf}
    ${EndIf}
FunctionEnd

; $R5 becomes 1 when the folder $R4 (a real path) is, or lies inside, the folder that this user publishes.
Function un.CompareWithUsersFolder
    ReadRegStr $0 HKU "$R0\${SETTINGS_KEY}" "WebRootPath"
    ${If} $0 == ""
        Return
    ${EndIf}
    Call un.RealPath
    StrCpy $1 $0 1 -1
    ${If} $1 != "\"
        StrCpy $0 "$0\"
    ${EndIf}
    StrLen $1 $0
    StrCpy $2 "$R4\" $1
    ${If} $2 == $0
        StrCpy $R5 1
    ${EndIf}
FunctionEnd

; The three files of the certificate, by name, and the folder if nothing else is in it. A published folder is left alone
; even where it holds them: nothing is ever deleted in it.
Function un.RemoveUsersCertificate
    ReadRegStr $R6 HKU "$R0\Software\Microsoft\Windows\CurrentVersion\Explorer\Shell Folders" "Local AppData"
    ${If} $R6 == ""
    ${OrIfNot} ${FileExists} "$R6\Harbinet\*.*"
        Return
    ${EndIf}
    StrCpy $R6 "$R6\Harbinet"
    StrCpy $0 $R6
    Call un.RealPath
    StrCpy $R4 $0
    StrCpy $R5 0
    Push $R0
    !insertmacro ForEachUser un.CompareWithUsersFolder
    Pop $R0
    ${If} $R5 = 0
        Delete "$R6\server.crt"
        Delete "$R6\server.key"
        Delete "$R6\server.ip"
        RMDir "$R6"
    ${EndIf}
FunctionEnd

Function un.RemoveUsersSettings
    DeleteRegValue HKU "$R0\${SETTINGS_KEY}" "WebRootPath"
    DeleteRegValue HKU "$R0\${SETTINGS_KEY}" "MasterPin6"
    DeleteRegKey /ifempty HKU "$R0\${SETTINGS_KEY}"
FunctionEnd

Function un.RemoveUserData
    ; The settings name the published folders, so they go last.
    !insertmacro ForEachUser un.RemoveUsersCertificate
    !insertmacro ForEachUser un.RemoveUsersSettings
FunctionEnd
