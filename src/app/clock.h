// Time as plain values. Everything that depends on the time takes it as an argument or through one
// of these function types, so tests set the clock.
#pragma once

#include <cstdint>

namespace harbinet {

// A broken-down local time, as the user's clock shows it.
struct LocalTime {
    int year = 0;
    int month = 0;  // 1 to 12
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

using LocalClock = LocalTime (*)();

// Wall-clock seconds since 1970-01-01 UTC: the time of sessions, bans and share links.
using WallClock = std::uint64_t (*)();

// The current wall-clock second. Any thread.
std::uint64_t WallSeconds();

// The current local time with milliseconds. Any thread.
LocalTime SystemLocalTime();

}  // namespace harbinet
