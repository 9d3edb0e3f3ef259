// What the main window's buttons, fields and tray menu do.
#include <optional>
#include <string>

#include "app/administrator_win.h"
#include "app/ascii.h"
#include "app/encoding.h"
#include "app/master_pin.h"
#include "app/paths_win.h"
#include "app/settings_win.h"
#include "ui/address_box.h"
#include "ui/autostart.h"
#include "ui/main_window.h"
#include "ui/shell_actions.h"
#include "ui/tray_menu.h"
#include "ui/web_root_change.h"

namespace harbinet {
namespace {

constexpr const wchar_t* kErrorCaption = L"Harbinet PRO";

std::wstring EditText(HWND edit) {
    wchar_t text[64] = {};
    const int length = GetWindowTextW(edit, text, static_cast<int>(std::size(text)));
    return {text, static_cast<std::size_t>(length)};
}

}  // namespace

// One command: its id, the notification it waits for (none: any), and what it does.
struct MainWindow::Command {
    int id;
    std::optional<int> notification;
    void (MainWindow::*action)();
};

const MainWindow::Command MainWindow::kCommands[] = {
    {kServerButton, {}, &MainWindow::ToggleServer},
    {kStatusButton, {}, &MainWindow::ToggleStatusPanel},
    {kLogsButton, {}, &MainWindow::OpenLogs},
    {kExplorerButton, {}, &MainWindow::OpenExplorer},
    {kCopyButton, {}, &MainWindow::CopyUrlAndPin},
    {kAutostartBox, {}, &MainWindow::ApplyAutostart},
    {kBrowserButton, {}, &MainWindow::OpenBrowser},
    {kWebRootButton, {}, &MainWindow::PickWebRoot},
    {kBackButton, {}, &MainWindow::ResetWebRoot},
    {kAddressBox, CBN_DROPDOWN, &MainWindow::RefillAddresses},
    {kAddressBox, CBN_SELCHANGE, &MainWindow::ApplyAddress},
    {kMasterPinEdit, EN_CHANGE, &MainWindow::ApplyMasterPin},
    {kTrayOpen, {}, &MainWindow::Restore},
    {kTrayClose, {}, &MainWindow::Close},
    {kTrayCopy, {}, &MainWindow::CopyUrlAndPin},
    {kTrayExplorer, {}, &MainWindow::OpenExplorer},
    {kTrayBrowser, {}, &MainWindow::OpenBrowser},
};

LRESULT MainWindow::OnCommand(WPARAM wparam, LPARAM lparam) {
    for (const Command& command : kCommands) {
        if (command.id != LOWORD(wparam)) continue;
        if (command.notification && *command.notification != HIWORD(wparam)) continue;
        (this->*command.action)();
        return 0;
    }
    return DefaultResult(WM_COMMAND, wparam, lparam);
}

void MainWindow::ToggleServer() {
    if (services_.server.IsRunning()) {
        services_.server.Stop();
    } else {
        services_.server.Start();
    }
    RefreshStatus();
}

void MainWindow::OpenLogs() { log_window_.Open(); }

void MainWindow::OpenExplorer() {
    const std::wstring target = drive_.IsMapped() ? drive_.DriveRoot() : services_.web_root.Get();
    const std::intptr_t result = OpenWithShell(target);
    if (result > kLastShellError) return;
    Log().Log(L"EXPLORER failed (ShellExecute code=" + std::to_wstring(result) + L") target=" +
              target);
    ShowError(ExplorerFailureMessage(target));
}

void MainWindow::CopyUrlAndPin() {
    if (!services_.server.IsRunning() || services_.server.ListeningPort() == 0) return;
    CopyToClipboard(Handle(), CurrentLink());
}

void MainWindow::ApplyAutostart() {
    const HWND box = controls_.Get(kAutostartBox);
    const bool enable = SendMessageW(box, BM_GETCHECK, 0, 0) == BST_CHECKED;
    if (SetAutostart(enable)) {
        Log().Log(enable ? L"AUTOSTART enabled" : L"AUTOSTART disabled");
        return;
    }
    SendMessageW(box, BM_SETCHECK, enable ? BST_UNCHECKED : BST_CHECKED, 0);
    Log().Log(L"AUTOSTART failed to update registry");
    ShowError(L"Autostart konnte nicht gesetzt werden.");
}

void MainWindow::OpenBrowser() {
    if (!services_.server.IsRunning()) return;
    const std::wstring link = CurrentLink();
    const bool opened = OpenWithShell(link) > kLastShellError;
    // The log holds the PIN then, and that is meant: it never leaves this computer.
    Log().Log(opened ? L"BROWSER opened: " + link : L"BROWSER failed");
}

void MainWindow::PickWebRoot() {
    if (const auto path = PickFolder(Handle(), L"Select Web Root Folder")) ChangeWebRoot(*path);
}

void MainWindow::ResetWebRoot() { ChangeWebRoot(DefaultWebRoot(BaseDataFolder())); }

void MainWindow::ChangeWebRoot(const std::wstring& path) {
    if (ApplyWebRoot(services_, drive_, path)) RefreshStatus();
}

void MainWindow::RefillAddresses() {
    const HWND box = controls_.Get(kAddressBox);
    FillAddressBox(box, services_.addresses.Ipv4Choices(), AddressSelection::kKeep);
    // The chosen address may be gone. Nothing announces that the box has fallen back to "(auto)".
    if (SelectedAddress(box) != services_.addresses.PreferredAddress()) ApplyAddress();
}

void MainWindow::ApplyAddress() {
    services_.addresses.SetPreferredAddress(SelectedAddress(controls_.Get(kAddressBox)));
    RefreshStatus();
}

void MainWindow::ApplyMasterPin() {
    const HWND edit = controls_.Get(kMasterPinEdit);
    const std::wstring text = EditText(edit);
    const std::wstring digits = OnlyDigits(text);
    if (digits != text) {
        // Comes back here with the digits alone.
        SetWindowTextW(edit, digits.c_str());
        const auto end = static_cast<WPARAM>(digits.size());
        SendMessageW(edit, EM_SETSEL, end, static_cast<LPARAM>(end));
        return;
    }
    const std::string pin = WideToUtf8(digits);
    if (!IsSixDigits(pin)) return;
    services_.credentials.SetMasterPin(pin);
    WriteSetting(kMasterPinSetting, digits);
    Log().Log(L"AUTH    Master PIN updated (registry)");
}

void MainWindow::Restore() {
    ShowWindow(Handle(), SW_SHOW);
    ShowWindow(Handle(), SW_RESTORE);
    SetForegroundWindow(Handle());
}

void MainWindow::Close() {
    services_.server.Stop();
    DestroyWindow(Handle());
}

void MainWindow::ShowTrayMenu() {
    UniqueMenu menu = MakeTrayMenu(services_.server.IsRunning());
    POINT cursor = {};
    GetCursorPos(&cursor);
    // Without the foreground a click elsewhere would not close the menu; without the null message
    // after it, the next menu would close at once.
    SetForegroundWindow(Handle());
    const int command =
        TrackPopupMenu(menu.Get(), TPM_RETURNCMD | TPM_RIGHTBUTTON | TPM_BOTTOMALIGN, cursor.x,
                       cursor.y, 0, Handle(), nullptr);
    menu.Reset();
    PostMessageW(Handle(), WM_NULL, 0, 0);
    if (command != 0) PostMessageW(Handle(), WM_COMMAND, static_cast<WPARAM>(command), 0);
}

std::wstring MainWindow::CurrentLink() const {
    return AutoLoginLink(services_.addresses.HostForUrl(),
                         ShownPort(services_.server.ListeningPort(), IsAdmin()),
                         WidenAscii(services_.credentials.CurrentPin()));
}

void MainWindow::ShowError(const std::wstring& text) const {
    MessageBoxW(Handle(), text.c_str(), kErrorCaption, MB_OK | MB_ICONERROR);
}

}  // namespace harbinet
