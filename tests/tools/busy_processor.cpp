// busy_processor PROCESS : keeps a processor busy while the process of that id lives.
#include <windows.h>

#include <cstdlib>

int main(int count, char** arguments) {
    if (count != 2) return 2;
    HANDLE const process = OpenProcess(SYNCHRONIZE, FALSE,
                                       static_cast<DWORD>(std::strtoul(arguments[1], nullptr, 10)));
    if (!process) return 1;
    volatile unsigned long turns = 0;
    while (WaitForSingleObject(process, 0) == WAIT_TIMEOUT) {
        for (int i = 0; i < 50'000'000; ++i) turns = turns + 1;
    }
    return 0;
}
