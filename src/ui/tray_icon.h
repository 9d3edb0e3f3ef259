// The icon in the notification area. UI thread.
#pragma once

#include <windows.h>

#include <shellapi.h>

#include <string>

#include "ui/gdi.h"

namespace harbinet {

// What the icon sends to its window; the mouse message is in the low word of the second parameter.
inline constexpr UINT WM_APP_TRAYICON = WM_APP + 200;

// The icon's timer, which its window hands on to TryAgain.
inline constexpr UINT_PTR kTrayTimer = 1;

// There may be no notification area yet (at the start of a session), and Explorer forgets every
// icon when it starts again. So an icon that was added counts as added whatever the shell answered:
// it is shown as soon as that is possible.
class TrayIcon {
public:
    // What the icon asks of the system. A test puts others in their place.
    struct System {
        BOOL(WINAPI* notify)(DWORD action, NOTIFYICONDATAW* record) = Shell_NotifyIconW;
        ULONGLONG(WINAPI* ticks)() = GetTickCount64;  // milliseconds
    };

    TrayIcon() = default;
    explicit TrayIcon(const System& system) : system_(system) {}

    // Adds the icon, unless it is there already, with the program's name as its tip. When the shell
    // refuses, `owner` gets a timer message each second, for a minute at most.
    void Add(HWND owner, HINSTANCE instance);
    // Shows the icon in a new notification area, with its tip. Does nothing while there is no icon.
    void AddAgain();
    // For each message of the timer.
    void TryAgain();
    // Cuts the text to 127 characters. Does nothing while there is no icon.
    void SetTip(const std::wstring& text);
    // Does nothing while there is no icon.
    void Remove();

    bool IsAdded() const { return owner_ != nullptr; }

private:
    bool Show() const;
    void StopTimer() const;

    System system_;
    HWND owner_ = nullptr;
    UniqueIcon icon_;
    std::wstring tip_;
    ULONGLONG last_try_ = 0;  // tick count, milliseconds
};

}  // namespace harbinet
