// The tray icon's menu. UI thread.
#pragma once

#include "ui/gdi.h"

namespace harbinet {

enum TrayCommandId : int {
    kTrayOpen = 40001,
    kTrayClose = 40002,
    kTrayCopy = 40003,
    kTrayExplorer = 40004,
    kTrayBrowser = 40005,
};

// What needs a running server is grayed without one.
UniqueMenu MakeTrayMenu(bool server_runs);

}  // namespace harbinet
