// A bare listing, the yardstick for what reading a folder costs by itself. Walks FOLDER with
// FindFirstFileW as often as asked and prints the microseconds of each walk, one a line.
//
//   list_loop FOLDER WALKS
#include <windows.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

namespace {

// The sum of all name lengths and sizes, so that no walk can be left out.
std::uint64_t Walk(const std::wstring& pattern) {
    WIN32_FIND_DATAW found;
    const HANDLE find = FindFirstFileW(pattern.c_str(), &found);
    if (find == INVALID_HANDLE_VALUE) return 0;
    std::uint64_t sum = 0;
    do {
        sum += std::wcslen(found.cFileName) + found.nFileSizeLow;
    } while (FindNextFileW(find, &found));
    FindClose(find);
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::string folder = argv[1];
    const std::wstring pattern = std::wstring(folder.begin(), folder.end()) + L"\\*";
    for (int walk = 0; walk < std::atoi(argv[2]); ++walk) {
        const auto start = std::chrono::steady_clock::now();
        if (Walk(pattern) == 0) return 1;
        const std::chrono::duration<double, std::micro> took =
            std::chrono::steady_clock::now() - start;
        std::printf("%.0f\n", took.count());
    }
    return 0;
}
