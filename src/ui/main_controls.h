// The main window's controls: what they are, where they stand and when they show. UI thread.
#pragma once

#include <windows.h>

#include <array>
#include <span>
#include <string>

#include "ui/command_ids.h"

namespace harbinet {

class MainControls {
public:
    // Creates the controls, each at 0, 0 without extent.
    void Create(HWND parent, HINSTANCE instance);
    void SetFont(HFONT font) const;
    // Puts each control where it belongs in a client area of this width, and shows what the small
    // window or the one with the status panel shows.
    void Layout(int client_width, bool panel_shown) const;

    HWND Get(MainControlId id) const;
    void SetText(MainControlId id, const std::wstring& text) const;
    void Show(MainControlId id, bool shown) const;

private:
    static constexpr std::size_t kCount = 17;
    std::array<HWND, kCount> handles_{};  // in the order of the table
};

}  // namespace harbinet
