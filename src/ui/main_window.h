// The main window: the server's address and PIN, its switch, the status panel, and the commands of
// the tray icon. Small and fixed in size; minimising it hides it to the notification area. UI
// thread, unless a member says otherwise.
#pragma once

#include <windows.h>

#include <memory>

#include "ui/desktop_services.h"
#include "ui/drive_mapping.h"

namespace harbinet {

// On failure false, with the last error kept.
bool RegisterMainWindowClass(HINSTANCE instance);

class MainWindow {
public:
    // `instance_mutex` is the mutex that keeps a second copy out; it may be null. The object must
    // live as long as any thread can log or change the server's state: to the end of the process.
    MainWindow(DesktopServices& services, DriveMapping& drive, HINSTANCE instance,
               HANDLE instance_mutex);
    ~MainWindow();
    MainWindow(const MainWindow&) = delete;
    MainWindow& operator=(const MainWindow&) = delete;

    // Creates the window, hidden, and starts the server while it is being created. On failure
    // false, with the last error kept.
    bool Create();

    // Adds the icon once; further calls do nothing.
    void AddTrayIcon();

    // Null before Create and after the window was destroyed. Any thread.
    HWND Handle() const;

    // Asks the window to show the current state; does nothing while there is none. Any thread.
    void PostRefreshStatus() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace harbinet
