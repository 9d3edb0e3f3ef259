#include "kept_settings.h"

#include <windows.h>

#include <filesystem>
#include <vector>

#include "app/paths_win.h"
#include "app/settings_win.h"
#include "app/unique_handle_win.h"

namespace harbinet::kit {
namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* kRunValue = L"run value";
constexpr const wchar_t* kHadSettings = L"had settings";
constexpr const wchar_t* kHadFolder = L"had data folder";
// Written last and removed first: with it, all the rest is there.
constexpr const wchar_t* kComplete = L"complete";

bool KeyExists(const std::wstring& key) {
    UniqueRegistryKey opened;
    return RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, opened.Out()) ==
           ERROR_SUCCESS;
}

bool DeleteKey(const std::wstring& key) {
    const LSTATUS result = RegDeleteTreeW(HKEY_CURRENT_USER, key.c_str());
    return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}

bool CopyKey(const std::wstring& from, const std::wstring& to) {
    UniqueRegistryKey target;
    return RegCreateKeyExW(HKEY_CURRENT_USER, to.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                           target.Out(), nullptr) == ERROR_SUCCESS &&
           RegCopyTreeW(HKEY_CURRENT_USER, from.c_str(), target.Get()) == ERROR_SUCCESS;
}

bool CopyValue(const std::wstring& from, const std::wstring& name, const std::wstring& to,
               const std::wstring& new_name) {
    DWORD type = 0;
    DWORD size = 0;
    if (RegGetValueW(HKEY_CURRENT_USER, from.c_str(), name.c_str(), RRF_RT_ANY | RRF_NOEXPAND,
                     &type, nullptr, &size) != ERROR_SUCCESS) {
        return false;
    }
    std::vector<BYTE> data(size);
    return RegGetValueW(HKEY_CURRENT_USER, from.c_str(), name.c_str(), RRF_RT_ANY | RRF_NOEXPAND,
                        &type, data.data(), &size) == ERROR_SUCCESS &&
           RegSetKeyValueW(HKEY_CURRENT_USER, to.c_str(), new_name.c_str(), type, data.data(),
                           size) == ERROR_SUCCESS;
}

bool HasValue(const std::wstring& key, const std::wstring& name) {
    return RegGetValueW(HKEY_CURRENT_USER, key.c_str(), name.c_str(), RRF_RT_ANY | RRF_NOEXPAND,
                        nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

bool SetMark(const std::wstring& key, const wchar_t* name) {
    const DWORD yes = 1;
    return RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), name, REG_DWORD, &yes, sizeof yes) ==
           ERROR_SUCCESS;
}

bool DeleteValue(const std::wstring& key, const std::wstring& name) {
    const LSTATUS result = RegDeleteKeyValueW(HKEY_CURRENT_USER, key.c_str(), name.c_str());
    return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}

bool Move(const std::wstring& from, const std::wstring& to) {
    return MoveFileExW(from.c_str(), to.c_str(), 0) != FALSE;
}

}  // namespace

KeptPlaces ProgramPlaces() {
    const std::wstring data_folder = LocalAppDataFolder() + L"\\Harbinet";
    return {.settings_key = kSettingsKey,
            .run_key = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run",
            .run_value = L"Harbinet PRO",
            .kept_key = std::wstring(kSettingsKey) + L" (kept by the tests)",
            .data_folder = data_folder,
            .kept_folder = data_folder + L" (kept by the tests)"};
}

bool KeptSettings::AreKept() const { return HasValue(places_.kept_key, kComplete); }

bool KeptSettings::Keep() {
    // Half a copy is left by a crash before anything was changed: it is made anew.
    if (!DeleteKey(places_.kept_key) || !KeepRegistry()) return false;
    const bool has_folder = fs::exists(places_.data_folder);
    if (has_folder && !SetMark(places_.kept_key, kHadFolder)) return false;
    if (!SetMark(places_.kept_key, kComplete)) return false;
    if (has_folder && !Move(places_.data_folder, places_.kept_folder)) {
        DeleteKey(places_.kept_key);
        return false;
    }
    return DeleteKey(places_.settings_key) && DeleteValue(places_.run_key, places_.run_value);
}

bool KeptSettings::KeepRegistry() const {
    if (KeyExists(places_.settings_key) &&
        (!CopyKey(places_.settings_key, places_.kept_key + L"\\settings") ||
         !SetMark(places_.kept_key, kHadSettings))) {
        return false;
    }
    return !HasValue(places_.run_key, places_.run_value) ||
           CopyValue(places_.run_key, places_.run_value, places_.kept_key, kRunValue);
}

bool KeptSettings::Restore(const std::wstring& leftovers) {
    if (!AreKept()) return true;
    // Each step can be done twice: a crash in between is made good by the next call.
    if (!RestoreRegistry() || !RestoreDataFolder(leftovers)) return false;
    return DeleteValue(places_.kept_key, kComplete) && DeleteKey(places_.kept_key);
}

bool KeptSettings::RestoreRegistry() const {
    if (!DeleteKey(places_.settings_key)) return false;
    if (HasValue(places_.kept_key, kHadSettings) &&
        !CopyKey(places_.kept_key + L"\\settings", places_.settings_key)) {
        return false;
    }
    if (HasValue(places_.kept_key, kRunValue)) {
        return CopyValue(places_.kept_key, kRunValue, places_.run_key, places_.run_value);
    }
    return DeleteValue(places_.run_key, places_.run_value);
}

bool KeptSettings::RestoreDataFolder(const std::wstring& leftovers) const {
    const bool is_kept = fs::exists(places_.kept_folder);
    // Kept, but not there: it was never moved, or has been moved back already.
    if (!is_kept && HasValue(places_.kept_key, kHadFolder)) return true;
    if (fs::exists(places_.data_folder)) {
        std::error_code error;
        if (leftovers.empty()) {
            fs::remove_all(places_.data_folder, error);
        } else if (!Move(places_.data_folder, leftovers)) {
            return false;
        }
        if (error) return false;
    }
    return !is_kept || Move(places_.kept_folder, places_.data_folder);
}

}  // namespace harbinet::kit
