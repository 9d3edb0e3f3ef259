// run_kit /run COMMAND... : runs a command while the user's settings and data folder are put aside.
// run_kit [/admin] [PROGRAM...] : runs the test programs beside it, all or those that are named (as
// in the results), with the user's settings and data folder put aside meanwhile. Results go to the
// folder "results" beside its own; the last line is "N passed, N failed".
#include <windows.h>

#include <conio.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "app/administrator_win.h"
#include "app/encoding.h"
#include "app/paths_win.h"
#include "app/unique_handle_win.h"
#include "interruption.h"
#include "kept_settings.h"
#include "test_process.h"
#include "test_report.h"

// In ntdll; no header of the program's kind declares it.
extern "C" LONG NTAPI RtlGetVersion(OSVERSIONINFOW* version);

namespace harbinet::kit {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kProgramLimitMilliseconds = 30 * 60 * 1000;
constexpr DWORD kCloseMilliseconds = 4500;  // what Windows leaves a console that is being closed
constexpr const char* kNotRestored =
    "settings and data folder are not put back yet: start run-tests again";
constexpr const wchar_t* kInstanceMutex = L"Global\\HTTPSHarbinet_SingleInstance";
// A second run would take what the first has put aside for what a crash has left.
constexpr const wchar_t* kKitMutex = L"Global\\Harbinet test kit";

struct TestProgram {
    std::wstring name;  // in the results
    std::wstring command_line;
};

std::wstring Quoted(const fs::path& path) { return L"\"" + path.wstring() + L"\""; }

std::vector<TestProgram> FindPrograms(const fs::path& bin, bool with_admin) {
    std::vector<TestProgram> programs;
    for (const auto& entry : fs::directory_iterator(bin)) {
        const std::wstring name = entry.path().stem().wstring();
        if (name.starts_with(L"harbinet_") && name.ends_with(L"_tests")) {
            programs.push_back({name, Quoted(entry.path())});
        }
    }
    std::ranges::sort(programs, {}, &TestProgram::name);
    const std::wstring desktop = Quoted(bin / L"harbinet_desktop.exe") + L" " +
                                 Quoted(bin / L"Harbinet.exe") + L" --real-desktop";
    const std::wstring limited = IsAdmin() ? Quoted(bin / L"start_limited.exe") + L" " : L"";
    programs.push_back({L"harbinet_desktop", limited + desktop});
    // The rights make no difference to what is left out; it takes its time.
    if (with_admin) {
        programs.push_back({L"harbinet_desktop_admin",
                            desktop + L" --gtest_filter=-HandleTest.*:LogWindowLoadTest.*:"
                                      L"LogBoxTest.*:LeaveTest.*"});
    }
    return programs;
}

// Where the program's and the tests' drives lead to.
bool IsTestsTarget(std::wstring_view target) {
    wchar_t temporary[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temporary);
    const std::wstring scratch = std::wstring(L"\\??\\") + temporary + L"harbinet-desktop-tests";
    return target == L"\\??\\" + ProgramPlaces().data_folder + L"\\files" ||
           target == L"\\??\\C:\\windows" || target.starts_with(scratch);
}

// What a program that was stopped leaves in Explorer. `drives` are those from before.
void ReleaseDrivesBut(DWORD drives) {
    for (wchar_t letter = L'A'; letter <= L'Z'; ++letter) {
        const wchar_t drive[] = {letter, L':', L'\0'};
        wchar_t present[1024] = {};
        if ((drives >> (letter - L'A') & 1U) == 0 && QueryDosDeviceW(drive, present, 1024) != 0 &&
            IsTestsTarget(present)) {
            DefineDosDeviceW(DDD_RAW_TARGET_PATH | DDD_REMOVE_DEFINITION, drive, present);
        }
    }
}

std::string RegistryLine(const wchar_t* name) {
    wchar_t text[128] = {};
    DWORD size = sizeof text;
    RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", name,
                 RRF_RT_REG_SZ, nullptr, text, &size);
    return WideToUtf8(text);
}

