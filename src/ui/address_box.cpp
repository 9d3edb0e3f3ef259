#include "ui/address_box.h"

#include <algorithm>

#include "app/ui_thread.h"

namespace harbinet {
namespace {

constexpr const wchar_t* kAutomatic = L"(auto)";
constexpr std::size_t kMaxAddressLength = 127;

void AddItem(HWND box, const wchar_t* text) {
    SendMessageW(box, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
}

}  // namespace

void FillAddressBox(HWND box, const std::vector<std::wstring>& choices,
                    AddressSelection selection) {
    AssertUiThread();
    const std::wstring kept =
        selection == AddressSelection::kKeep ? SelectedAddress(box) : std::wstring();
    SendMessageW(box, CB_RESETCONTENT, 0, 0);
    AddItem(box, kAutomatic);
    WPARAM selected = 0;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        AddItem(box, choices[i].c_str());
        if (choices[i] == kept) selected = i + 1;
    }
    SendMessageW(box, CB_SETCURSEL, selected, 0);
}

std::wstring SelectedAddress(HWND box) {
    AssertUiThread();
    const LRESULT index = SendMessageW(box, CB_GETCURSEL, 0, 0);
    if (index <= 0) return {};
    const auto item = static_cast<WPARAM>(index);
    const LRESULT length = SendMessageW(box, CB_GETLBTEXTLEN, item, 0);
    if (length <= 0) return {};
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
    SendMessageW(box, CB_GETLBTEXT, item, reinterpret_cast<LPARAM>(text.data()));
    text.resize(std::min(static_cast<std::size_t>(length), kMaxAddressLength));
    return text;
}

}  // namespace harbinet
