// One accepted TCP connection from its first byte to its last: TLS handshake, client address, one
// request, close.
#pragma once

#include <memory>

#include "app/event_log.h"
#include "http/router.h"
#include "net/socket_win.h"
#include "net/tls_context.h"

namespace harbinet {

// Always closes the socket; no exception leaves it, each becomes one log line. Runs on the
// connection's own thread, which may outlive the message loop: what is referred to here lives until
// the process ends.
void HandleConnection(std::shared_ptr<Socket> socket, const sockaddr_storage& peer,
                      const TlsContext& tls_context, const RouteTable& routes, EventLog& log);

}  // namespace harbinet
