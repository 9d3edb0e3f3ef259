// start_limited PROGRAM [ARGUMENT...] : runs the program as a user who is no administrator,
// although the starter is one, waits for it and ends with its exit code. 125 when it cannot be
// started.
#include <windows.h>

#include <cstdio>
#include <string>

#include "app/unique_handle_win.h"

namespace {

constexpr int kNotStarted = 125;

int Failure(const char* what) {
    std::fprintf(stderr, "start_limited: %s failed with error %lu\n", what, GetLastError());
    return kNotStarted;
}

// Everything after the first argument, with the quoting of the caller.
std::wstring CommandLineOfProgram() {
    const wchar_t* rest = GetCommandLineW();
    bool quoted = false;
    for (; *rest != L'\0' && (quoted || (*rest != L' ' && *rest != L'\t')); ++rest) {
        if (*rest == L'"') quoted = !quoted;
    }
    while (*rest == L' ' || *rest == L'\t') ++rest;
    return rest;
}

harbinet::UniqueKernelHandle LimitedToken() {
    harbinet::UniqueKernelHandle token;
    harbinet::UniqueKernelHandle limited;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, token.Out())) return limited;
    BYTE administrators[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof(administrators);
    if (!CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &size)) {
        return limited;
    }
    SID_AND_ATTRIBUTES denied{administrators, 0};
    CreateRestrictedToken(token.Get(), 0, 1, &denied, 0, nullptr, 0, nullptr, limited.Out());
    return limited;
}

}  // namespace

int wmain() {
    std::wstring command_line = CommandLineOfProgram();
    if (command_line.empty()) {
        std::fputs("usage: start_limited PROGRAM [ARGUMENT...]\n", stderr);
        return kNotStarted;
    }
    const harbinet::UniqueKernelHandle token = LimitedToken();
    if (!token) return Failure("CreateRestrictedToken");

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    const auto start = [&] {
        return CreateProcessAsUserW(token.Get(), nullptr, command_line.data(), nullptr, nullptr,
                                    TRUE, 0, nullptr, nullptr, &startup, &process) != 0;
    };
    // Once in some hundred starts the system gives up on a process before its first instruction,
    // with this error.
    bool is_started = start();
    for (int again = 0; !is_started && GetLastError() == ERROR_INTERNAL_ERROR && again < 3;
         ++again) {
        is_started = start();
    }
    if (!is_started) return Failure("CreateProcessAsUserW");
    const harbinet::UniqueKernelHandle handle(process.hProcess);
    CloseHandle(process.hThread);
    WaitForSingleObject(handle.Get(), INFINITE);
    DWORD exit_code = 0;
    if (!GetExitCodeProcess(handle.Get(), &exit_code)) return Failure("GetExitCodeProcess");
    return static_cast<int>(exit_code);
}
