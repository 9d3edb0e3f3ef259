#include "net/socket_win.h"

namespace harbinet {

bool SocketCalls::StartUp() {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

void SocketCalls::CleanUp() { WSACleanup(); }

SOCKET SocketCalls::OpenTcp(int family) { return socket(family, SOCK_STREAM, IPPROTO_TCP); }

int SocketCalls::SetOption(SOCKET socket, int level, int name, DWORD value) {
    return setsockopt(socket, level, name, reinterpret_cast<const char*>(&value), sizeof value);
}

int SocketCalls::Bind(SOCKET socket, const sockaddr* address, int length) {
    return bind(socket, address, length);
}

int SocketCalls::Listen(SOCKET socket, int backlog) { return listen(socket, backlog); }

int SocketCalls::WaitReadable(SOCKET socket, const timeval& timeout) {
    fd_set set = {1, {socket}};
    timeval limit = timeout;
    return select(0, &set, nullptr, nullptr, &limit);
}

int SocketCalls::WaitWritable(SOCKET socket, const timeval& timeout) {
    fd_set set = {1, {socket}};
    timeval limit = timeout;
    return select(0, nullptr, &set, nullptr, &limit);
}

SOCKET SocketCalls::Accept(SOCKET listening, sockaddr* peer, int* length) {
    return accept(listening, peer, length);
}

int SocketCalls::Connect(SOCKET socket, const sockaddr* address, int length) {
    return connect(socket, address, length);
}

int SocketCalls::Receive(SOCKET socket, char* buffer, int size) {
    return recv(socket, buffer, size, 0);
}

int SocketCalls::Send(SOCKET socket, const char* bytes, int size) {
    return send(socket, bytes, size, 0);
}

int SocketCalls::ShutdownSend(SOCKET socket) { return shutdown(socket, SD_SEND); }

void SocketCalls::CancelWaiting(SOCKET socket) {
    CancelIoEx(reinterpret_cast<HANDLE>(socket), nullptr);
}

int SocketCalls::Close(SOCKET socket) { return closesocket(socket); }

SocketCalls& SystemSocketCalls() {
    static SocketCalls calls;
    return calls;
}

WinsockReference::WinsockReference(SocketCalls& calls) : calls_(calls), started_(calls.StartUp()) {}

WinsockReference::~WinsockReference() {
    if (started_) calls_.CleanUp();
}

std::string NumericHost(const sockaddr_storage& address) {
    char host[NI_MAXHOST] = "";
    char service[NI_MAXSERV] = "";
    getnameinfo(reinterpret_cast<const sockaddr*>(&address), sizeof address, host, sizeof host,
                service, sizeof service, NI_NUMERICHOST | NI_NUMERICSERV);
    return host;
}

}  // namespace harbinet
