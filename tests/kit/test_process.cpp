#include "test_process.h"

#include "app/unique_handle_win.h"

namespace harbinet::kit {
namespace {

// Ends every process in it when it is closed, also when this process dies.
UniqueKernelHandle MakeJob() {
    UniqueKernelHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

UniqueFile OpenInheritable(const wchar_t* path, DWORD access, DWORD disposition) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    return UniqueFile(CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                  disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

void WaitUntilEmpty(HANDLE job) {
    constexpr int kTries = 200;
    for (int i = 0; i < kTries; ++i) {
        JOBOBJECT_BASIC_ACCOUNTING_INFORMATION count = {};
        if (!QueryInformationJobObject(job, JobObjectBasicAccountingInformation, &count,
                                       sizeof count, nullptr) ||
            count.ActiveProcesses == 0) {
            return;
        }
        Sleep(50);
    }
}

TestEnd WaitForEnd(HANDLE process, HANDLE stop, DWORD limit_milliseconds) {
    const HANDLE handles[] = {process, stop};
    switch (WaitForMultipleObjects(2, handles, FALSE, limit_milliseconds)) {
        case WAIT_OBJECT_0:
            return TestEnd::kEnded;
        case WAIT_OBJECT_0 + 1:
            return TestEnd::kStopped;
        default:
            return TestEnd::kTookTooLong;
    }
}

}  // namespace

TestRun RunTestProcess(std::wstring command_line, const std::wstring& log, HANDLE stop,
                       DWORD limit_milliseconds) {
    const UniqueKernelHandle job = MakeJob();
    UniqueFile output;
    UniqueFile input;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    if (!log.empty()) {
        output = OpenInheritable(log.c_str(), GENERIC_WRITE, CREATE_ALWAYS);
        input = OpenInheritable(L"NUL", GENERIC_READ, OPEN_EXISTING);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = input.Get();
        startup.hStdOutput = output.Get();
        startup.hStdError = output.Get();
    }
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                        nullptr, nullptr, &startup, &started)) {
        return {TestEnd::kNotStarted, GetLastError()};
    }
    const UniqueKernelHandle process(started.hProcess);
    const UniqueKernelHandle thread(started.hThread);
    // In the job before its first instruction, so that everything it starts is in it, too.
    AssignProcessToJobObject(job.Get(), process.Get());
    ResumeThread(thread.Get());

    TestRun run = {WaitForEnd(process.Get(), stop, limit_milliseconds), 0};
    if (run.end == TestEnd::kEnded) GetExitCodeProcess(process.Get(), &run.exit_code);
    TerminateJobObject(job.Get(), 1);
    WaitUntilEmpty(job.Get());
    return run;
}

}  // namespace harbinet::kit
