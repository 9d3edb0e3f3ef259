#include "ui/tray_menu.h"

#include "app/ui_thread.h"

namespace harbinet {
namespace {

struct TrayMenuItem {
    int id;  // 0 is a separator
    const wchar_t* text;
    bool needs_server;
};

constexpr TrayMenuItem kItems[] = {
    {kTrayCopy, L"Copy URL + PIN", true}, {kTrayBrowser, L"Open Browser (Auto Login)", true},
    {kTrayExplorer, L"Explorer", false},  {0, nullptr, false},
    {kTrayOpen, L"Open", false},          {kTrayClose, L"Close", false},
};

}  // namespace

UniqueMenu MakeTrayMenu(bool server_runs) {
    AssertUiThread();
    UniqueMenu menu(CreatePopupMenu());
    for (const TrayMenuItem& item : kItems) {
        const UINT kind = item.id == 0 ? MF_SEPARATOR : MF_STRING;
        const UINT state = item.needs_server && !server_runs ? MF_GRAYED : MF_ENABLED;
        AppendMenuW(menu.Get(), kind | state, static_cast<UINT_PTR>(item.id), item.text);
    }
    return menu;
}

}  // namespace harbinet
