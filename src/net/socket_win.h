// Owners for sockets and for Winsock itself, and the seam through which the network code reaches
// the system's socket calls.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <string>

#include "app/unique_handle_win.h"

namespace harbinet {

struct SocketTraits {
    using Handle = SOCKET;
    static Handle None() { return INVALID_SOCKET; }
    static void Close(Handle socket) { closesocket(socket); }
};
using UniqueSocket = UniqueHandle<SocketTraits>;

// The system's socket calls, with its own results and last errors. A test derives from it to count
// calls or to make one fail. Thread-safe.
class SocketCalls {
public:
    virtual ~SocketCalls() = default;

    virtual bool StartUp();  // Winsock 2.2
    virtual void CleanUp();
    virtual SOCKET OpenTcp(int family);
    virtual int SetOption(SOCKET socket, int level, int name, DWORD value);
    virtual int Bind(SOCKET socket, const sockaddr* address, int length);
    virtual int Listen(SOCKET socket, int backlog);
    // Waits for one socket: 1 when it is ready, 0 when the time is over, SOCKET_ERROR.
    virtual int WaitReadable(SOCKET socket, const timeval& timeout);
    virtual int WaitWritable(SOCKET socket, const timeval& timeout);
    virtual SOCKET Accept(SOCKET listening, sockaddr* peer, int* length);
    virtual int Connect(SOCKET socket, const sockaddr* address, int length);
    virtual int Receive(SOCKET socket, char* buffer, int size);
    virtual int Send(SOCKET socket, const char* bytes, int size);
    virtual int ShutdownSend(SOCKET socket);
    // Ends every call that waits on the socket, whatever thread made it. Errors are ignored.
    virtual void CancelWaiting(SOCKET socket);
    virtual int Close(SOCKET socket);
};

// Lives as long as the process.
SocketCalls& SystemSocketCalls();

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
