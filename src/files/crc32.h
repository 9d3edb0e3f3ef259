// CRC-32 as ZIP uses it (reflected polynomial 0xEDB88320), 16 bytes at a step.
#pragma once

#include <cstdint>
#include <string_view>

namespace harbinet {

// Of all of `bytes`. Any thread.
std::uint32_t Crc32(std::string_view bytes);

}  // namespace harbinet
