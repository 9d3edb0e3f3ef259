// Shows the kept log lines and clears them. Made when it is first asked for; closing only hides it.
// UI thread, but for the observer's call.
#pragma once

#include <windows.h>

#include "app/large_buffer.h"
#include "ui/appearance.h"
#include "ui/pending_notice.h"
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

    // Creates the window when there is none, shows it, not minimised, and brings it to the front.
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
    bool Fill();
    bool FillLater();
    void ScrollToNewestLine() const;
    int VisibleLines() const;
    void Clear();

    const Appearance& appearance_;
    const HINSTANCE instance_;
    const HANDLE instance_mutex_;
    HWND clear_button_ = nullptr;
    HWND text_box_ = nullptr;
    PendingNotice update_;
    LargeText shown_;
    UINT fill_milliseconds_ = 0;  // how long the last fill took
    int fills_in_a_row_ = 0;      // the last ones during which another line came
};

}  // namespace harbinet
