#include "http/ascii_case.h"

#include <algorithm>

#include "app/ascii.h"

namespace harbinet {
namespace {

bool IsLetter(char c, char lower) { return LowerAscii(c) == lower; }

}  // namespace

std::size_t FindIgnoringCase(std::string_view text, std::string_view lower_case) {
    const auto found =
        std::search(text.begin(), text.end(), lower_case.begin(), lower_case.end(), IsLetter);
    return found == text.end() && !lower_case.empty()
               ? std::string_view::npos
               : static_cast<std::size_t>(found - text.begin());
}

bool EqualsIgnoringCase(std::string_view text, std::string_view lower_case) {
    return std::equal(text.begin(), text.end(), lower_case.begin(), lower_case.end(), IsLetter);
}

}  // namespace harbinet
