// Ctrl-C, and a console window that is closed: whoever works in between stops, and puts everything
// back before the process ends. One for each process, because the console knows no other.
#pragma once

#include <windows.h>

namespace harbinet::kit {

// From now on neither Ctrl-C nor Ctrl-Break ends the process at once, and a closed window only
// after TellFinished, or after `close_milliseconds`. Called once.
void CatchInterruptions(DWORD close_milliseconds);

// An event that is set by the first interruption and stays so.
HANDLE InterruptionEvent();
bool IsInterrupted();

// Everything is put back: a process whose window was closed may end.
void TellFinished();

// What the console's thread calls; named here for the tests.
BOOL WINAPI OnInterruption(DWORD reason);

}  // namespace harbinet::kit
