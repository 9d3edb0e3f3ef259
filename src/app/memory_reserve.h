// Memory for telling that there is no memory. The first exception of a thread needs some for the
// thread's own bookkeeping, and without it the C++ library ends the process instead of throwing. A
// request for memory that fails gives this reserve back before it throws. Thread-safe.
#pragma once

#include <cstddef>

namespace harbinet {

// Enough for the first exceptions of many threads.
inline constexpr std::size_t kMemoryReserveBytes = std::size_t{64} * 1024;

// Sets the reserve aside again if it is gone and the memory is there. From the first call on `new`
// gives it back before it throws std::bad_alloc.
void KeepMemoryReserve() noexcept;
bool HasMemoryReserve() noexcept;

// For who asks for memory by other means than `new`, before it throws.
void GiveBackMemoryReserve() noexcept;

// Takes what the calling thread's first exception needs now. For threads that live long.
void PrepareThreadForExceptions() noexcept;

}  // namespace harbinet
