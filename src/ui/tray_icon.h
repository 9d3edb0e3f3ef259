// The icon in the notification area. UI thread.
#pragma once

#include <windows.h>

#include <string>

#include "ui/gdi.h"

namespace harbinet {

// What the icon sends to its window; the mouse message is in the low word of the second parameter.
inline constexpr UINT WM_APP_TRAYICON = WM_APP + 200;

class TrayIcon {
public:
    // Adds the icon, unless it is there already, with the program's name as its tip.
    void Add(HWND owner, HINSTANCE instance);
    // Cuts the text to 127 characters. Does nothing while there is no icon.
    void SetTip(const std::wstring& text);
    // Does nothing while there is no icon.
    void Remove();

    bool IsAdded() const { return owner_ != nullptr; }

private:
    HWND owner_ = nullptr;
    UniqueIcon icon_;
};

}  // namespace harbinet
