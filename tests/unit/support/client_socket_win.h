// The owner of a socket on the client's side of a test, which uses it with the system's own calls.
#pragma once

#include <winsock2.h>

#include "app/unique_handle_win.h"

namespace harbinet::test {

struct SocketTraits {
    using Handle = SOCKET;
    static Handle None() { return INVALID_SOCKET; }
    static void Close(Handle socket) { closesocket(socket); }
};
using UniqueSocket = UniqueHandle<SocketTraits>;

}  // namespace harbinet::test
