#include "ui/web_root_change.h"

#include "app/paths_win.h"
#include "app/settings_win.h"
#include "app/ui_thread.h"

namespace harbinet {

bool ApplyWebRoot(DesktopServices& services, DriveMapping& drive, const std::wstring& path) {
    AssertUiThread();
    if (path.empty()) return false;
    const bool was_running = services.server.IsRunning();
    if (was_running) services.server.Stop();
    drive.Unmount();
    services.web_root.Set(path);
    EnsureFolder(path);
    // When the registry refuses, the new folder still counts for this run.
    WriteSetting(kWebRootSetting, path);
    services.shares.ClearShareLinks();
    services.log.Log(L"WEBROOT changed to: " + path + L" (share links cleared)");
    drive.Mount();
    if (was_running) services.server.Start();
    return true;
}

}  // namespace harbinet
