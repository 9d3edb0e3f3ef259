#include "ui/tray_icon.h"

#include <algorithm>

#include "app/ui_thread.h"
#include "ui/resource_ids.h"

namespace harbinet {
namespace {

constexpr UINT kMillisecondsBetweenTries = 1000;
constexpr ULONGLONG kTriesMilliseconds = 60'000;

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
    tip_ = L"Harbinet PRO";
    owner_ = owner;
    AddAgain();
}

void TrayIcon::AddAgain() {
    if (!IsAdded()) return;
    if (Show()) {
        StopTimer();
        return;
    }
    last_try_ = system_.ticks() + kTriesMilliseconds;
    SetTimer(owner_, kTrayTimer, kMillisecondsBetweenTries, nullptr);
}

void TrayIcon::TryAgain() {
    if (!IsAdded() || Show() || system_.ticks() >= last_try_) StopTimer();
}

bool TrayIcon::Show() const {
    NOTIFYICONDATAW record = Record(owner_, NIF_MESSAGE | NIF_ICON | NIF_TIP);
    record.uCallbackMessage = WM_APP_TRAYICON;
    record.hIcon = icon_.Get();
    CopyTip(tip_, record);
    // A busy shell can add the icon and still answer too late, which counts as a failure: then the
    // icon is there and can be changed.
    return system_.notify(NIM_ADD, &record) || system_.notify(NIM_MODIFY, &record);
}

void TrayIcon::StopTimer() const { KillTimer(owner_, kTrayTimer); }

void TrayIcon::SetTip(const std::wstring& text) {
    AssertUiThread();
    if (!IsAdded()) return;
    tip_ = text;
    NOTIFYICONDATAW record = Record(owner_, NIF_TIP);
    CopyTip(tip_, record);
    system_.notify(NIM_MODIFY, &record);
}

void TrayIcon::Remove() {
    AssertUiThread();
    if (!IsAdded()) return;
    StopTimer();
    NOTIFYICONDATAW record = Record(owner_, 0);
    system_.notify(NIM_DELETE, &record);
    owner_ = nullptr;
    icon_.Reset();
}

}  // namespace harbinet
