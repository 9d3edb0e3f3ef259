// One object for the whole process, made when it is first asked for and never destroyed: connection
// threads may still use it while exit() runs the destructors of everything else. Thread-safe.
#pragma once

#include <memory>

namespace harbinet {

template <typename T>
T& Immortal() {
    static T& object = *std::make_unique<T>().release();
    return object;
}

}  // namespace harbinet
