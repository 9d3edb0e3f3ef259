// The HTTPS server's life: a server thread with the listening socket and the accept loop, and one
// detached thread for every accepted connection. Knows no HTTP: each socket goes, unread, to the
// function given at construction.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "app/administrator_win.h"
#include "app/event_log.h"
#include "net/detached_thread_win.h"
#include "net/open_connections_win.h"
#include "net/ports.h"
#include "net/socket_win.h"

namespace harbinet {

// What the rest of the program reads of the server. Connection threads may read it after the Server
// is gone, so it has an owner of its own. Written by the server only.
struct ServerState {
    std::atomic<bool> is_running{false};
    std::atomic<int> listening_port{0};  // 0 while the server does not run
    OpenConnections connections;
};

// How long the end of the program waits for connections that it has cut.
inline constexpr std::chrono::milliseconds kCutLimit{100};

class Server {
public:
    struct Callbacks {
        // Makes sure the TLS context exists. Server thread.
        std::function<bool()> ensure_tls;
        // Serves and closes one connection. Called on the connection's own thread, which outlives
        // Stop and may outlive the Server: what the function uses must live as long as the process
        // or be held by the function itself.
        std::function<void(std::shared_ptr<Socket>, const sockaddr_storage& peer)>
            handle_connection;
        // The server state changed. Any thread; must return at once.
        std::function<void()> state_changed;
        // Starts the connection's thread, or throws. Server thread. A test puts one in its place
        // that fails.
        std::function<void(std::function<void()>)> start_thread = StartDetached;
    };

    // `port` is a parameter so that tests need not fight over one.
    Server(EventLog& log, ServerState& state, Callbacks callbacks, int port = ServerPort(IsAdmin()),
           SocketCalls& calls = SystemSocketCalls());
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // UI thread. Start does nothing while the server runs. After a start that failed, another Start
    // ends the process: the failed thread was never joined, and that is meant.
    void Start();
    // Returns once the server thread has ended; connections go on. Does nothing when the server
    // does not run.
    void Stop();
    // For the end of the program, after Stop: cuts the connections that are still being served and
    // waits at most kCutLimit for their threads. False when some took longer, with a large archive
    // for example: these end with the process.
    bool CutConnections();

    // Any thread.
    bool IsRunning() const { return state_.is_running; }
    // 0 while the server does not run.
    int ListeningPort() const { return state_.listening_port; }

private:
    // The codes that the log shows.
    enum class StartFailure : int {
        kNoWinsock = -1,
        kNoSocket = -2,
        kBindFailed = -3,
        kListenFailed = -4,
        kNoTlsContext = -10,
    };

    using WinsockOwner = std::shared_ptr<const WinsockReference>;

    void Run();
    // Nothing when the server has run and was stopped.
    std::optional<StartFailure> Listen();
    // The steps before the socket. One that memory is missing for has failed.
    std::optional<StartFailure> GetReady(WinsockOwner& winsock) const;
    // Nothing when the socket listens.
    std::optional<StartFailure> Prepare(const Socket& listening) const;
    void AcceptUntilStopped(const Socket& listening, const WinsockOwner& winsock) const;
    void AcceptOne(const Socket& listening, const WinsockOwner& winsock) const;
    void WakeAcceptLoop() const;

    EventLog& log_;
    ServerState& state_;
    const Callbacks callbacks_;
    const int port_;
    SocketCalls& calls_;

    std::atomic<bool> stop_requested_{false};
    std::thread thread_;  // UI thread only
};

}  // namespace harbinet
