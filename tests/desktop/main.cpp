// harbinet_desktop HARBINET.EXE [GoogleTest's options] : drives the program's windows. The last
// line is "N passed, N failed"; a skipped test counts as neither.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>

#include "app/encoding.h"
#include "net/socket_win.h"
#include "program.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc < 2) {
        std::fputs("usage: harbinet_desktop HARBINET.EXE [--gtest_...]\n", stderr);
        return 125;
    }
    wchar_t program[MAX_PATH] = {};
    GetFullPathNameW(harbinet::Utf8ToWide(argv[1]).c_str(), MAX_PATH, program, nullptr);
    harbinet::test::SetProgramPath(program);
    WSADATA winsock = {};
    WSAStartup(MAKEWORD(2, 2), &winsock);
    const int result = RUN_ALL_TESTS();
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    std::printf("%d passed, %d failed\n", tests.successful_test_count(), tests.failed_test_count());
    return result;
}
