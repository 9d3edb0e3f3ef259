// Threads that nobody waits for, such as one for each connection.
//
// No detached std::thread: MinGW's thread library hands the descriptor of a thread that ends
// before it is detached to the next thread and then ends it once more. Threads get lost that way,
// or begin without their function. Threads of the C runtime keep no such descriptor.
#pragma once

#include <functional>

namespace harbinet {

// Calls the function once, on a thread of its own. An exception that leaves it ends the process.
// Throws std::system_error when the system has no thread left, std::bad_alloc when there is no
// memory for the function. Any thread.
void StartDetached(std::function<void()> run);

}  // namespace harbinet
