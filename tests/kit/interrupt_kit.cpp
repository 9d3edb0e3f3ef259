// interrupt_kit ctrl-c|close FILE COMMAND... : runs the command in a console of its own, waits for
// the file, and presses Ctrl-C in that console, or does to the command what Windows does when the
// console's window is closed. Ends with the command's exit code, 1 when it was closed; 124 when the
// file does not come or the command does not end, 125 when something cannot be done.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

#include "app/unique_handle_win.h"

namespace {

constexpr int kClosed = 1;
constexpr int kTooLate = 124;
constexpr int kNotDone = 125;
constexpr DWORD kFileMilliseconds = 90'000;
constexpr DWORD kEndMilliseconds = 20'000;
constexpr DWORD kCloseMilliseconds = 5000;  // what Windows leaves a process

int Failure(const char* what) {
    std::fprintf(stderr, "interrupt_kit: %s failed with error %lu\n", what, GetLastError());
    return kNotDone;
}

// This process sits at the same console.
BOOL WINAPI Survive(DWORD) { return TRUE; }

harbinet::UniqueKernelHandle Start(std::wstring command) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &started)) {
        return {};
    }
    CloseHandle(started.hThread);
    return harbinet::UniqueKernelHandle(started.hProcess);
}

bool AwaitFile(const wchar_t* path, HANDLE process) {
    for (DWORD waited = 0; waited < kFileMilliseconds; waited += 50) {
        if (GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES) return true;
        if (WaitForSingleObject(process, 50) == WAIT_OBJECT_0) return false;
    }
    return false;
}

// A window that is really closed takes everything at its console along at once under Wine, without
// a word to the handlers. As documented, they run in a thread of the process, with
// CTRL_CLOSE_EVENT; the process ends with that thread, or when its time is over.
bool Close(HANDLE process) {
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "CtrlRoutine")));
    if (routine == nullptr) return false;
    const harbinet::UniqueKernelHandle thread(
        CreateRemoteThread(process, nullptr, 0, routine,
                           reinterpret_cast<void*>(DWORD_PTR{CTRL_CLOSE_EVENT}), 0, nullptr));
    if (!thread) return false;
    const HANDLE ends[] = {thread.Get(), process};
    WaitForMultipleObjects(2, ends, FALSE, kCloseMilliseconds);
    TerminateProcess(process, kClosed);
    return true;
}

bool Interrupt(const wchar_t* how, HANDLE process) {
    if (std::wcscmp(how, L"close") == 0) return Close(process);
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 4) {
        std::fputs("usage: interrupt_kit ctrl-c|close FILE COMMAND...\n", stderr);
        return kNotDone;
    }
    std::wstring command;
    for (int i = 3; i < argc; ++i) command.append(L"\"").append(argv[i]).append(L"\" ");
    FreeConsole();
    if (!AllocConsole()) return Failure("AllocConsole");
    SetConsoleCtrlHandler(Survive, TRUE);
    const harbinet::UniqueKernelHandle process = Start(command);
    if (!process) return Failure("CreateProcess");
    if (!AwaitFile(argv[2], process.Get())) {
        std::fputs("interrupt_kit: the file did not come\n", stderr);
        TerminateProcess(process.Get(), kTooLate);
        return kTooLate;
    }
    if (!Interrupt(argv[1], process.Get())) return Failure("the interruption");
    if (WaitForSingleObject(process.Get(), kEndMilliseconds) != WAIT_OBJECT_0) {
        std::fputs("interrupt_kit: the command did not end\n", stderr);
        TerminateProcess(process.Get(), kTooLate);
        return kTooLate;
    }
    DWORD code = kNotDone;
    GetExitCodeProcess(process.Get(), &code);
    return static_cast<int>(code);
}
