// Stands where the notification area stands and writes down what programs ask of it.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "app/guarded.h"

namespace harbinet::test {

// One call of Shell_NotifyIconW.
struct TrayCall {
    DWORD action = 0;  // NIM_ADD, NIM_MODIFY, NIM_DELETE
    HWND owner = nullptr;
    UINT id = 0;
    UINT flags = 0;
    UINT callback_message = 0;
    std::wstring tip;
    bool accepted = false;
};

class TrayWatcher {
public:
    TrayWatcher();
    ~TrayWatcher();
    TrayWatcher(const TrayWatcher&) = delete;
    TrayWatcher& operator=(const TrayWatcher&) = delete;

    // False on a real desktop: its notification area belongs to the user's programs.
    bool Watches() const { return window_ != nullptr; }
    std::vector<TrayCall> Calls() const;
    std::vector<TrayCall> Calls(DWORD action) const;
    // The text the icon shows now: that of the last call that set one.
    std::wstring Tip() const;
    void Forget();
    // Icons that are added from now on are refused, and so is what changes them: a shell changes
    // only an icon that it has. The calls are written down all the same.
    void Refuse(bool refuse) { refuses_ = refuse; }

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
    void Run(HANDLE ready);
    // Whether the call succeeds.
    bool Record(const COPYDATASTRUCT& data);

    Guarded<std::vector<TrayCall>> calls_;
    std::atomic<bool> refuses_{false};
    bool has_icon_ = true;  // of the watcher's thread; an icon can be older than the watcher
    HWND window_ = nullptr;
    std::thread thread_;
};

}  // namespace harbinet::test
