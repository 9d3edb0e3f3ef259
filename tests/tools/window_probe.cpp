// window_probe COMMAND [ARGUMENT...] : looks at the running program's windows and presses their
// buttons. window_probe serve : reads one command a line from the standard input, its words
// separated by tabs.
//
// Every answer is UTF-8 text and ends, in serve mode, with a line of its own: "." after success,
// "!" after failure. Window texts may hold line breaks. The commands are in kCommands at the end.
#include <windows.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "app/encoding.h"
#include "app/unique_handle_win.h"

namespace {

using Arguments = std::vector<std::string>;

constexpr const wchar_t* kMainClass = L"HTTPHarbinet_Main";
constexpr const wchar_t* kLogClass = L"HTTPHarbinet_LogWin";
constexpr int kLogsCommand = 1003;
constexpr int kWebRootButton = 1013;
constexpr int kUrlLabel = 1102;
constexpr int kLogText = 2002;
constexpr DWORD kAnswerMilliseconds = 10'000;

HWND MainWindow() { return FindWindowW(kMainClass, nullptr); }

long Number(const std::string& text) { return std::stol(text, nullptr, 0); }

bool Send(HWND window, UINT message, WPARAM wparam, LPARAM lparam, DWORD_PTR* result = nullptr) {
    DWORD_PTR ignored = 0;
    return window && SendMessageTimeoutW(window, message, wparam, lparam, SMTO_ABORTIFHUNG,
                                         kAnswerMilliseconds, result ? result : &ignored) != 0;
}

bool ReadText(HWND window, std::string& text) {
    DWORD_PTR length = 0;
    if (!Send(window, WM_GETTEXTLENGTH, 0, 0, &length)) return false;
    // The text may grow between the two calls.
    std::vector<wchar_t> buffer(length + 64 * 1024, L'\0');
    DWORD_PTR copied = 0;
    if (!Send(window, WM_GETTEXT, buffer.size(), reinterpret_cast<LPARAM>(buffer.data()),
              &copied)) {
        return false;
    }
    text = harbinet::WideToUtf8({buffer.data(), copied});
    return true;
}

bool PrintText(HWND window) {
    std::string text;
    if (!ReadText(window, text)) return false;
    std::cout << text << "\n";
    return true;
}

template <typename Condition>
bool WaitUntil(DWORD milliseconds, Condition condition) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    while (!condition()) {
        if (GetTickCount64() >= end) return false;
        Sleep(20);
    }
    return true;
}

// Wine starts its desktop when the first program asks for it, and its process may hang.
bool CheckDesktop(const Arguments&) {
    const HWND desktop = GetDesktopWindow();
    DWORD owner = 0;
    GetWindowThreadProcessId(desktop, &owner);
    return owner != 0 && Send(desktop, WM_NULL, 0, 0);
}

bool WaitForWindow(const Arguments& arguments) {
    return WaitUntil(static_cast<DWORD>(Number(arguments[0])) * 1000,
                     [] { return MainWindow() != nullptr; });
}

bool WaitForUrl(const Arguments& arguments) {
    return WaitUntil(static_cast<DWORD>(Number(arguments[0])) * 1000, [] {
        std::string url;
        return MainWindow() && ReadText(GetDlgItem(MainWindow(), kUrlLabel), url) &&
               url.find("https://") != std::string::npos;
    });
}

bool Title(const Arguments&) { return PrintText(MainWindow()); }

bool Text(const Arguments& arguments) {
    return PrintText(GetDlgItem(MainWindow(), static_cast<int>(Number(arguments[0]))));
}

bool SetText(const Arguments& arguments) {
    const std::wstring text = harbinet::Utf8ToWide(arguments[1]);
    return Send(GetDlgItem(MainWindow(), static_cast<int>(Number(arguments[0]))), WM_SETTEXT, 0,
                reinterpret_cast<LPARAM>(text.c_str()));
}

bool Press(const Arguments& arguments) {
    return Send(GetDlgItem(MainWindow(), static_cast<int>(Number(arguments[0]))), BM_CLICK, 0, 0);
}

// Chooses an entry of a list as a user would, and prints it.
bool Select(const Arguments& arguments) {
    const auto id = static_cast<int>(Number(arguments[0]));
    const auto index = static_cast<WPARAM>(Number(arguments[1]));
    const HWND box = GetDlgItem(MainWindow(), id);
    DWORD_PTR length = 0;
    if (!Send(box, CB_GETLBTEXTLEN, index, 0, &length) || static_cast<LRESULT>(length) == CB_ERR) {
        return false;
    }
    std::wstring text(length + 1, L'\0');
    Send(box, CB_GETLBTEXT, index, reinterpret_cast<LPARAM>(text.data()));
    text.resize(length);
    Send(box, CB_SETCURSEL, index, 0);
    std::cout << harbinet::WideToUtf8(text) << "\n";
    return Send(MainWindow(), WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE),
                reinterpret_cast<LPARAM>(box));
}

bool Command(const Arguments& arguments) {
    return Send(MainWindow(), WM_COMMAND, static_cast<WPARAM>(Number(arguments[0])), 0);
}

bool Post(const Arguments& arguments) {
    return MainWindow() && PostMessageW(MainWindow(), static_cast<UINT>(Number(arguments[0])),
                                        static_cast<WPARAM>(Number(arguments[1])),
                                        static_cast<LPARAM>(Number(arguments[2])));
}

