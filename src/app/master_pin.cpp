#include "app/master_pin.h"

#include <algorithm>

namespace harbinet {

bool IsSixDigits(std::string_view text) {
    return text.size() == 6 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

LoadedMasterPin LoadMasterPin(const std::optional<std::string>& stored, RandomSource& random) {
    if (stored && IsSixDigits(*stored)) return {*stored, false};
    return {RandomPin(random), true};
}

}  // namespace harbinet
