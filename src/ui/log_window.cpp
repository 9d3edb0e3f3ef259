#include "ui/log_window.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "app/ui_thread.h"
#include "ui/gdi.h"
#include "ui/last_page.h"
#include "ui/texts.h"

namespace harbinet {
namespace {

constexpr const wchar_t* kClassName = L"HTTPHarbinet_LogWin";
constexpr int kClearButton = 2001;
constexpr int kTextBox = 2002;
constexpr LPARAM kScrollToEnd = 999'999;

constexpr UINT_PTR kFillTimer = 1;

// After so many fills with another line coming during each of them, lines come without a pause.
constexpr int kFillsOfAFlood = 3;

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
    ShowWindow(Handle(), IsIconic(Handle()) ? SW_RESTORE : SW_SHOW);
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
    update_.Raise([this] { return PostMessageW(Handle(), WM_APP_LOG_UPDATED, 0, 0) != FALSE; });
}

LRESULT LogWindow::OnCreate() {
    clear_button_ =
        CreateControl(L"BUTTON", L"Clear Logs", BS_PUSHBUTTON, 0, kClearButton, {10, 10, 110, 28});
    text_box_ = CreateControl(L"EDIT", L"", ES_MULTILINE | ES_READONLY | WS_VSCROLL,
                              WS_EX_CLIENTEDGE, kTextBox, {10, 48, 780, 320});
    update_.Clear();
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
    // Posted messages are delivered before input and painting, timers after them. While lines come
    // without a pause, a timer takes over from the notices and leaves the user half of the time.
    const bool is_flooded = fills_in_a_row_ >= kFillsOfAFlood && FillLater();
    // Cleared before the lines are read: a line logged from here on posts again.
    if (!is_flooded) update_.Clear();
    Fill();
    fills_in_a_row_ = !is_flooded && update_.IsPending() ? fills_in_a_row_ + 1 : 0;
    return 0;
}

LRESULT LogWindow::OnTimer() {
    KillTimer(Handle(), kFillTimer);
    if (Fill() && FillLater()) return 0;
    // No new line, or no timer: from here on the notices count again.
    update_.Clear();
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

// The notices rest until then. False when there is no timer to be had.
bool LogWindow::FillLater() {
    const UINT pause = std::max(fill_milliseconds_, UINT{USER_TIMER_MINIMUM});
    return SetTimer(Handle(), kFillTimer, pause, nullptr) != 0;
}

// True when the lines are others than before.
bool LogWindow::Fill() {
    if (!text_box_) return false;
    const ULONGLONG start = GetTickCount64();
    LargeText text = LogText(Log().Snapshot());
    SetWindowTextW(text_box_, text.c_str());
    ScrollToNewestLine();
    // At once: while lines come without a pause, painting has no turn of its own.
    UpdateWindow(text_box_);
    fill_milliseconds_ = static_cast<UINT>(GetTickCount64() - start);
    const bool is_new = text != shown_;
    shown_ = std::move(text);
    return is_new;
}

void LogWindow::ScrollToNewestLine() const {
    SendMessageW(text_box_, EM_LINESCROLL, 0, kScrollToEnd);
    const auto first = static_cast<int>(SendMessageW(text_box_, EM_GETFIRSTVISIBLELINE, 0, 0));
    const auto count = static_cast<int>(SendMessageW(text_box_, EM_GETLINECOUNT, 0, 0));
    const int beyond = LinesBeyondLastPage(first, VisibleLines(), count);
    if (beyond > 0) SendMessageW(text_box_, EM_LINESCROLL, 0, -static_cast<LPARAM>(beyond));
}

// Whole lines that fit into the text box.
int LogWindow::VisibleLines() const {
    RECT text_area = {};
    SendMessageW(text_box_, EM_GETRECT, 0, reinterpret_cast<LPARAM>(&text_area));
    const WindowDc dc(text_box_);
    const Selection with_font(dc.Get(),
                              reinterpret_cast<HFONT>(SendMessageW(text_box_, WM_GETFONT, 0, 0)));
    TEXTMETRICW metrics = {};
    if (!GetTextMetricsW(dc.Get(), &metrics) || metrics.tmHeight <= 0) return 1;
    return (text_area.bottom - text_area.top) / metrics.tmHeight;
}

void LogWindow::Clear() {
    Log().Clear();
    Fill();
    // Whatever is pending, this line does not wait for it.
    update_.Clear();
    Log().Log(L"LOG     cleared");
}

}  // namespace harbinet
