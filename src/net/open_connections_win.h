// The connections that are being served. The end of the program cuts them: their threads then end
// by themselves, and close their files, instead of being stopped in the middle of a call.
// Thread-safe.
#pragma once

#include <chrono>
#include <set>

#include "app/guarded.h"
#include "net/socket_win.h"

namespace harbinet {

class OpenConnections {
public:
    // One connection, for as long as anything of its thread is left. The list must outlive it.
    class Entry {
    public:
        Entry(OpenConnections& list, SOCKET socket);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        OpenConnections& list_;
        const SOCKET socket_;
    };

    // Ends all connections at once and gives their threads that long to end; true when they did.
    // Only for the end of the program, with nobody accepting any more: a socket that its thread has
    // closed in the meantime may be cut under a number that another connection's file has now.
    bool CutAll(std::chrono::milliseconds limit, SocketCalls& calls = SystemSocketCalls());

private:
    Guarded<std::multiset<SOCKET>> sockets_;
};

}  // namespace harbinet
