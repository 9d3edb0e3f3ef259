// A wall clock that a test sets, and a local time that stands still. One for the whole program:
// tests run one after the other.
#pragma once

#include <atomic>
#include <cstdint>

#include "app/clock.h"

namespace harbinet::test {

inline std::atomic<std::uint64_t> wall_seconds{0};

// To be passed as a WallClock.
inline std::uint64_t TestWallSeconds() { return wall_seconds; }

// To be passed as a LocalClock: 2026-01-05 09:07:03.042.
inline LocalTime FixedLocalTime() { return {2026, 1, 5, 9, 7, 3, 42}; }

}  // namespace harbinet::test
