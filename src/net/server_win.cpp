#include "net/server_win.h"

#include <openssl/crypto.h>

#include <chrono>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "app/memory_reserve.h"
#include "app/ui_thread.h"

namespace harbinet {
namespace {

constexpr std::chrono::milliseconds kAcceptWait{200};

// One accepted connection on its way to its thread. The thread may outlive the server, so it holds
// on to Winsock itself.
struct Connection {
    Connection(OpenConnections& connections, std::shared_ptr<const WinsockReference> winsock_owner,
               const std::shared_ptr<Socket>& accepted)
        : entry(connections, accepted), winsock(std::move(winsock_owner)), socket(accepted) {}

    // Removed last: who finds the list empty finds nothing else left.
    OpenConnections::Entry entry;
    std::shared_ptr<const WinsockReference> winsock;
    std::shared_ptr<Socket> socket;
    sockaddr_storage peer{};
};

// OpenSSL, linked statically, does not learn by itself that a thread of Windows ends.
class OpenSslThread {
public:
    OpenSslThread() = default;
    ~OpenSslThread() { OPENSSL_thread_stop(); }
    OpenSslThread(const OpenSslThread&) = delete;
    OpenSslThread& operator=(const OpenSslThread&) = delete;
};

// The start of a thread can touch far more of its stack than a connection ever needs. A thousand
// idle ones would keep all of that in memory: lets the system take it back.
void ReleaseUnusedStack() {
    constexpr ULONG_PTR kPageBytes = 4096;
    constexpr ULONG_PTR kKeptBytes = 4 * kPageBytes;  // for this function and what it calls
    const char here = 0;
    ULONG_PTR low = 0;
    ULONG_PTR end = 0;
    GetCurrentThreadStackLimits(&low, &end);
    const ULONG_PTR used_from = reinterpret_cast<ULONG_PTR>(&here) - kKeptBytes;
    // Fails, and changes nothing, where the system has not even committed these pages.
    VirtualAlloc(reinterpret_cast<void*>(low), used_from / kPageBytes * kPageBytes - low, MEM_RESET,
                 PAGE_READWRITE);
}

// For a line of the log, which is no reason to end the server.
template <typename Function>
void IfMemoryAllows(Function log) noexcept {
    try {
        log();
    } catch (const std::bad_alloc&) {
        // Without memory for the line there is none.
    }
}

}  // namespace

Server::Server(EventLog& log, ServerState& state, Callbacks callbacks, int port, SocketCalls& calls)
    : log_(log), state_(state), callbacks_(std::move(callbacks)), port_(port), calls_(calls) {}

void Server::Start() {
    AssertUiThread();
    if (state_.is_running) return;
    stop_requested_ = false;
    // Replacing a failed start's thread, never joined, ends the process. That is meant.
    thread_ = std::thread(&Server::Run, this);
}

void Server::Stop() {
    AssertUiThread();
    if (!state_.is_running) return;
    stop_requested_ = true;
    WakeAcceptLoop();
    if (thread_.joinable()) thread_.join();
}

bool Server::CutConnections() {
    AssertUiThread();
    return state_.connections.CutAll(kCutLimit);
}

void Server::Run() {
    const OpenSslThread openssl;
    PrepareThreadForExceptions();
    const std::optional<StartFailure> failure = Listen();
    if (!failure) return;
    state_.is_running = false;
    state_.listening_port = 0;
    IfMemoryAllows([&] {
        log_.Log(L"ERROR   server failed to start (code " +
                 std::to_wstring(static_cast<int>(*failure)) + L")");
    });
    callbacks_.state_changed();
}

std::optional<Server::StartFailure> Server::GetReady(WinsockOwner& winsock) const {
    StartFailure step = StartFailure::kNoWinsock;
    try {
        // One reference for the listener and all its connections: the last of them gives it back.
        winsock = std::make_shared<const WinsockReference>(calls_);
        if (!*winsock) return step;
        step = StartFailure::kNoTlsContext;
        if (!callbacks_.ensure_tls()) return step;
    } catch (const std::bad_alloc&) {
        return step;
    }
    return std::nullopt;
}

std::optional<Server::StartFailure> Server::Listen() {
    WinsockOwner winsock;
    if (const auto failure = GetReady(winsock)) return failure;
    std::optional<Socket> listening(std::in_place, calls_.OpenTcp(AF_INET6), calls_);
    if (const auto failure = Prepare(*listening)) return failure;
    state_.is_running = true;
    state_.listening_port = port_;
    IfMemoryAllows(
        [&] { log_.Log(L"SERVER  listening (HTTPS) on port " + std::to_wstring(port_)); });
    callbacks_.state_changed();

    AcceptUntilStopped(*listening, winsock);

    log_.Log(L"SERVER  stopping");
    listening.reset();
    state_.is_running = false;
    state_.listening_port = 0;
    callbacks_.state_changed();
    return std::nullopt;
}

std::optional<Server::StartFailure> Server::Prepare(const Socket& listening) const {
    if (!listening) return StartFailure::kNoSocket;
    // One socket for IPv4 and IPv6. A system that refuses either option still gets its server.
    listening.SetOption(IPPROTO_IPV6, IPV6_V6ONLY, 0);
    listening.SetOption(SOL_SOCKET, SO_REUSEADDR, 1);
    // Accepted sockets have the properties of this one, so they need no call of their own for it.
    // Every send is a finished flight: one that waits until the last is acknowledged costs up to
    // 200 ms.
    listening.SetOption(IPPROTO_TCP, TCP_NODELAY, 1);
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    any.sin6_port = htons(static_cast<u_short>(port_));
    if (listening.Bind(reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) {
        return StartFailure::kBindFailed;
    }
    if (listening.Listen(SOMAXCONN) != 0) return StartFailure::kListenFailed;
    return std::nullopt;
}

void Server::AcceptUntilStopped(const Socket& listening, const WinsockOwner& winsock) const {
    while (!stop_requested_) {
        if (listening.WaitReadable(kAcceptWait) <= 0) continue;
        KeepMemoryReserve();
        try {
            AcceptOne(listening, winsock);
        } catch (const std::bad_alloc&) {
            // That client loses its connection; the next one may find memory again.
        }
    }
}

void Server::AcceptOne(const Socket& listening, const WinsockOwner& winsock) const {
    sockaddr_storage peer{};
    int length = sizeof peer;
    // Closed on every path, even without memory for its owner: otherwise it would wait for ever.
    Socket accepted(listening.Accept(reinterpret_cast<sockaddr*>(&peer), &length), calls_);
    if (!accepted) return;
    const auto connection = std::make_shared<Connection>(
        state_.connections, winsock, std::make_shared<Socket>(std::move(accepted)));
    connection->peer = peer;
    // A thread that cannot be made ends the process: the exception leaves the server thread.
    callbacks_.start_thread([connection, handle = callbacks_.handle_connection] {
        ReleaseUnusedStack();
        const OpenSslThread openssl;
        handle(std::move(connection->socket), connection->peer);
    });
}

void Server::WakeAcceptLoop() const {
    const Socket socket(calls_.OpenTcp(AF_INET), calls_);
    if (!socket) return;
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    loopback.sin_port = htons(static_cast<u_short>(state_.listening_port.load()));
    loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // The accept loop may have ended meanwhile, and its socket with it.
    socket.ConnectOnlyOnce();
    socket.Connect(reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback);
}

}  // namespace harbinet
