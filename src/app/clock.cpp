#include "app/clock.h"

#include <chrono>

namespace harbinet {

std::uint64_t WallSeconds() {
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::seconds>(since_epoch).count());
}

}  // namespace harbinet
