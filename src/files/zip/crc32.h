// CRC-32 as ZIP uses it (reflected polynomial 0xEDB88320), 16 bytes at a step.
#pragma once

#include <cstdint>
#include <string_view>

namespace harbinet {

// Of all of `bytes`, or of what came before them and gave `before` and of them. Any thread.
std::uint32_t Crc32(std::string_view bytes, std::uint32_t before = 0);

}  // namespace harbinet
