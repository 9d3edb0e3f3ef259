// The program under test, as another process sees it: its windows, controls and log lines, its
// registry values. What is not there in time fails the running test.
#pragma once

#include <windows.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/unique_handle_win.h"
#include "ui/main_controls.h"
#include "ui/tray_menu.h"

namespace harbinet::test {

// The controls of the log window; those of the main window are in ui/main_controls.h, and that
// these are the right ones is tested with their numbers.
inline constexpr int kLogClearButton = 2001;
inline constexpr int kLogText = 2002;

// The path of Harbinet.exe; set once, before the tests run.
void SetProgramPath(std::wstring path);
const std::wstring& ProgramPath();

// True on a computer that somebody works at: tests that would change more than the program's own
// settings, or that need what such a desktop does not give, skip themselves with their reason.
// Set once, before the tests run.
bool OnRealDesktop();
void SetOnRealDesktop(bool real);

// At the beginning of a test.
#define HARBINET_SKIP_ON_REAL_DESKTOP(reason) \
    if (OnRealDesktop()) GTEST_SKIP() << (reason)

// A folder for what tests publish; removed after the last one.
std::wstring ScratchFolder();

// True when this process, and so the program it starts, has administrator rights.
bool IsElevated();

// Where the server then listens.
inline int ExpectedPort() { return IsElevated() ? 443 : 8443; }

// Looks again and again until `condition` holds; false when it does not within the time.
bool WaitUntil(const std::function<bool()>& condition, int milliseconds = 15'000);

std::wstring TextOf(HWND window);
bool IsShown(HWND window);
// In client pixels of the parent: left, top, width, height.
std::vector<int> PlaceOf(HWND control);
// As if the user pressed the button; does not wait for what it does.
void Press(HWND button);
// The top-level window of this class and title (null: any) that `process` owns, or null.
HWND FindTopWindow(DWORD process, const wchar_t* class_name, const wchar_t* title);

// A message box or dialog of `process` with this caption.
class Dialog {
public:
    // Waits for it.
    Dialog(DWORD process, const wchar_t* caption);
    bool IsThere() const { return window_ != nullptr; }
    HWND Window() const { return window_; }
    std::wstring Message() const;
    // Presses the button with this id and waits until the dialog is gone.
    bool Dismiss(int button) const;

private:
    HWND window_ = nullptr;
};

class Program {
public:
    // Starts it and waits until its window is there.
    explicit Program(const std::wstring& arguments = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    DWORD Id() const { return id_; }
    HANDLE Process() const { return process_.Get(); }
    HWND Window() const { return window_; }
    HWND Control(int id) const { return GetDlgItem(window_, id); }
    std::wstring ControlText(int id) const { return TextOf(Control(id)); }
    // Sends the command of a button or a menu item and waits until it was carried out.
    void Command(int id) const;
    void PostCommand(int id) const;

    bool WaitUntilListening() const;
    bool IsListening() const;
    // What follows the label: address, PIN, link.
    std::wstring Url() const;
    std::wstring Pin() const;
    std::wstring Link() const;

    // Opens the log window once.
    HWND LogWindow();
    HWND LogBox() { return GetDlgItem(LogWindow(), kLogText); }
    // The whole lines, and the messages after the times.
    std::vector<std::wstring> LogLines();
    std::vector<std::wstring> LogMessages();
    bool WaitForLog(const std::wstring& message);
    std::size_t CountLog(const std::wstring& message);

    // Waits for the end; nothing when it does not come.
    std::optional<DWORD> WaitForExit() const;
    std::optional<DWORD> Close() const;

private:
    DWORD id_ = 0;  // before the process, whose start sets it
    UniqueKernelHandle process_;
    HWND window_ = nullptr;
};

// Starts the program without looking for a window.
UniqueKernelHandle StartProcess(const std::wstring& arguments, DWORD& id);

// LocalAppData + "\Harbinet".
std::wstring DataFolder();

inline constexpr const wchar_t* kSettings = L"Software\\Harbinet PRO";
inline constexpr const wchar_t* kRunKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

std::optional<std::wstring> RegistryValue(const wchar_t* key, const wchar_t* name);
void SetRegistryValue(const wchar_t* key, const wchar_t* name, const std::wstring& text,
                      DWORD type = REG_SZ);
void DeleteRegistryValue(const wchar_t* key, const wchar_t* name);

std::optional<std::wstring> ClipboardText();
void SetClipboardText(const std::wstring& text);

}  // namespace harbinet::test
