#include "app/ascii.h"

namespace harbinet {

std::wstring WidenAscii(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

std::string HexDigits(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

}  // namespace harbinet
