; CloseRunningProgram and un.CloseRunningProgram: when the program runs, ask, close its window and wait for its end.

!define MUTEX "Global\HTTPSHarbinet_SingleInstance"
!define WINDOW_CLASS "HTTPHarbinet_Main"
!define SYNCHRONIZE 0x00100000
!define ERROR_FILE_NOT_FOUND 2
; Longer than the program waits for its connections at the end.
!define END_MILLISECONDS 20000

!macro DefineCloseRunningProgram un
; $0 becomes 1 while the program runs, whoever runs it, else 0.
Function ${un}ProgramRuns
    System::Call 'kernel32::OpenMutexW(i ${SYNCHRONIZE}, i 0, w "${MUTEX}") p .r1 ?e'
    Pop $2
    ${If} $1 P<> 0
        System::Call 'kernel32::CloseHandle(p r1)'
        StrCpy $0 1
    ${ElseIf} $2 = ${ERROR_FILE_NOT_FOUND}
        StrCpy $0 0
    ${Else}
        ; It exists, but belongs to somebody else.
        StrCpy $0 1
    ${EndIf}
FunctionEnd

Function ${un}CloseRunningProgram
    Call ${un}ProgramRuns
    ${If} $0 = 0
        Return
    ${EndIf}
    MessageBox MB_OKCANCEL|MB_ICONEXCLAMATION "$(ProgramRuns)" /SD IDOK IDOK try
    SetErrorLevel 1
    Quit

    try:
    FindWindow $1 "${WINDOW_CLASS}"
    ${If} $1 P<> 0
        System::Call 'user32::GetWindowThreadProcessId(p r1, *i .r2)'
        System::Call 'kernel32::OpenProcess(i ${SYNCHRONIZE}, i 0, i r2) p .r3'
        System::Call 'user32::PostMessageW(p r1, i ${WM_CLOSE}, p 0, p 0)'
        ; The end of the process, not of the window: until then its file cannot be replaced.
        ${If} $3 P<> 0
            System::Call 'kernel32::WaitForSingleObject(p r3, i ${END_MILLISECONDS})'
            System::Call 'kernel32::CloseHandle(p r3)'
        ${EndIf}
    ${EndIf}
    Call ${un}ProgramRuns
    ${If} $0 = 0
        Return
    ${EndIf}
    MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "$(ProgramStays)" /SD IDCANCEL IDRETRY try
    SetErrorLevel 2
    Quit
FunctionEnd
!macroend

!insertmacro DefineCloseRunningProgram ""
!insertmacro DefineCloseRunningProgram "un."