// The numbers, because Windows 11 still calls itself Windows 10 in the registry.
std::string WindowsVersion() {
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    RtlGetVersion(&version);
    return "Windows " + std::to_string(version.dwMajorVersion) + "." +
           std::to_string(version.dwMinorVersion) + ", build " +
           std::to_string(version.dwBuildNumber) + " (" + RegistryLine(L"ProductName") + " " +
           RegistryLine(L"DisplayVersion") + ")";
}

class Kit {
public:
    explicit Kit(const fs::path& folder) : results_(folder / L"results") {
        fs::remove_all(results_);
        fs::create_directories(results_);
        summary_.open(results_ / L"summary.txt");
        Tell(WindowsVersion() + (IsAdmin() ? ", as administrator" : ", as user"));
    }

    // Into the summary and onto the screen.
    void Tell(const std::string& line) {
        std::puts(line.c_str());
        std::fflush(stdout);
        summary_ << line << '\n' << std::flush;
    }

    void Fail(const std::string& why) {
        ++failed_;
        Tell("FAILED: " + why);
    }

    void Run(const TestProgram& program) {
        const std::string name = WideToUtf8(program.name);
        const fs::path xml = results_ / (program.name + L".xml");
        const ULONGLONG start = GetTickCount64();
        const TestRun run = RunTestProcess(
            program.command_line + L" " + Quoted(L"--gtest_output=xml:" + xml.wstring()),
            results_ / (program.name + L".log"), InterruptionEvent(), kProgramLimitMilliseconds);
        ReleaseDrivesBut(drives_);
        if (run.end == TestEnd::kStopped) return;
        std::ifstream file(xml, std::ios::binary);
        const TestReport report =
            ReadTestReport(std::string(std::istreambuf_iterator<char>(file), {}));
        passed_ += report.passed;
        failed_ += static_cast<int>(report.failed.size());
        const auto seconds = (GetTickCount64() - start) / 1000;
        Tell(name + ": " + std::to_string(report.passed) + " passed, " +
             std::to_string(report.failed.size()) + " failed, " +
             std::to_string(report.skipped.size()) + " skipped (" + std::to_string(seconds) +
             " s)");
        for (const std::string& test : report.failed) Tell("  failed: " + test);
        for (const auto& test : report.skipped) {
            Tell("  skipped: " + test.name + ": " + test.reason);
        }
        CheckEnd(name, run, report);
    }

    // Counts as one test, which passes when the command ends with 0.
    void RunCommand(const std::wstring& command_line) {
        const TestRun run = RunTestProcess(command_line, {}, InterruptionEvent(), INFINITE);
        ReleaseDrivesBut(drives_);
        if (run.end == TestEnd::kEnded && run.exit_code == 0) {
            ++passed_;
        } else {
            Fail("the command ended with code " + std::to_string(run.exit_code));
        }
    }

    bool Finish() {
        if (IsInterrupted()) Fail("stopped before the end");
        Tell(std::to_string(passed_) + " passed, " + std::to_string(failed_) + " failed");
        return failed_ == 0 && passed_ > 0;
    }

private:
    // A program that dies says nothing about the tests it did not come to.
    void CheckEnd(const std::string& name, const TestRun& run, const TestReport& report) {
        if (run.end == TestEnd::kNotStarted) {
            Fail(name + " cannot be started, error " + std::to_string(run.exit_code));
        } else if (run.end == TestEnd::kTookTooLong) {
            Fail(name + " took more than half an hour");
        } else if (report.failed.empty() && (run.exit_code != 0 || report.passed == 0)) {
            Fail(name + " ended with code " + std::to_string(run.exit_code));
        }
    }

    const DWORD drives_ = GetLogicalDrives();  // before any test
    const fs::path results_;
    std::ofstream summary_;
    int passed_ = 0;
    int failed_ = 0;
};

bool IsProgramRunning() {
    const UniqueKernelHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, kInstanceMutex));
    return mutex || GetLastError() == ERROR_ACCESS_DENIED;
}

