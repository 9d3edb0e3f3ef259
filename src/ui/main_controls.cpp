#include "ui/main_controls.h"

#include <algorithm>
#include <cstdint>

#include "app/ui_thread.h"

namespace harbinet {
namespace {

enum class Placed { kAlways, kWithPanel };

// Who decides whether the control shows: its own style, every layout, or the layout with the panel.
// kToggle is left to the panel's toggle alone.
enum class Shown { kByStyle, kAlways, kWithPanel, kToggle };

struct ControlRow {
    MainControlId id;
    const wchar_t* class_name;
    const wchar_t* text;
    DWORD style;
    DWORD extended_style;
    int x, y;
    int width;  // not positive: this much wider than the client area
    int height;
    Placed placed;
    Shown shown;
};

constexpr DWORD kButton = WS_VISIBLE | BS_PUSHBUTTON;
constexpr DWORD kLabel = WS_VISIBLE | SS_LEFTNOWORDWRAP;
constexpr DWORD kStatusText = ES_MULTILINE | ES_READONLY | WS_VSCROLL;
constexpr DWORD kAddressList = WS_VISIBLE | CBS_DROPDOWNLIST | WS_VSCROLL;
constexpr DWORD kPinField = WS_VISIBLE | ES_PASSWORD | ES_AUTOHSCROLL;

constexpr int kPinDigits = 6;
constexpr int kDroppedWidth = 130;

// In the order of creation. The web root row lies below the client area of the small window.
constexpr ControlRow kControls[] = {
    {kServerButton, L"BUTTON", L"Server", kButton, 0, 46, 148, 140, 32, Placed::kAlways,
     Shown::kWithPanel},
    {kStatusButton, L"BUTTON", L"Status", kButton, 0, 586, 6, 82, 32, Placed::kAlways,
     Shown::kByStyle},
    {kLogsButton, L"BUTTON", L"Logs", kButton, 0, 192, 148, 82, 32, Placed::kAlways,
     Shown::kWithPanel},
    {kExplorerButton, L"BUTTON", L"Explorer", kButton, 0, 496, 6, 82, 32, Placed::kAlways,
     Shown::kByStyle},
    {kUrlLabel, L"STATIC", L"URL:     -", kLabel, 0, 202, 52, 420, 20, Placed::kAlways,
     Shown::kByStyle},
    {kPinLabel, L"STATIC", L"PIN:     ------", kLabel, 0, 202, 70, 160, 20, Placed::kAlways,
     Shown::kByStyle},
    {kDriveLabel, L"STATIC", L"Drive:   -", kLabel, 0, 202, 88, 420, 20, Placed::kAlways,
     Shown::kByStyle},
    {kCopyButton, L"BUTTON", L"Copy URL+PIN", kButton, 0, 196, 6, 140, 32, Placed::kAlways,
     Shown::kAlways},
    {kWebRootLabel, L"STATIC", L"WEB Root:  -", kLabel, 0, 194, 188, 380, 20, Placed::kAlways,
     Shown::kByStyle},
    {kWebRootButton, L"BUTTON", L"Web Root...", kButton, 0, 46, 184, 102, 26, Placed::kAlways,
     Shown::kByStyle},
    {kBackButton, L"BUTTON", L"Back", kButton, 0, 152, 184, 34, 26, Placed::kAlways,
     Shown::kByStyle},
    {kMasterPinLabel, L"STATIC", L"Master PIN:", kLabel, 0, 466, 156, 120, 20, Placed::kWithPanel,
     Shown::kWithPanel},
    {kMasterPinEdit, L"EDIT", L"", kPinField, WS_EX_CLIENTEDGE, 546, 154, 90, 24,
     Placed::kWithPanel, Shown::kWithPanel},
    {kBrowserButton, L"BUTTON", L"Browser", kButton, 0, 346, 6, 82, 32, Placed::kAlways,
     Shown::kAlways},
    {kStatusEdit, L"EDIT", L"", kStatusText, 0, 40, 218, -50, 250, Placed::kAlways, Shown::kToggle},
    {kAutostartBox, L"BUTTON", L"Windows Autostart", WS_VISIBLE | BS_AUTOCHECKBOX, 0, 296, 154, 160,
     24, Placed::kWithPanel, Shown::kToggle},
    {kAddressBox, L"COMBOBOX", L"", kAddressList, 0, 496, 50, 168, 200, Placed::kAlways,
     Shown::kByStyle},
};

}  // namespace

void MainControls::Create(HWND parent, HINSTANCE instance) {
    AssertUiThread();
    static_assert(std::size(kControls) == kCount);
    std::ranges::transform(kControls, handles_.begin(), [&](const ControlRow& row) {
        const auto menu_id = reinterpret_cast<HMENU>(static_cast<std::intptr_t>(row.id));
        return CreateWindowExW(row.extended_style, row.class_name, row.text, WS_CHILD | row.style,
                               0, 0, 0, 0, parent, menu_id, instance, nullptr);
    });
    SendMessageW(Get(kMasterPinEdit), EM_LIMITTEXT, kPinDigits, 0);
    SendMessageW(Get(kAddressBox), CB_SETDROPPEDWIDTH, kDroppedWidth, 0);
}

void MainControls::SetFont(HFONT font) const {
    AssertUiThread();
    for (const HWND handle : handles_) {
        if (handle) SendMessageW(handle, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    }
}

void MainControls::Layout(int client_width, bool panel_shown) const {
    AssertUiThread();
    for (std::size_t i = 0; i < kCount; ++i) {
        const ControlRow& row = kControls[i];
        if (!handles_[i]) continue;
        if (row.placed == Placed::kAlways || panel_shown) {
            const int width = row.width > 0 ? row.width : client_width + row.width;
            SetWindowPos(handles_[i], nullptr, row.x, row.y, width, row.height,
                         SWP_NOZORDER | SWP_NOACTIVATE);
        }
        switch (row.shown) {
            case Shown::kAlways:
                ShowWindow(handles_[i], SW_SHOW);
                break;
            case Shown::kWithPanel:
                ShowWindow(handles_[i], panel_shown ? SW_SHOW : SW_HIDE);
                break;
            case Shown::kByStyle:
            case Shown::kToggle:
                break;
        }
    }
}

HWND MainControls::Get(MainControlId id) const {
    AssertUiThread();
    const auto* row = std::ranges::find(kControls, id, &ControlRow::id);
    return row != std::end(kControls) ? handles_[static_cast<std::size_t>(row - kControls)]
                                      : nullptr;
}

void MainControls::SetText(MainControlId id, const std::wstring& text) const {
    if (const HWND control = Get(id)) SetWindowTextW(control, text.c_str());
}

void MainControls::Show(MainControlId id, bool shown) const {
    if (const HWND control = Get(id)) ShowWindow(control, shown ? SW_SHOW : SW_HIDE);
}

}  // namespace harbinet
