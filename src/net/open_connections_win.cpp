#include "net/open_connections_win.h"

#include <thread>

namespace harbinet {

OpenConnections::Entry::Entry(OpenConnections& list, SOCKET socket) : list_(list), socket_(socket) {
    list_.sockets_.With([socket](auto& sockets) { sockets.insert(socket); });
}

OpenConnections::Entry::~Entry() {
    list_.sockets_.With([this](auto& sockets) { sockets.erase(sockets.find(socket_)); });
}

bool OpenConnections::CutAll(std::chrono::milliseconds limit, SocketCalls& calls) {
    constexpr std::chrono::milliseconds kPause{5};
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const auto left = sockets_.With([](const auto& sockets) { return sockets; });
        if (left.empty()) return true;
        // Again in each round: a thread may have been between two calls.
        for (const SOCKET socket : left) calls.CancelWaiting(socket);
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace harbinet
