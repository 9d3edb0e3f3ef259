// The Master PIN: six ASCII digits that survive restarts in the setting MasterPin6.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "app/random.h"

namespace harbinet {

inline constexpr const wchar_t* kMasterPinSetting = L"MasterPin6";

// Exactly six characters, each "0" to "9".
bool IsSixDigits(std::string_view text);

struct LoadedMasterPin {
    std::string pin;
    bool must_store = false;  // the pin is new and belongs into the setting
};

// `stored` is the setting's text in UTF-8, or nothing when it is not set. A missing or invalid text
// is replaced by a random PIN.
LoadedMasterPin LoadMasterPin(const std::optional<std::string>& stored, RandomSource& random);

}  // namespace harbinet
