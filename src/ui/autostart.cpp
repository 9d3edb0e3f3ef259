#include "ui/autostart.h"

#include <windows.h>

#include <optional>

#include "app/paths_win.h"
#include "app/settings_win.h"
#include "app/ui_thread.h"
#include "app/unique_handle_win.h"
#include "ui/texts.h"

namespace harbinet {
namespace {

constexpr const wchar_t* kRunKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr const wchar_t* kValueName = L"Harbinet PRO";
constexpr unsigned long kMaxBytes = 8192;

}  // namespace

bool IsAutostartEnabled() {
    AssertUiThread();
    const std::optional<RegistryText> stored = ReadRegistryText(kRunKey, kValueName, kMaxBytes);
    if (!stored || (stored->type != REG_SZ && stored->type != REG_EXPAND_SZ)) return false;
    return stored->text.find(ExecutablePath()) != std::wstring::npos;
}

bool SetAutostart(bool enabled) {
    AssertUiThread();
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kRunKey, 0, KEY_SET_VALUE, key.Out()) != ERROR_SUCCESS) {
        return false;
    }
    if (enabled) {
        const std::wstring command = AutostartCommand(ExecutablePath());
        const auto bytes = static_cast<DWORD>((command.size() + 1) * sizeof(wchar_t));
        return RegSetValueExW(key.Get(), kValueName, 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(command.c_str()),
                              bytes) == ERROR_SUCCESS;
    }
    const LSTATUS result = RegDeleteValueW(key.Get(), kValueName);
    return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}

}  // namespace harbinet
