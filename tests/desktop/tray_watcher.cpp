#include "tray_watcher.h"

#include <gtest/gtest.h>
#include <shellapi.h>

#include <algorithm>
#include <cstring>

#include "app/unique_handle_win.h"
#include "program.h"

namespace harbinet::test {
namespace {

constexpr const wchar_t* kTrayClass = L"Shell_TrayWnd";

// How Wine's shell packs a call for the tray's window: the beginning of the packet.
struct Packet {
    LONG owner;
    UINT id;
    UINT flags;
    UINT callback_message;
    WCHAR tip[128];
};

}  // namespace

TrayWatcher::TrayWatcher() {
    if (OnRealDesktop()) return;
    const UniqueKernelHandle ready(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    thread_ = std::thread([this, event = ready.Get()] { Run(event); });
    WaitForSingleObject(ready.Get(), INFINITE);
    // The shell takes the first window of this class.
    EXPECT_EQ(FindWindowW(kTrayClass, nullptr), window_);
}

TrayWatcher::~TrayWatcher() {
    if (!Watches()) return;
    PostMessageW(window_, WM_CLOSE, 0, 0);
    thread_.join();
}

void TrayWatcher::Run(HANDLE ready) {
    WNDCLASSW window_class = {};
    window_class.lpfnWndProc = Procedure;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = kTrayClass;
    RegisterClassW(&window_class);
    window_ = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, kTrayClass, L"", WS_POPUP, 0, 0, 1,
                              1, nullptr, nullptr, window_class.hInstance, nullptr);
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetEvent(ready);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}

LRESULT CALLBACK TrayWatcher::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    auto* self = reinterpret_cast<TrayWatcher*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    switch (message) {
        case WM_COPYDATA:
            if (!self) return TRUE;
            return self->Record(*reinterpret_cast<const COPYDATASTRUCT*>(lparam)) ? TRUE : FALSE;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(window, message, wparam, lparam);
    }
}

bool TrayWatcher::Record(const COPYDATASTRUCT& data) {
    Packet packet = {};
    if (data.cbData < sizeof packet) return true;
    std::memcpy(&packet, data.lpData, sizeof packet);
    TrayCall call;
    call.action = static_cast<DWORD>(data.dwData);
    call.owner = reinterpret_cast<HWND>(static_cast<LONG_PTR>(packet.owner));
    call.id = packet.id;
    call.flags = packet.flags;
    call.callback_message = packet.callback_message;
    if (packet.flags & NIF_TIP) call.tip.assign(packet.tip, wcsnlen(packet.tip, 128));
    if (call.action == NIM_ADD) has_icon_ = !refuses_;
    call.accepted = has_icon_;
    calls_.With([&](std::vector<TrayCall>& calls) { calls.push_back(std::move(call)); });
    return has_icon_;
}

std::vector<TrayCall> TrayWatcher::Calls() const {
    return calls_.With([](const std::vector<TrayCall>& calls) { return calls; });
}

std::vector<TrayCall> TrayWatcher::Calls(DWORD action) const {
    std::vector<TrayCall> calls = Calls();
    std::erase_if(calls, [action](const TrayCall& call) { return call.action != action; });
    return calls;
}

std::wstring TrayWatcher::Tip() const {
    std::wstring tip;
    for (const TrayCall& call : Calls()) {
        if (call.flags & NIF_TIP) tip = call.tip;
    }
    return tip;
}

void TrayWatcher::Forget() {
    calls_.With([](std::vector<TrayCall>& calls) { calls.clear(); });
}

}  // namespace harbinet::test
