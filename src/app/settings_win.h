// The two persisted settings: REG_SZ values under "Software\Harbinet PRO" of the current user. UI
// thread.
#pragma once

#include <optional>
#include <string>

namespace harbinet {

inline constexpr const wchar_t* kSettingsKey = L"Software\\Harbinet PRO";
inline constexpr const wchar_t* kWebRootSetting = L"WebRootPath";

// The value's text, or nothing when it is missing, of another type, empty or longer than 255
// characters.
std::optional<std::wstring> ReadSetting(const std::wstring& name);

// Stores the text; false when the registry refused.
bool WriteSetting(const std::wstring& name, const std::wstring& text);

// What a bounded read of a text value gave: its registry type and its text up to the first null
// character.
struct RegistryText {
    unsigned long type = 0;
    std::wstring text;
};

// Reads a value of at most `max_bytes` under `key` of the current user; nothing when it is missing
// or longer.
std::optional<RegistryText> ReadRegistryText(const wchar_t* key, const std::wstring& name,
                                             unsigned long max_bytes);

}  // namespace harbinet
