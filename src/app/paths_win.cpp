#include "app/paths_win.h"

#include <windows.h>

#include <knownfolders.h>
#include <shlobj.h>
#include <shlwapi.h>

namespace harbinet {

std::wstring LocalAppDataFolder() {
    PWSTR path = nullptr;
    const HRESULT result = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &path);
    std::wstring folder = SUCCEEDED(result) && path ? path : L"";
    CoTaskMemFree(path);
    return folder;
}

std::wstring BaseDataFolderIn(const std::wstring& local_app_data) {
    return local_app_data + L"\\Harbinet";
}

std::wstring BaseDataFolder() {
    const std::wstring local = LocalAppDataFolder();
    if (local.empty()) return {};
    std::wstring folder = BaseDataFolderIn(local);
    CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

void EnsureFolder(const std::wstring& path) {
    if (!PathFileExistsW(path.c_str())) SHCreateDirectoryExW(nullptr, path.c_str(), nullptr);
}

std::wstring ExecutablePath() {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    return {path, length};
}

}  // namespace harbinet
