// harbinet_desktop HARBINET.EXE [--real-desktop] [GoogleTest's options] : drives the program's
// windows. The last line is "N passed, N failed"; a skipped test counts as neither.
#include <windows.h>

#include <gtest/gtest.h>
#include <shellapi.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "net/socket_win.h"
#include "program.h"

namespace {

// As the system has it: argv knows only the characters of its code page.
std::wstring FirstArgument() {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!arguments) return {};
    std::wstring first = count > 1 ? arguments[1] : L"";
    LocalFree(arguments);
    return first;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc < 2) {
        std::fputs("usage: harbinet_desktop HARBINET.EXE [--real-desktop] [--gtest_...]\n", stderr);
        return 125;
    }
    wchar_t program[MAX_PATH] = {};
    GetFullPathNameW(FirstArgument().c_str(), MAX_PATH, program, nullptr);
    harbinet::test::SetProgramPath(program);
    harbinet::test::SetOnRealDesktop(argc > 2 && std::string_view(argv[2]) == "--real-desktop");
    WSADATA winsock = {};
    WSAStartup(MAKEWORD(2, 2), &winsock);
    const int result = RUN_ALL_TESTS();
    std::error_code ignored;
    std::filesystem::remove_all(harbinet::test::ScratchFolder(), ignored);
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    std::printf("%d passed, %d failed\n", tests.successful_test_count(), tests.failed_test_count());
    return result;
}
