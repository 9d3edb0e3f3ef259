// The rights the program runs with.
#pragma once

namespace harbinet {

// True when the caller's token is a member of the built-in Administrators group; under UAC, only
// when elevated. Any thread.
bool IsAdmin();

}  // namespace harbinet
