#include "ui/tray_icon.h"

#include <shellapi.h>

#include <algorithm>

#include "app/ui_thread.h"
#include "ui/resource_ids.h"

namespace harbinet {
namespace {

NOTIFYICONDATAW Record(HWND owner, UINT flags) {
    NOTIFYICONDATAW record = {};
    record.cbSize = sizeof record;
    record.hWnd = owner;
    record.uID = 1;
    record.uFlags = flags;
    return record;
}

void CopyTip(const std::wstring& text, NOTIFYICONDATAW& record) {
    const std::size_t length = std::min(text.size(), std::size(record.szTip) - 1);
    text.copy(record.szTip, length);
    record.szTip[length] = L'\0';
}

}  // namespace

void TrayIcon::Add(HWND owner, HINSTANCE instance) {
    AssertUiThread();
    if (IsAdded()) return;
    icon_.Reset(static_cast<HICON>(LoadImageW(instance, MAKEINTRESOURCEW(kApplicationIcon),
                                              IMAGE_ICON, 16, 16, LR_DEFAULTCOLOR)));
    NOTIFYICONDATAW record = Record(owner, NIF_MESSAGE | NIF_ICON | NIF_TIP);
    record.uCallbackMessage = WM_APP_TRAYICON;
    record.hIcon = icon_.Get();
    CopyTip(L"Harbinet PRO", record);
    Shell_NotifyIconW(NIM_ADD, &record);
    owner_ = owner;
}

void TrayIcon::SetTip(const std::wstring& text) {
    AssertUiThread();
    if (!IsAdded()) return;
    NOTIFYICONDATAW record = Record(owner_, NIF_TIP);
    CopyTip(text, record);
    Shell_NotifyIconW(NIM_MODIFY, &record);
}

void TrayIcon::Remove() {
    AssertUiThread();
    if (!IsAdded()) return;
    NOTIFYICONDATAW record = Record(owner_, 0);
    Shell_NotifyIconW(NIM_DELETE, &record);
    owner_ = nullptr;
    icon_.Reset();
}

}  // namespace harbinet
