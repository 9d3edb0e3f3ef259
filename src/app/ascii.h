// Texts of ASCII characters: widened, in lower case, as hex digits. Pure functions that ask no
// locale.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace harbinet {

// "A" to "Z" in lower case; every other character as it is.
template <typename Character>
constexpr Character LowerAscii(Character c) {
    return c >= 'A' && c <= 'Z' ? static_cast<Character>(c - 'A' + 'a') : c;
}

// A std::string or std::wstring with each of its letters in lower case.
template <typename Text>
Text LowerAsciiText(Text text) {
    std::transform(text.begin(), text.end(), text.begin(), LowerAscii<typename Text::value_type>);
    return text;
}

// An ASCII text (an address, a PIN, a number) as part of a log message or a label.
std::wstring WidenAscii(std::string_view ascii);

// Lower-case hex, two digits a byte, high nibble first.
std::string HexDigits(std::span<const std::uint8_t> bytes);

}  // namespace harbinet
