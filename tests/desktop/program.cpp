#include "program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>

#include "app/administrator_win.h"
#include "app/paths_win.h"
#include "app/settings_win.h"
#include "support/log_text.h"

namespace harbinet::test {
namespace {

constexpr UINT kAnswerMilliseconds = 10'000;

std::wstring& PathStore() {
    static std::wstring path;
    return path;
}

LRESULT Ask(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    DWORD_PTR result = 0;
    SendMessageTimeoutW(window, message, wparam, lparam, SMTO_ABORTIFHUNG, kAnswerMilliseconds,
                        &result);
    return static_cast<LRESULT>(result);
}

struct Search {
    DWORD process;
    const wchar_t* class_name;
    const wchar_t* title;
    HWND found;
};

BOOL CALLBACK Matches(HWND window, LPARAM parameter) {
    auto& search = *reinterpret_cast<Search*>(parameter);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != search.process) return TRUE;
    wchar_t class_name[64] = {};
    GetClassNameW(window, class_name, 64);
    if (std::wcscmp(class_name, search.class_name) != 0) return TRUE;
    if (search.title && TextOf(window) != search.title) return TRUE;
    search.found = window;
    return FALSE;
}

}  // namespace

void SetProgramPath(std::wstring path) { PathStore() = std::move(path); }
const std::wstring& ProgramPath() { return PathStore(); }

namespace {
bool& RealDesktop() {
    static bool real = false;
    return real;
}
}  // namespace

bool OnRealDesktop() { return RealDesktop(); }
void SetOnRealDesktop(bool real) { RealDesktop() = real; }

std::wstring ScratchFolder() {
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    return std::wstring(folder) + L"harbinet-desktop-tests";
}

bool IsElevated() { return IsAdmin(); }

bool WaitUntil(const std::function<bool()>& condition, int milliseconds) {
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    while (!condition()) {
        if (GetTickCount64() > end) return false;
        Sleep(20);
    }
    return true;
}

