// Hands on the pages of a running setup or uninstall. Answers are UTF-8 lines.
//
//   setup_pages wait TEXT      waits until a page or a message shows the text anywhere, a minute
//   setup_pages texts          every text that is shown, one a line
//   setup_pages cut            the texts that are longer than their place
//   setup_pages items          the check boxes of the page's list: "x NAME" or "- NAME"
//   setup_pages select NAME    selects that item, whose description is shown then
//   setup_pages toggle NAME    clicks the check box of that item or that button
//   setup_pages press LABEL    presses the button with that label, its & left out
//
// Ends with 0, or with 1 when what was asked for is not there.
#include <windows.h>
// After windows.h.
#include <commctrl.h>

#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "app/encoding.h"

namespace {

constexpr DWORD kWaitMilliseconds = 60'000;
constexpr UINT kAnswerMilliseconds = 5'000;

std::wstring TextOf(HWND window) {
    std::vector<wchar_t> buffer(16 * 1024, L'\0');
    DWORD_PTR length = 0;
    if (!SendMessageTimeoutW(window, WM_GETTEXT, buffer.size(),
                             reinterpret_cast<LPARAM>(buffer.data()), SMTO_ABORTIFHUNG,
                             kAnswerMilliseconds, &length)) {
        return {};
    }
    return {buffer.data(), length};
}

using Visit = std::function<void(HWND)>;

BOOL CALLBACK VisitVisible(HWND window, LPARAM visit) {
    if (IsWindowVisible(window)) (*reinterpret_cast<const Visit*>(visit))(window);
    return TRUE;
}

std::vector<HWND> Pages() {
    std::vector<HWND> pages;
    const Visit add = [&](HWND window) {
        wchar_t name[16] = {};
        GetClassNameW(window, name, 16);
        if (name == std::wstring(L"#32770")) pages.push_back(window);
    };
    EnumWindows(VisitVisible, reinterpret_cast<LPARAM>(&add));
    return pages;
}

// Every visible control on every page and message, and these themselves.
std::vector<HWND> Controls() {
    std::vector<HWND> controls;
    const Visit add = [&](HWND window) { controls.push_back(window); };
    for (const HWND page : Pages()) {
        controls.push_back(page);
        EnumChildWindows(page, VisitVisible, reinterpret_cast<LPARAM>(&add));
    }
    return controls;
}

bool WaitUntil(const std::function<bool()>& condition) {
    const ULONGLONG end = GetTickCount64() + kWaitMilliseconds;
    while (!condition()) {
        if (GetTickCount64() >= end) return false;
        Sleep(50);
    }
    return true;
}

bool Shows(const std::wstring& text) {
    for (const HWND control : Controls()) {
        if (TextOf(control).find(text) != std::wstring::npos) return true;
    }
    return false;
}

std::wstring Label(HWND button) {
    std::wstring label = TextOf(button);
    std::erase(label, L'&');
    return label;
}

bool Press(const std::wstring& label) {
    for (const HWND control : Controls()) {
        if (Label(control) == label && IsWindowEnabled(control)) {
            return PostMessageW(control, BM_CLICK, 0, 0) != 0;
        }
    }
    return false;
}

// The list of what can be installed is a tree whose check boxes are state images; the setup's
// memory is not this program's, so texts go through memory of the setup.
class Tree {
public:
    explicit Tree(HWND window) : window_(window) {
        DWORD id = 0;
        GetWindowThreadProcessId(window, &id);
        process_ =
            OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, id);
        memory_ =
            static_cast<char*>(VirtualAllocEx(process_, nullptr, 4096, MEM_COMMIT, PAGE_READWRITE));
    }
    ~Tree() {
        VirtualFreeEx(process_, memory_, 0, MEM_RELEASE);
        CloseHandle(process_);
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    std::vector<LPARAM> Items() const {
        std::vector<LPARAM> items;
        for (LPARAM item = SendMessageW(window_, TVM_GETNEXTITEM, TVGN_ROOT, 0); item != 0;
             item = SendMessageW(window_, TVM_GETNEXTITEM, TVGN_NEXT, item)) {
            items.push_back(item);
        }
        return items;
    }

    std::wstring Name(LPARAM item) const {
        constexpr int kLength = 200;
        char* text = memory_ + sizeof(TVITEMW);
        TVITEMW wanted{};
        wanted.mask = TVIF_TEXT | TVIF_HANDLE;
        wanted.hItem = reinterpret_cast<HTREEITEM>(item);
        wanted.pszText = reinterpret_cast<wchar_t*>(text);
        wanted.cchTextMax = kLength;
        WriteProcessMemory(process_, memory_, &wanted, sizeof(wanted), nullptr);
        SendMessageW(window_, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(memory_));
        wchar_t name[kLength] = {};
        ReadProcessMemory(process_, text, name, sizeof(name), nullptr);
        return name;
    }

    // The state images: 1 clear, 2 checked, 3 partly, 4 and 5 the same as 1 and 2 for what cannot
    // be changed.
    bool Checked(LPARAM item) const {
        const LRESULT state =
            SendMessageW(window_, TVM_GETITEMSTATE, static_cast<WPARAM>(item), TVIS_STATEIMAGEMASK);
        const LRESULT image = (state & TVIS_STATEIMAGEMASK) >> 12;
        return image == 2 || image == 5;
    }

    void Select(LPARAM item) const { SendMessageW(window_, TVM_SELECTITEM, TVGN_CARET, item); }

    // By the keyboard: for a click the setup looks where the mouse really is.
    void Click(LPARAM item) const {
        Select(item);
        SendMessageW(window_, WM_CHAR, VK_SPACE, 0);
    }

private:
    HWND window_;
    HANDLE process_ = nullptr;
    char* memory_ = nullptr;
};

HWND FindTree() {
    for (const HWND control : Controls()) {
        wchar_t name[32] = {};
        GetClassNameW(control, name, 32);
        if (name == std::wstring(L"SysTreeView32")) return control;
    }
    return nullptr;
}

bool PrintItems() {
    const HWND window = FindTree();
    if (!window) return false;
    const Tree tree(window);
    for (const LPARAM item : tree.Items()) {
        std::cout << (tree.Checked(item) ? "x " : "- ") << harbinet::WideToUtf8(tree.Name(item))
                  << "\n";
    }
    return true;
}

// Does it to the item of that name.
bool WithItem(const std::wstring& name, const std::function<void(const Tree&, LPARAM)>& act) {
    const HWND window = FindTree();
    if (!window) return false;
    const Tree tree(window);
    for (const LPARAM item : tree.Items()) {
        if (tree.Name(item) == name) {
            act(tree, item);
            return true;
        }
    }
    return false;
}

bool Select(const std::wstring& name) {
    return WithItem(name, [](const Tree& tree, LPARAM item) { tree.Select(item); });
}

bool Toggle(const std::wstring& name) {
    return WithItem(name, [](const Tree& tree, LPARAM item) { tree.Click(item); }) || Press(name);
}

bool PrintTexts() {
    for (const HWND control : Controls()) {
        const std::wstring text = TextOf(control);
        if (!text.empty()) std::cout << harbinet::WideToUtf8(text) << "\n";
    }
    return true;
}

// The place that a label's text takes in the font of all dialogs; headings, which are bolder, take
// a little more.
bool Fits(HDC dc, HWND label, const std::wstring& text) {
    RECT place{};
    GetClientRect(label, &place);
    RECT needed{0, 0, place.right, 0};
    DrawTextW(dc, text.c_str(), -1, &needed, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX);
    return needed.right <= place.right && needed.bottom <= place.bottom;
}

bool PrintCut() {
    constexpr int kPoints = 8;
    const HDC dc = GetDC(nullptr);
    const HFONT font =
        CreateFontW(-MulDiv(kPoints, GetDeviceCaps(dc, LOGPIXELSY), 72), 0, 0, 0, FW_NORMAL, FALSE,
                    FALSE, FALSE, DEFAULT_CHARSET, 0, 0, 0, 0, L"MS Shell Dlg");
    const HGDIOBJ before = SelectObject(dc, font);
    for (const HWND control : Controls()) {
        wchar_t name[32] = {};
        GetClassNameW(control, name, 32);
        // A list that must be moved sideways to be read.
        if (name == std::wstring(L"SysTreeView32") &&
            (GetWindowLongPtrW(control, GWL_STYLE) & WS_HSCROLL) != 0) {
            std::cout << "the list\n";
        }
        if (name != std::wstring(L"Static")) continue;
        const std::wstring text = TextOf(control);
        if (!Fits(dc, control, text)) std::cout << harbinet::WideToUtf8(text) << "\n";
    }
    SelectObject(dc, before);
    DeleteObject(font);
    ReleaseDC(nullptr, dc);
    return true;
}

}  // namespace

int wmain(int count, wchar_t** words) {
    const std::wstring command = count > 1 ? words[1] : L"";
    const std::wstring text = count > 2 ? words[2] : L"";
    bool done = false;
    if (command == L"wait") done = WaitUntil([&] { return Shows(text); });
    if (command == L"texts") done = PrintTexts();
    if (command == L"cut") done = PrintCut();
    if (command == L"items") done = PrintItems();
    if (command == L"select") done = Select(text);
    if (command == L"toggle") done = Toggle(text);
    if (command == L"press") done = Press(text);
    return done ? 0 : 1;
}
