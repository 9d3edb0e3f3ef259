// The base of every window: ties a window handle to its object through the window's user data and
// hands each message to the object. An exception never leaves the window procedure. UI thread,
// unless a member says otherwise.
#pragma once

#include <windows.h>

#include <atomic>

#include "app/event_log.h"

namespace harbinet {

// What CreateWindowExW is told. Lengths are outer pixels.
struct WindowPlan {
    const wchar_t* class_name = nullptr;
    const wchar_t* title = nullptr;
    DWORD style = 0;
    int width = 0;
    int height = 0;
};

class Window {
public:
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // Null before the creation and after the destruction. Any thread.
    HWND Handle() const { return handle_; }

protected:
    explicit Window(EventLog& log) : log_(log) {}
    virtual ~Window();

    // Every class shares one window procedure; arrow cursor, window colour. On failure false, with
    // the last error kept.
    static bool RegisterWindowClass(HINSTANCE instance, const wchar_t* name, HICON icon);

    // At the system's default place, without owner. On failure false, with the last error kept.
    bool CreateHandle(HINSTANCE instance, const WindowPlan& plan);

    virtual LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) = 0;
    LRESULT DefaultResult(UINT message, WPARAM wparam, LPARAM lparam) const;

    EventLog& Log() const { return log_; }

private:
    static LRESULT CALLBACK Procedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam);
    LRESULT Dispatch(UINT message, WPARAM wparam, LPARAM lparam);
    void LogFailure(const char* reason) const noexcept;

    EventLog& log_;
    std::atomic<HWND> handle_{nullptr};
};

}  // namespace harbinet
