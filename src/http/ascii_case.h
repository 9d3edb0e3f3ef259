// Searching texts whose letter case does not count, as in header values. Pure.
#pragma once

#include <cstddef>
#include <string_view>

namespace harbinet {

// Where `lower_case` first occurs in `text` when the case of ASCII letters is ignored; npos when it
// does not. Linear for patterns of constant length; copies nothing.
std::size_t FindIgnoringCase(std::string_view text, std::string_view lower_case);

// True when `text` is `lower_case` but for the case of ASCII letters.
bool EqualsIgnoringCase(std::string_view text, std::string_view lower_case);

}  // namespace harbinet
