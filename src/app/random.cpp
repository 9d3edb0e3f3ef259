#include "app/random.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

#include "app/ascii.h"

namespace harbinet {

std::string RandomPin(RandomSource& source) {
    std::array<std::uint8_t, 4> bytes{};
    // A failing source leaves zeros, and the PIN is "000000". That is meant.
    source.Fill(bytes);
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    char text[8];
    std::snprintf(text, sizeof text, "%06u", static_cast<unsigned>(value % 1'000'000));
    return text;
}

std::string RandomHexToken(RandomSource& source, std::size_t byte_count) {
    std::vector<std::uint8_t> bytes(byte_count, 0);
    if (!source.Fill(bytes)) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<std::uint8_t>(source.TickCount() + i);
        }
    }
    return HexDigits(bytes);
}

}  // namespace harbinet
