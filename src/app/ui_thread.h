// The thread that starts the program, shows its windows and controls the server. Headers say "UI
// thread" of what nobody else may call; debug builds assert it there.
#pragma once

#include <cassert>

namespace harbinet {

// True on the thread that runs main.
bool IsUiThread();

// Debug builds end the program when another thread comes by; other builds do nothing.
inline void AssertUiThread() { assert(IsUiThread()); }

}  // namespace harbinet
