// A wall clock that a test sets. One for the whole program: tests run one after the other.
#pragma once

#include <atomic>
#include <cstdint>

namespace harbinet::test {

inline std::atomic<std::uint64_t> wall_seconds{0};

// To be passed as a WallClock.
inline std::uint64_t TestWallSeconds() { return wall_seconds; }

}  // namespace harbinet::test
