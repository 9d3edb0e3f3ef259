// PINs and tokens from the operating system's cryptographic random source. Thread-safe: nothing
// here keeps state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace harbinet {

class RandomSource {
public:
    virtual ~RandomSource() = default;
    // Fills all of `bytes`; on failure returns false and leaves them as they were.
    virtual bool Fill(std::span<std::uint8_t> bytes) = 0;
    // Milliseconds since the system started, truncated: what a token falls back to when Fill fails.
    virtual std::uint32_t TickCount() = 0;
};

// The system's generator (CNG). Lives as long as the process.
RandomSource& SystemRandom();

// Six ASCII digits, leading zeros kept. "000000" when the source fails: a PIN is always made.
std::string RandomPin(RandomSource& source);

// `byte_count` random bytes as 2 * byte_count lower-case hex digits. When the source fails, byte i
// is the low byte of the tick count plus i, so that the program goes on.
std::string RandomHexToken(RandomSource& source, std::size_t byte_count);

}  // namespace harbinet
