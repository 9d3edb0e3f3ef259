// The tray icon's menu. UI thread.
#pragma once

#include "ui/command_ids.h"
#include "ui/gdi.h"

namespace harbinet {

// What needs a running server is grayed without one.
UniqueMenu MakeTrayMenu(bool server_runs);

}  // namespace harbinet
