// The program's route table: every address a browser can ask for, in one place.
#pragma once

#include "auth/credentials.h"
#include "auth/login.h"
#include "files/shares/share_service.h"
#include "http/router.h"

namespace harbinet {

// What GET /api/status tells.
struct ServerStatus {
    bool is_running = false;
    int port = 0;  // 0 while the server does not listen
};

// What the handlers work with. All of it lives as long as the process: connection threads may
// outlive the window.
struct RouteServices {
    ShareServices files;
    LoginService& login;
    Credentials& credentials;
    std::function<ServerStatus()> status;
};

// Fills nothing in: each handler refers to `services`, which must outlive the table and every
// request.
RouteTable BuildRoutes(const RouteServices& services);

}  // namespace harbinet
