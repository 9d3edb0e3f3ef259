#include "interruption.h"

#include <atomic>

#include "app/unique_handle_win.h"

namespace harbinet::kit {
namespace {

struct Interruption {
    const UniqueKernelHandle stop{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const UniqueKernelHandle finished{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<DWORD> close_milliseconds = 0;
};

Interruption& TheInterruption() {
    static Interruption interruption;
    return interruption;
}

}  // namespace

void CatchInterruptions(DWORD close_milliseconds) {
    TheInterruption().close_milliseconds = close_milliseconds;
    SetConsoleCtrlHandler(OnInterruption, TRUE);
}

HANDLE InterruptionEvent() { return TheInterruption().stop.Get(); }

bool IsInterrupted() { return WaitForSingleObject(InterruptionEvent(), 0) == WAIT_OBJECT_0; }

void TellFinished() { SetEvent(TheInterruption().finished.Get()); }

BOOL WINAPI OnInterruption(DWORD reason) {
    SetEvent(InterruptionEvent());
    // The process ends when this returns, unless it was Ctrl-C.
    if (reason != CTRL_C_EVENT && reason != CTRL_BREAK_EVENT) {
        WaitForSingleObject(TheInterruption().finished.Get(), TheInterruption().close_milliseconds);
    }
    return TRUE;
}

}  // namespace harbinet::kit