// The shell's dialog holds several windows; the only text field in it is the one for the path.
HWND PathField(HWND dialog) {
    HWND field = nullptr;
    EnumChildWindows(
        dialog,
        [](HWND child, LPARAM result) -> BOOL {
            wchar_t name[16] = L"";
            GetClassNameW(child, name, 16);
            if (std::wstring_view(name) != L"Edit" || !IsWindowVisible(child)) return TRUE;
            *reinterpret_cast<HWND*>(result) = child;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&field));
    return field;
}

bool ChooseWebRoot(const Arguments& arguments) {
    constexpr DWORD kDialogMilliseconds = 15'000;
    // Posted: the button answers only after its dialog has been closed.
    if (!MainWindow() || !PostMessageW(MainWindow(), WM_COMMAND, kWebRootButton, 0)) return false;
    HWND dialog = nullptr;
    HWND field = nullptr;
    if (!WaitUntil(kDialogMilliseconds, [&] {
            dialog = FindWindowW(nullptr, L"Select Web Root Folder");
            field = dialog ? PathField(dialog) : nullptr;
            return field != nullptr;
        })) {
        return false;
    }
    const std::wstring folder = harbinet::Utf8ToWide(arguments[0]);
    Send(field, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(folder.c_str()));
    PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    return WaitUntil(kDialogMilliseconds, [&] { return !IsWindow(dialog); });
}

bool Log(const Arguments&) {
    if (!FindWindowW(kLogClass, nullptr)) Send(MainWindow(), WM_COMMAND, kLogsCommand, 0);
    const HWND window = FindWindowW(kLogClass, nullptr);
    return window && PrintText(GetDlgItem(window, kLogText));
}

// Closes the main window and prints the exit code of its process.
bool Close(const Arguments& arguments) {
    DWORD process_id = 0;
    GetWindowThreadProcessId(MainWindow(), &process_id);
    const harbinet::UniqueKernelHandle process(
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
    if (!process || !PostMessageW(MainWindow(), WM_CLOSE, 0, 0)) return false;
    const auto milliseconds = static_cast<DWORD>(Number(arguments[0])) * 1000;
    if (WaitForSingleObject(process.Get(), milliseconds) != WAIT_OBJECT_0) return false;
    DWORD exit_code = 0;
    GetExitCodeProcess(process.Get(), &exit_code);
    std::cout << exit_code << "\n";
    return true;
}

// Kept between commands in serve mode; opening another file lets go of the one before.
harbinet::UniqueFile& LockedFile() {
    static harbinet::UniqueFile file;
    return file;
}

bool Lock(const Arguments& arguments) {
    const std::wstring path = harbinet::Utf8ToWide(arguments[0]);
    LockedFile() = harbinet::UniqueFile(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr,
                                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return static_cast<bool>(LockedFile());
}

bool Unlock(const Arguments&) {
    LockedFile() = harbinet::UniqueFile();
    return true;
}

struct CommandRow {
    std::string_view name;
    std::size_t arguments;
    bool (*run)(const Arguments&);
    const char* usage;
};

constexpr CommandRow kCommands[] = {
    {"check-desktop", 0, CheckDesktop, "      whether the desktop answers"},
    {"wait-window", 1, WaitForWindow, "SECONDS        until the main window exists"},
    {"wait-url", 1, WaitForUrl, "SECONDS        until it shows the server's address"},
    {"title", 0, Title, "               the main window's title"},
    {"text", 1, Text, "ID             a control's text"},
    {"set-text", 2, SetText, "ID TEXT        types over a control's text"},
    {"press", 1, Press, "ID             clicks a button and waits until it has acted"},
    {"select", 2, Select, "ID INDEX     chooses an entry of a list, prints it"},
    {"command", 1, Command, "ID             sends a menu command and waits until it is done"},
    {"post", 3, Post, "MESSAGE W L    posts a message to the main window"},
    {"choose-root", 1, ChooseWebRoot, "FOLDER  picks another web root in the program's own dialog"},
    {"log", 0, Log, "               the event log, oldest line first"},
    {"lock", 1, Lock, "PATH           keeps a file open that nobody else may open"},
    {"unlock", 0, Unlock, "               lets go of it"},
    {"close", 1, Close, "SECONDS        closes the program, prints its exit code"},
};

bool Run(const Arguments& words) {
    for (const CommandRow& row : kCommands) {
        if (words.empty() || row.name != words[0] || row.arguments + 1 != words.size()) continue;
        return row.run({words.begin() + 1, words.end()});
    }
    for (const CommandRow& row : kCommands) {
        std::cerr << "window_probe " << row.name << ' ' << row.usage << '\n';
    }
    return false;
}

Arguments SplitAtTabs(const std::string& line) {
    Arguments words(1);
    for (const char c : line) {
        if (c == '\t') {
            words.emplace_back();
        } else if (c != '\r') {
            words.back() += c;
        }
    }
    return words;
}

int Serve() {
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << (Run(SplitAtTabs(line)) ? ".\n" : "!\n") << std::flush;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const Arguments words(argv + 1, argv + argc);
    if (words == Arguments{"serve"}) return Serve();
    return Run(words) ? 0 : 1;
}
