#include "net/open_connections_win.h"

#include <new>

namespace harbinet {

OpenConnections::Entry::Entry(OpenConnections& list, const std::shared_ptr<Socket>& socket)
    : list_(list), socket_(socket) {
    list_.sockets_.With([this](Sockets& sockets) { sockets.insert(socket_); });
}

OpenConnections::Entry::~Entry() {
    list_.sockets_.With([this](Sockets& sockets) { sockets.erase(socket_); });
}

bool OpenConnections::CutAll(std::chrono::milliseconds limit) noexcept try {
    constexpr DWORD kPauseMilliseconds = 5;
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const Sockets left = sockets_.With([](const Sockets& sockets) { return sockets; });
        if (left.empty()) return true;
        // Again in each round: a thread may have been between two calls.
        for (const std::weak_ptr<Socket>& socket : left) {
            if (const auto living = socket.lock()) living->Cancel();
        }
        if (std::chrono::steady_clock::now() >= end) return false;
        Sleep(kPauseMilliseconds);
    }
} catch (const std::bad_alloc&) {
    return false;
}

}  // namespace harbinet
