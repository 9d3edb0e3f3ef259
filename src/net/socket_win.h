// Owners for sockets and for Winsock itself.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include "app/unique_handle_win.h"

namespace harbinet {

struct SocketTraits {
    using Handle = SOCKET;
    static Handle None() { return INVALID_SOCKET; }
    static void Close(Handle socket) { closesocket(socket); }
};
using UniqueSocket = UniqueHandle<SocketTraits>;

// One reference to Winsock 2.2. When a process gives back its last one, the system closes every
// socket it still has: whoever owns a socket holds one of these as long.
class WinsockReference {
public:
    WinsockReference();
    ~WinsockReference();
    WinsockReference(const WinsockReference&) = delete;
    WinsockReference& operator=(const WinsockReference&) = delete;

    explicit operator bool() const { return started_; }

private:
    bool started_ = false;
};

}  // namespace harbinet
