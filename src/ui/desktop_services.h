// What the windows work with. The application owns all of it and outlives every window.
#pragma once

#include "app/event_log.h"
#include "app/web_root.h"
#include "auth/credentials.h"
#include "files/shares/share_table.h"
#include "net/addresses.h"
#include "net/server_win.h"
#include "net/tls_context.h"

namespace harbinet {

struct DesktopServices {
    EventLog& log;
    WebRoot& web_root;
    Credentials& credentials;
    ShareTable& shares;
    Addresses& addresses;
    TlsContext& tls_context;
    Server& server;
};

}  // namespace harbinet
