// Shows the kept log lines and clears them. Made when it is first asked for; closing only hides it.
// UI thread, but for the observer's call.
#pragma once

#include <windows.h>

#include <atomic>

#include "ui/appearance.h"
#include "ui/window.h"

namespace harbinet {

// One or more lines were logged; carries no data.
inline constexpr UINT WM_APP_LOG_UPDATED = WM_APP + 1;

class LogWindow final : public Window, private LogObserver {
public:
    // `instance_mutex` may be null.
    LogWindow(EventLog& log, const Appearance& appearance, HINSTANCE instance,
              HANDLE instance_mutex);
    ~LogWindow() override;

    // Creates the window when there is none, shows it and brings it to the front.
    void Open();

private:
    LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;
    void OnLogUpdated() override;

    LRESULT OnCreate();
    LRESULT OnUpdated();
    LRESULT OnTimer();
    LRESULT OnCommand(WPARAM wparam, LPARAM lparam);
    LRESULT OnClose();
    LRESULT OnDestroy();

    HWND CreateControl(const wchar_t* class_name, const wchar_t* text, DWORD style,
                       DWORD extended_style, int id, const RECT& place);
    void Fill();
    void Clear();

    const Appearance& appearance_;
    const HINSTANCE instance_;
    const HANDLE instance_mutex_;
    HWND clear_button_ = nullptr;
    HWND text_box_ = nullptr;
    bool timer_runs_ = false;
    ULONGLONG next_fill_ = 0;  // tick count, milliseconds
    std::atomic<bool> update_posted_{false};
};

}  // namespace harbinet
