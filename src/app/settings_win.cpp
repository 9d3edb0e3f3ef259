#include "app/settings_win.h"

#include <windows.h>

#include <vector>

#include "app/ui_thread.h"
#include "app/unique_handle_win.h"

namespace harbinet {

std::optional<RegistryText> ReadRegistryText(const wchar_t* key, const std::wstring& name,
                                             unsigned long max_bytes) {
    AssertUiThread();
    UniqueRegistryKey opened;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, key, 0, KEY_READ, opened.Out()) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    // One character more than may be read, zeroed: a stored text need not carry its terminator.
    std::vector<wchar_t> buffer(max_bytes / sizeof(wchar_t) + 1, L'\0');
    DWORD type = 0;
    DWORD bytes = max_bytes;
    if (RegQueryValueExW(opened.Get(), name.c_str(), nullptr, &type,
                         reinterpret_cast<BYTE*>(buffer.data()), &bytes) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return RegistryText{type, std::wstring(buffer.data())};
}

std::optional<std::wstring> ReadSetting(const std::wstring& name) {
    constexpr DWORD kMaxBytes = 512;
    std::optional<RegistryText> value = ReadRegistryText(kSettingsKey, name, kMaxBytes);
    if (!value || value->type != REG_SZ || value->text.empty()) return std::nullopt;
    return std::move(value->text);
}

bool WriteSetting(const std::wstring& name, const std::wstring& text) {
    AssertUiThread();
    UniqueRegistryKey key;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, kSettingsKey, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_SET_VALUE, nullptr, key.Out(), nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return RegSetValueExW(key.Get(), name.c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(text.c_str()), bytes) == ERROR_SUCCESS;
}

}  // namespace harbinet
