// The main window: the server's address and PIN, its switch, the status panel, and the commands of
// the tray icon. Small and fixed in size; minimising it hides it to the notification area. UI
// thread, unless a member says otherwise.
#pragma once

#include <windows.h>

#include "ui/appearance.h"
#include "ui/desktop_services.h"
#include "ui/drive_mapping.h"
#include "ui/gdi.h"
#include "ui/log_window.h"
#include "ui/main_controls.h"
#include "ui/texts.h"
#include "ui/tray_icon.h"
#include "ui/window.h"

namespace harbinet {

// The server's state changed; carries no data.
inline constexpr UINT WM_APP_REFRESH_STATUS = WM_APP + 10;

// On failure false, with the last error kept.
bool RegisterMainWindowClass(HINSTANCE instance);

class MainWindow final : public Window {
public:
    // `instance_mutex` is the mutex that keeps a second copy out; it may be null. The object must
    // live as long as any thread can log or change the server's state: to the end of the process.
    MainWindow(DesktopServices& services, DriveMapping& drive, HINSTANCE instance,
               HANDLE instance_mutex);
    ~MainWindow() override;

    // Creates the window, hidden, and starts the server while it is being created. On failure
    // false, with the last error kept.
    bool Create();

    // Adds the icon once; further calls do nothing.
    void AddTrayIcon();

    // Asks the window to show the current state; does nothing while there is none. Any thread.
    void PostRefreshStatus() const;

    friend bool RegisterMainWindowClass(HINSTANCE instance);

private:
    struct Command;
    static const Command kCommands[];

    LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;
    LRESULT OnCreate();
    LRESULT OnCommand(WPARAM wparam, LPARAM lparam);
    LRESULT OnSize(WPARAM size_type);
    LRESULT OnPaint();
    LRESULT OnDestroy();
    LRESULT OnControlColour(HDC dc) const;
    LRESULT OnTrayIcon(UINT mouse_message);
    LRESULT OnTimer(WPARAM timer, LPARAM lparam);
    LRESULT OnOther(UINT message, WPARAM wparam, LPARAM lparam);

    // The commands of buttons, fields and the tray menu.
    void ToggleServer();
    void ToggleStatusPanel();
    void OpenLogs();
    void OpenExplorer();
    void CopyUrlAndPin();
    void ApplyAutostart();
    void OpenBrowser();
    void PickWebRoot();
    void ResetWebRoot();
    void RefillAddresses();
    void ApplyAddress();
    void ApplyMasterPin();
    void Restore();
    void Close();
    void ShowTrayMenu();

    void Layout() const;
    void RefreshStatus();
    StatusSnapshot ReadStatus() const;
    void UpdateTrayTip();
    void ChangeWebRoot(const std::wstring& path);
    std::wstring CurrentLink() const;
    void ShowError(const std::wstring& text) const;

    DesktopServices& services_;
    DriveMapping& drive_;
    const HINSTANCE instance_;
    // What Explorer tells all windows after it has made its taskbar; 0 when it cannot be known.
    const UINT taskbar_created_;
    Appearance appearance_;
    MainControls controls_;
    TrayIcon tray_icon_;
    UniqueBitmap qr_code_;
    LogWindow log_window_;
    bool panel_shown_ = false;
};

}  // namespace harbinet
