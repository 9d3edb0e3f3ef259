// The roof: owns everything the program shares, brings it up in a fixed order, runs the message
// loop and takes it down again. UI thread only.
#pragma once

#include <windows.h>

#include <string>

namespace harbinet {

// Runs the whole program; returns its exit code. `command_line` may be null.
int RunApplication(HINSTANCE instance, const wchar_t* command_line, int show_state);

}  // namespace harbinet
