#include "ui/log_window.h"

#include <cstdint>
#include <string>

#include "app/ui_thread.h"
#include "ui/texts.h"

namespace harbinet {
namespace {

constexpr const wchar_t* kClassName = L"HTTPHarbinet_LogWin";
constexpr int kClearButton = 2001;
constexpr int kTextBox = 2002;
constexpr LPARAM kScrollToEnd = 999'999;

constexpr UINT_PTR kFillTimer = 1;
// A fill lays out every kept line anew. This pause keeps the windows answering while many threads
// log.
constexpr ULONGLONG kPauseBetweenFills = 200;  // milliseconds

}  // namespace

LogWindow::LogWindow(EventLog& log, const Appearance& appearance, HINSTANCE instance,
                     HANDLE instance_mutex)
    : Window(log), appearance_(appearance), instance_(instance), instance_mutex_(instance_mutex) {}

LogWindow::~LogWindow() { Log().SetObserver(nullptr); }

void LogWindow::Open() {
    AssertUiThread();
    if (!Handle()) {
        const std::wstring title = LogWindowTitle();
        // Registering again after a destruction fails harmlessly: the class is still there.
        RegisterWindowClass(instance_, kClassName, nullptr);
        const WindowPlan plan{kClassName, title.c_str(), WS_OVERLAPPEDWINDOW, 820, 430};
        if (!CreateHandle(instance_, plan)) return;
    }
    ShowWindow(Handle(), SW_SHOW);
    SetForegroundWindow(Handle());
}

LRESULT LogWindow::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
    switch (message) {
        case WM_CREATE:
            return OnCreate();
        case WM_APP_LOG_UPDATED:
            return OnUpdated();
        case WM_TIMER:
            return OnTimer();
        case WM_COMMAND:
            return OnCommand(wparam, lparam);
        case WM_CTLCOLOREDIT:
        case WM_CTLCOLORSTATIC:
            return reinterpret_cast<LRESULT>(appearance_.white.Get());
        case WM_CLOSE:
            return OnClose();
        case WM_DESTROY:
            return OnDestroy();
        default:
            return DefaultResult(message, wparam, lparam);
    }
}

// Any thread. One message stands for every line logged until it is handled.
void LogWindow::OnLogUpdated() {
    if (!update_posted_.exchange(true)) PostMessageW(Handle(), WM_APP_LOG_UPDATED, 0, 0);
}

LRESULT LogWindow::OnCreate() {
    clear_button_ =
        CreateControl(L"BUTTON", L"Clear Logs", BS_PUSHBUTTON, 0, kClearButton, {10, 10, 110, 28});
    text_box_ = CreateControl(L"EDIT", L"", ES_MULTILINE | ES_READONLY | WS_VSCROLL,
                              WS_EX_CLIENTEDGE, kTextBox, {10, 48, 780, 320});
    Log().SetObserver(this);
    Fill();
    return 0;
}

// The rectangle's right and bottom are the control's width and height.
HWND LogWindow::CreateControl(const wchar_t* class_name, const wchar_t* text, DWORD style,
                              DWORD extended_style, int id, const RECT& place) {
    const HWND control = CreateWindowExW(
        extended_style, class_name, text, WS_CHILD | WS_VISIBLE | style, place.left, place.top,
        place.right, place.bottom, Handle(),
        reinterpret_cast<HMENU>(static_cast<std::intptr_t>(id)), instance_, nullptr);
    if (control) {
        SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(appearance_.font.Get()), TRUE);
    }
    return control;
}

LRESULT LogWindow::OnUpdated() {
    if (timer_runs_) return 0;
    const ULONGLONG now = GetTickCount64();
    if (now >= next_fill_) {
        Fill();
    } else {
        // Timers yield to input and painting, posted messages do not.
        timer_runs_ =
            SetTimer(Handle(), kFillTimer, static_cast<UINT>(next_fill_ - now), nullptr) != 0;
        if (!timer_runs_) Fill();
    }
    return 0;
}

LRESULT LogWindow::OnTimer() {
    KillTimer(Handle(), kFillTimer);
    timer_runs_ = false;
    Fill();
    return 0;
}

LRESULT LogWindow::OnCommand(WPARAM wparam, LPARAM lparam) {
    if (LOWORD(wparam) != kClearButton) return DefaultResult(WM_COMMAND, wparam, lparam);
    Clear();
    return 0;
}

LRESULT LogWindow::OnClose() {
    ShowWindow(Handle(), SW_HIDE);
    return 0;
}

LRESULT LogWindow::OnDestroy() {
    Log().SetObserver(nullptr);
    clear_button_ = nullptr;
    text_box_ = nullptr;
    // Nothing destroys this window while the program runs, so a second copy stays refused.
    if (instance_mutex_) {
        ReleaseMutex(instance_mutex_);
        CloseHandle(instance_mutex_);
    }
    return 0;
}

void LogWindow::Fill() {
    if (!text_box_) return;
    // Cleared before the lines are read: a line logged from here on posts again.
    update_posted_ = false;
    std::wstring text;
    for (const std::wstring& line : Log().Snapshot()) {
        text += line;
        text += L"\r\n";
    }
    SetWindowTextW(text_box_, text.c_str());
    SendMessageW(text_box_, EM_LINESCROLL, 0, kScrollToEnd);
    next_fill_ = GetTickCount64() + kPauseBetweenFills;
}

void LogWindow::Clear() {
    Log().Clear();
    Fill();
    Log().Log(L"LOG     cleared");
}

}  // namespace harbinet
