#include "ui/shell_actions.h"

#include <shellapi.h>
#include <shobjidl.h>

#include <cstring>

#include "app/ui_thread.h"
#include "app/unique_handle_win.h"

namespace harbinet {
namespace {

template <typename Interface>
struct ComTraits {
    using Handle = Interface*;
    static Handle None() { return nullptr; }
    static void Close(Handle object) { object->Release(); }
};
template <typename Interface>
using UniqueCom = UniqueHandle<ComTraits<Interface>>;

using UniqueComText = UniqueHandle<NullableTraits<PWSTR, CoTaskMemFree>>;
using UniqueGlobalMemory = UniqueHandle<NullableTraits<HGLOBAL, GlobalFree>>;

class OpenedClipboard {
public:
    explicit OpenedClipboard(HWND owner) : is_open_(OpenClipboard(owner) != FALSE) {}
    ~OpenedClipboard() {
        if (is_open_) CloseClipboard();
    }
    OpenedClipboard(const OpenedClipboard&) = delete;
    OpenedClipboard& operator=(const OpenedClipboard&) = delete;

    explicit operator bool() const { return is_open_; }

private:
    const bool is_open_;
};

UniqueGlobalMemory MovableCopy(const std::wstring& text) {
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    UniqueGlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, bytes));
    if (!memory) return memory;
    void* target = GlobalLock(memory.Get());
    if (!target) return {};
    std::memcpy(target, text.c_str(), bytes);
    GlobalUnlock(memory.Get());
    return memory;
}

}  // namespace

std::intptr_t OpenWithShell(const std::wstring& target) {
    AssertUiThread();
    return reinterpret_cast<std::intptr_t>(
        ShellExecuteW(nullptr, L"open", target.c_str(), nullptr, nullptr, SW_SHOWNORMAL));
}

void CopyToClipboard(HWND owner, const std::wstring& text) {
    AssertUiThread();
    const OpenedClipboard clipboard(owner);
    if (!clipboard) return;
    EmptyClipboard();
    UniqueGlobalMemory memory = MovableCopy(text);
    // The clipboard owns what it accepted.
    if (memory && SetClipboardData(CF_UNICODETEXT, memory.Get())) memory.Release();
}

std::optional<std::wstring> PickFolder(HWND owner, const wchar_t* title) {
    AssertUiThread();
    UniqueCom<IFileOpenDialog> dialog;
    if (FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IFileOpenDialog, reinterpret_cast<void**>(dialog.Out())))) {
        return std::nullopt;
    }
    FILEOPENDIALOGOPTIONS options = 0;
    dialog.Get()->GetOptions(&options);
    dialog.Get()->SetOptions(options | FOS_PICKFOLDERS | FOS_FORCEFILESYSTEM | FOS_PATHMUSTEXIST);
    dialog.Get()->SetTitle(title);
    // Cancelling is one of the failures.
    if (FAILED(dialog.Get()->Show(owner))) return std::nullopt;
    UniqueCom<IShellItem> item;
    if (FAILED(dialog.Get()->GetResult(item.Out()))) return std::nullopt;
    UniqueComText path;
    if (FAILED(item.Get()->GetDisplayName(SIGDN_FILESYSPATH, path.Out()))) return std::nullopt;
    return std::wstring(path.Get());
}

}  // namespace harbinet
