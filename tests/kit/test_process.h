// Runs one test program with all that it starts.
#pragma once

#include <windows.h>

#include <string>

namespace harbinet::kit {

enum class TestEnd { kEnded, kNotStarted, kTookTooLong, kStopped };

struct TestRun {
    TestEnd end;
    DWORD exit_code;  // after kEnded
};

// Runs the command line with its output in the file `log` (empty: with this process's standard
// handles), until it ends, `limit_milliseconds` are
// over or the event `stop` is set. Nothing that it started outlives the call.
TestRun RunTestProcess(std::wstring command_line, const std::wstring& log, HANDLE stop,
                       DWORD limit_milliseconds);

}  // namespace harbinet::kit
