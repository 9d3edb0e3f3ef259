// Stands in for Windows' netsh.exe: appends its command line, without its own name, to C:\netsh.log
// as a line of UTF-8, and ends as the real one does: with 1 when a rule is to be deleted that
// nobody has added, else with 0.
#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>

#include "app/encoding.h"

namespace {

constexpr const char* kLog = "C:\\netsh.log";

// Everything after the first argument, with the quoting of the caller.
std::wstring Arguments() {
    const wchar_t* rest = GetCommandLineW();
    bool quoted = false;
    for (; *rest != L'\0' && (quoted || *rest != L' '); ++rest) {
        if (*rest == L'"') quoted = !quoted;
    }
    while (*rest == L' ') ++rest;
    return rest;
}

}  // namespace

int wmain() {
    std::ifstream file(kLog);
    const std::string before{std::istreambuf_iterator<char>(file), {}};
    file.close();
    const std::string command = harbinet::WideToUtf8(Arguments());
    std::ofstream(kLog, std::ios::app) << command << "\n";
    const bool deletes = command.find(" delete rule ") != std::string::npos;
    return deletes && before.find(" add rule ") == std::string::npos ? 1 : 0;
}
