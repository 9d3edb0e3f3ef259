// The connections that are being served. The end of the program cuts them: their threads then end
// by themselves, and close their files. Thread-safe.
#pragma once

#include <chrono>
#include <memory>
#include <set>

#include "app/guarded.h"
#include "net/socket_win.h"

namespace harbinet {

class OpenConnections {
public:
    // One connection, for as long as anything of its thread is left. The list must outlive it.
    class Entry {
    public:
        // Throws std::bad_alloc.
        Entry(OpenConnections& list, const std::shared_ptr<Socket>& socket);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        OpenConnections& list_;
        const std::weak_ptr<Socket> socket_;
    };

    // Asks all connections at once to cancel themselves and gives their threads that long to end;
    // true when they did. Without memory for the list, false at once.
    bool CutAll(std::chrono::milliseconds limit) noexcept;

private:
    using Sockets = std::set<std::weak_ptr<Socket>, std::owner_less<>>;

    Guarded<Sockets> sockets_;
};

}  // namespace harbinet
