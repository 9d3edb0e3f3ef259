#include <windows.h>

#include <shlobj.h>

#include "app/administrator_win.h"
#include "app/immortal.h"
#include "ui/drive_mapping.h"

namespace harbinet {
namespace {

class WindowsDrives final : public DriveSystem {
public:
    bool IsAdministrator() override { return IsAdmin(); }

    unsigned long LogicalDrives() override { return GetLogicalDrives(); }

    std::wstring FullPath(const std::wstring& path) override {
        wchar_t buffer[MAX_PATH] = {};
        const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, buffer, nullptr);
        // A longer result reports the size it needs and writes nothing.
        return length < MAX_PATH ? std::wstring(buffer, length) : std::wstring();
    }

    unsigned long Define(const std::wstring& drive, const std::wstring& target) override {
        return Call(DDD_RAW_TARGET_PATH, drive, target);
    }

    unsigned long Remove(const std::wstring& drive, const std::wstring& target) override {
        return Call(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE | DDD_NO_BROADCAST_SYSTEM,
                    drive, target);
    }

    void NotifyAdded(const std::wstring& drive_root) override {
        SHChangeNotify(SHCNE_DRIVEADD, SHCNF_PATHW, drive_root.c_str(), nullptr);
    }

    void NotifyRemoved(const std::wstring& drive_root) override {
        SHChangeNotify(SHCNE_DRIVEREMOVED, SHCNF_PATHW, drive_root.c_str(), nullptr);
    }

private:
    static unsigned long Call(DWORD flags, const std::wstring& drive, const std::wstring& target) {
        return DefineDosDeviceW(flags, drive.c_str(), target.c_str()) ? ERROR_SUCCESS
                                                                      : GetLastError();
    }
};

}  // namespace

DriveSystem& SystemDrives() { return Immortal<WindowsDrives>(); }

}  // namespace harbinet