std::wstring TextOf(HWND window) {
    const auto length = static_cast<std::size_t>(Ask(window, WM_GETTEXTLENGTH, 0, 0));
    // The text may grow between the two calls.
    std::wstring text(length + 16'384, L'\0');
    const LRESULT copied =
        Ask(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(copied));
    return text;
}

bool IsShown(HWND window) { return (GetWindowLongW(window, GWL_STYLE) & WS_VISIBLE) != 0; }

std::vector<int> PlaceOf(HWND control) {
    RECT place = {};
    GetWindowRect(control, &place);
    MapWindowPoints(nullptr, GetParent(control), reinterpret_cast<POINT*>(&place), 2);
    return {place.left, place.top, place.right - place.left, place.bottom - place.top};
}

void Press(HWND button) { PostMessageW(button, BM_CLICK, 0, 0); }

HWND FindTopWindow(DWORD process, const wchar_t* class_name, const wchar_t* title) {
    Search search{process, class_name, title, nullptr};
    EnumWindows(Matches, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

Dialog::Dialog(DWORD process, const wchar_t* caption) {
    WaitUntil([&] {
        window_ = FindTopWindow(process, L"#32770", caption);
        return window_ && IsShown(window_);
    });
}

std::wstring Dialog::Message() const {
    std::wstring message;
    for (HWND child = GetWindow(window_, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        wchar_t class_name[16] = {};
        GetClassNameW(child, class_name, 16);
        const auto kind = GetWindowLongW(child, GWL_STYLE) & SS_TYPEMASK;
        if (std::wcscmp(class_name, L"Static") == 0 && kind != SS_ICON) message += TextOf(child);
    }
    return message;
}

bool Dialog::Dismiss(int button) const {
    PostMessageW(window_, WM_COMMAND, static_cast<WPARAM>(button), 0);
    return WaitUntil([this] { return !IsWindow(window_); });
}

UniqueKernelHandle StartProcess(const std::wstring& arguments, DWORD& id) {
    std::wstring command = L"\"" + ProgramPath() + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    const auto start = [&] {
        return CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &startup, &process) != 0;
    };
    // Once in some hundred starts the system gives up on a process before its first instruction,
    // with this error. It says nothing about the program.
    bool is_started = start();
    for (int again = 0; !is_started && GetLastError() == ERROR_INTERNAL_ERROR && again < 3;
         ++again) {
        is_started = start();
    }
    if (!is_started) {
        ADD_FAILURE() << "the program cannot be started: error " << GetLastError();
        return {};
    }
    CloseHandle(process.hThread);
    id = process.dwProcessId;
    return UniqueKernelHandle(process.hProcess);
}

Program::Program(const std::wstring& arguments) : process_(StartProcess(arguments, id_)) {
    const bool found = WaitUntil([this] {
        window_ = FindTopWindow(id_, L"HTTPHarbinet_Main", nullptr);
        // The title changes at the end of the creation.
        return window_ && TextOf(window_) == L"HTTPS Harbinet PRO";
    });
    if (!found) ADD_FAILURE() << "the main window did not appear";
}

Program::~Program() {
    if (!process_ || WaitForSingleObject(process_.Get(), 0) == WAIT_OBJECT_0) return;
    if (Close()) return;
    ADD_FAILURE() << "the program had to be ended by force";
    TerminateProcess(process_.Get(), 99);
    WaitForSingleObject(process_.Get(), kAnswerMilliseconds);
}

void Program::Command(int id) const {
    Ask(window_, WM_COMMAND, static_cast<WPARAM>(id), reinterpret_cast<LPARAM>(Control(id)));
}

void Program::PostCommand(int id) const {
    PostMessageW(window_, WM_COMMAND, static_cast<WPARAM>(id), 0);
}

bool Program::IsListening() const { return ControlText(kUrlLabel) != L"URL:     -"; }

bool Program::WaitUntilListening() const {
    return WaitUntil([this] { return IsListening(); });
}

std::wstring Program::Url() const { return ControlText(kUrlLabel).substr(9); }
std::wstring Program::Pin() const { return ControlText(kPinLabel).substr(10); }
std::wstring Program::Link() const { return Url() + L"auto?pin=" + Pin(); }

HWND Program::LogWindow() {
    HWND log = FindTopWindow(id_, L"HTTPHarbinet_LogWin", nullptr);
    if (!log) {
        Command(kLogsButton);
        log = FindTopWindow(id_, L"HTTPHarbinet_LogWin", nullptr);
    }
    return log;
}

std::vector<std::wstring> Program::LogLines() {
    std::vector<std::wstring> lines;
    const std::wstring text = TextOf(LogBox());
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find(L"\r\n", begin)) != std::wstring::npos;
         begin = end + 2) {
        lines.push_back(text.substr(begin, end - begin));
    }
    return lines;
}

std::vector<std::wstring> Program::LogMessages() {
    std::vector<std::wstring> lines = LogLines();
    for (std::wstring& line : lines) line = MessageOf(line);
    return lines;
}

std::size_t Program::CountLog(const std::wstring& message) {
    return static_cast<std::size_t>(std::ranges::count(LogMessages(), message));
}

bool Program::WaitForLog(const std::wstring& message) {
    return WaitUntil([&] { return CountLog(message) > 0; });
}

std::optional<DWORD> Program::WaitForExit() const {
    if (WaitForSingleObject(process_.Get(), kAnswerMilliseconds) != WAIT_OBJECT_0) {
        return std::nullopt;
    }
    DWORD code = 0;
    GetExitCodeProcess(process_.Get(), &code);
    return code;
}

std::optional<DWORD> Program::Close() const {
    PostMessageW(window_, WM_CLOSE, 0, 0);
    return WaitForExit();
}

std::wstring DataFolder() { return LocalAppDataFolder() + L"\\Harbinet"; }

std::optional<std::wstring> RegistryValue(const wchar_t* key, const wchar_t* name) {
    const auto value = ReadRegistryText(key, name, 8192);
    if (!value || value->type != REG_SZ) return std::nullopt;
    return value->text;
}

void SetRegistryValue(const wchar_t* key, const wchar_t* name, const std::wstring& text,
                      DWORD type) {
    UniqueRegistryKey opened;
    RegCreateKeyExW(HKEY_CURRENT_USER, key, 0, nullptr, 0, KEY_SET_VALUE, nullptr, opened.Out(),
                    nullptr);
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    EXPECT_EQ(RegSetValueExW(opened.Get(), name, 0, type,
                             reinterpret_cast<const BYTE*>(text.c_str()), bytes),
              ERROR_SUCCESS);
}

void DeleteRegistryValue(const wchar_t* key, const wchar_t* name) {
    RegDeleteKeyValueW(HKEY_CURRENT_USER, key, name);
}

std::optional<std::wstring> ClipboardText() {
    if (!WaitUntil([] { return OpenClipboard(nullptr) != FALSE; })) return std::nullopt;
    std::optional<std::wstring> text;
    if (const HANDLE data = GetClipboardData(CF_UNICODETEXT)) {
        if (const auto* locked = static_cast<const wchar_t*>(GlobalLock(data))) {
            text = locked;
            GlobalUnlock(data);
        }
    }
    CloseClipboard();
    return text;
}

void SetClipboardText(const std::wstring& text) {
    ASSERT_TRUE(WaitUntil([] { return OpenClipboard(nullptr) != FALSE; }));
    EmptyClipboard();
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes);
    std::wmemcpy(static_cast<wchar_t*>(GlobalLock(memory)), text.c_str(), text.size() + 1);
    GlobalUnlock(memory);
    SetClipboardData(CF_UNICODETEXT, memory);
    CloseClipboard();
}

}  // namespace harbinet::test
