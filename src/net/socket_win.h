// The owners of a socket and of Winsock itself, and the seam through which they reach the system's
// socket calls.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "app/mutex.h"

namespace harbinet {

// The system's socket calls, with its own results and last errors. A test derives from it to count
// calls or to make one fail. Thread-safe.
class SocketCalls {
public:
    virtual ~SocketCalls() = default;

    virtual bool StartUp();  // Winsock 2.2
    virtual void CleanUp();
    virtual SOCKET OpenTcp(int family);
    virtual int SetOption(SOCKET socket, int level, int name, DWORD value);
    // From now on no call waits: it fails with WSAEWOULDBLOCK instead.
    virtual int StopBlocking(SOCKET socket);
    virtual int Bind(SOCKET socket, const sockaddr* address, int length);
    virtual int Listen(SOCKET socket, int backlog);
    // Waits for one socket: 1 when it is ready, 0 when the time is over, SOCKET_ERROR.
    virtual int WaitReadable(SOCKET socket, const timeval& timeout);
    virtual int WaitWritable(SOCKET socket, const timeval& timeout);
    virtual SOCKET Accept(SOCKET listening, sockaddr* peer, int* length);
    // Before a connect: one that is refused fails at once. Windows tries it for two seconds else.
    virtual int ConnectOnlyOnce(SOCKET socket);
    virtual int Connect(SOCKET socket, const sockaddr* address, int length);
    virtual int Receive(SOCKET socket, char* buffer, int size);
    virtual int Send(SOCKET socket, const char* bytes, int size);
    virtual int ShutdownSend(SOCKET socket);
    // How many bytes the other side has acknowledged so far; nothing where the system does not tell
    // (Windows does from 10 version 1703 on).
    virtual std::optional<std::uint64_t> AcknowledgedBytes(SOCKET socket);
    // Ends every call that waits on the socket, whatever thread made it. Errors are ignored.
    virtual void CancelWaiting(SOCKET socket);
    virtual int Close(SOCKET socket);

private:
    // A new server starts Winsock up while the last connection of the one before cleans up. Not
    // every implementation counts that right by itself, and a count that is too low ends every
    // socket.
    Mutex start_up_mutex_;
};

// Lives as long as the process.
SocketCalls& SystemSocketCalls();

// Owns one socket: its handle, every call on it, its end. Results and last errors are Winsock's.
// Used by one thread at a time, but for Cancel.
class Socket {
public:
    explicit Socket(SOCKET handle, SocketCalls& calls = SystemSocketCalls())
        : handle_(handle), calls_(calls) {}
    // Closes it.
    ~Socket();
    // Only before anybody else may cancel it.
    Socket(Socket&& other) noexcept
        : handle_(std::exchange(other.handle_, INVALID_SOCKET)), calls_(other.calls_) {}
    Socket& operator=(Socket&&) = delete;

    explicit operator bool() const { return handle_ != INVALID_SOCKET; }

    int SetOption(int level, int name, DWORD value) const;
    int StopBlocking() const;
    int Bind(const sockaddr* address, int length) const;
    int Listen(int backlog) const;
    int ConnectOnlyOnce() const;
    int Connect(const sockaddr* address, int length) const;
    SOCKET Accept(sockaddr* peer, int* length) const;
    // 1 when it is ready, 0 when the time is over, SOCKET_ERROR.
    int WaitReadable(std::chrono::microseconds limit) const;
    int WaitWritable(std::chrono::microseconds limit) const;
    int Receive(std::span<char> buffer) const;
    int Send(std::string_view bytes) const;
    int ShutdownSend() const;
    std::optional<std::uint64_t> AcknowledgedBytes() const;

    // Ends the calls that wait on the socket and makes each later one fail with
    // WSA_OPERATION_ABORTED. A call that is just about to wait may be missed: repeat it. Does not
    // wait. Any thread.
    void Cancel();

private:
    bool IsCancelled() const;

    SOCKET handle_;
    SocketCalls& calls_;
    std::atomic<bool> is_cancelled_{false};
};

// One reference to Winsock 2.2. When a process gives back its last one, the system closes every
// socket it still has: whoever owns a socket holds one of these as long.
class WinsockReference {
public:
    explicit WinsockReference(SocketCalls& calls = SystemSocketCalls());
    ~WinsockReference();
    WinsockReference(const WinsockReference&) = delete;
    WinsockReference& operator=(const WinsockReference&) = delete;

    explicit operator bool() const { return started_; }

private:
    SocketCalls& calls_;
    bool started_ = false;
};

// The address as a number, "::ffff:10.0.0.7" for an IPv4 client of a dual-stack socket. Empty when
// the system cannot tell.
std::string NumericHost(const sockaddr_storage& address);

}  // namespace harbinet
