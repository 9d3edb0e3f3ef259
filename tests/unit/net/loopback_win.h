// Real sockets on the loopback address, for the tests of the Windows socket code.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "net/socket_win.h"
#include "net/tls_client.h"
#include "support/client_socket_win.h"

namespace harbinet::test {

// A port that was free a moment ago.
int FreePort();

// Connected to the port on 127.0.0.1 or ::1; none when nobody listens there.
UniqueSocket ConnectTo(int port, int family = AF_INET);

// Both ends of one connection.
struct SocketPair {
    SocketPair();

    WinsockReference winsock;
    // The server's end with its owner, which uses these calls.
    std::shared_ptr<Socket> TakeServer(SocketCalls& calls = SystemSocketCalls()) {
        return std::make_shared<Socket>(server.Release(), calls);
    }

    UniqueSocket client;
    UniqueSocket server;
};

bool SendText(SOCKET socket, std::string_view text);
// Up to `size` bytes; fewer when the other side closed or nothing came for five seconds.
std::string ReceiveText(SOCKET socket, std::size_t size);

Transport TransportOver(SOCKET socket);

}  // namespace harbinet::test