// False when the tests must not start.
bool PutAside(Kit& kit, KeptSettings& settings) {
    if (IsProgramRunning()) {
        kit.Fail("Harbinet PRO is running: close it first, also in the notification area");
        return false;
    }
    if (settings.AreKept()) {
        const std::wstring leftovers = ProgramPlaces().data_folder + L" (found by the tests " +
                                       std::to_wstring(GetTickCount64()) + L")";
        kit.Tell(
            "An earlier run was cut off. Its settings are put back; a data folder made since "
            "then is kept as " +
            WideToUtf8(leftovers));
        if (!settings.Restore(leftovers)) {
            kit.Fail("the settings of an earlier run cannot be put back: is a file still open?");
            return false;
        }
    }
    if (settings.Keep()) return true;
    settings.Restore({});
    kit.Fail("settings and data folder cannot be put aside: is a file of " +
             WideToUtf8(ProgramPlaces().data_folder) + " open?");
    return false;
}

struct Options {
    bool admin = false;
    bool wait = false;          // for a key, in the end
    bool runs_command = false;  // the rest of the command line
    std::vector<std::wstring> names;
};

// For tests that are started by something else, Node.js for instance.
void RunCommand(Kit& kit) {
    const std::wstring command_line = std::wcsstr(GetCommandLineW(), L"/run") + 4;
    KeptSettings settings(ProgramPlaces());
    if (!PutAside(kit, settings)) return;
    SetEnvironmentVariableW(L"HARBINET_SETTINGS_KEPT", L"1");
    kit.RunCommand(command_line);
    if (!settings.Restore({})) kit.Fail(kNotRestored);
}

void RunAll(Kit& kit, const fs::path& bin, const Options& options) {
    KeptSettings settings(ProgramPlaces());
    if (options.admin && !IsAdmin()) {
        kit.Fail("/admin needs a prompt that was opened with \"Run as administrator\"");
        return;
    }
    if (!PutAside(kit, settings)) return;
    for (const TestProgram& program : FindPrograms(bin, options.admin)) {
        const bool is_chosen =
            options.names.empty() ||
            std::ranges::find(options.names, program.name) != options.names.end();
        if (is_chosen && !IsInterrupted()) kit.Run(program);
    }
    if (!settings.Restore({})) kit.Fail(kNotRestored);
}

// After a double click the window would close with the last line.
void KeepWindowOpen(const Options& options) {
    DWORD mode = 0;
    DWORD processes[3];
    if (options.wait && GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) &&
        GetConsoleProcessList(processes, 3) <= 2 && !IsInterrupted()) {
        std::puts("Press any key to close this window.");
        _getch();
    }
}

}  // namespace
}  // namespace harbinet::kit

int wmain(int argc, wchar_t** argv) {
    using namespace harbinet::kit;
    Options options;
    for (int i = 1; i < argc && !options.runs_command; ++i) {
        const std::wstring argument = argv[i];
        if (argument == L"/admin") {
            options.admin = true;
        } else if (argument == L"/wait") {
            options.wait = true;
        } else if (argument == L"/run") {
            options.runs_command = true;
        } else {
            options.names.push_back(argument);
        }
    }
    const harbinet::UniqueKernelHandle mutex(CreateMutexW(nullptr, FALSE, kKitMutex));
    if (!mutex || GetLastError() == ERROR_ALREADY_EXISTS) {
        std::puts("FAILED: the tests are running already\n0 passed, 1 failed");
        KeepWindowOpen(options);
        return 1;
    }
    const std::filesystem::path bin =
        std::filesystem::path(harbinet::ExecutablePath()).parent_path();
    CatchInterruptions(kCloseMilliseconds);
    bool good = false;
    {
        Kit kit(bin.parent_path());
        if (options.runs_command) {
            RunCommand(kit);
        } else {
            RunAll(kit, bin, options);
        }
        good = kit.Finish();
    }
    TellFinished();
    KeepWindowOpen(options);
    return good ? 0 : 1;
}
