#include "net/loopback_win.h"

#include <algorithm>

namespace harbinet::test {
namespace {

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

UniqueSocket ListenOnAnyPort(int& port) {
    UniqueSocket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in address = Loopback(0);
    int length = sizeof address;
    bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), length);
    listen(socket.Get(), 1);
    getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return socket;
}

}  // namespace

int FreePort() {
    const WinsockReference winsock;
    int port = 0;
    ListenOnAnyPort(port);
    return port;
}

UniqueSocket ConnectTo(int port, int family) {
    UniqueSocket socket(::socket(family, SOCK_STREAM, IPPROTO_TCP));
    const DWORD patience = 5000;
    setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience),
               sizeof patience);
    const sockaddr_in ipv4 = Loopback(port);
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_port = ipv4.sin_port;
    ipv6.sin6_addr.s6_addr[15] = 1;
    const int result =
        family == AF_INET
            ? connect(socket.Get(), reinterpret_cast<const sockaddr*>(&ipv4), sizeof ipv4)
            : connect(socket.Get(), reinterpret_cast<const sockaddr*>(&ipv6), sizeof ipv6);
    if (result != 0) socket.Reset();
    return socket;
}

SocketPair::SocketPair() {
    int port = 0;
    const UniqueSocket listening = ListenOnAnyPort(port);
    client = ConnectTo(port);
    server.Reset(accept(listening.Get(), nullptr, nullptr));
}

bool SendText(SOCKET socket, std::string_view text) {
    return send(socket, text.data(), static_cast<int>(text.size()), 0) ==
           static_cast<int>(text.size());
}

std::string ReceiveText(SOCKET socket, std::size_t size) {
    std::string all;
    char piece[65536];
    while (all.size() < size) {
        const std::size_t wanted = std::min(sizeof piece, size - all.size());
        const int count = recv(socket, piece, static_cast<int>(wanted), 0);
        if (count <= 0) break;
        all.append(piece, static_cast<std::size_t>(count));
    }
    return all;
}

Transport TransportOver(SOCKET socket) {
    return {[socket](std::string_view bytes) { SendText(socket, bytes); },
            [socket] {
                char piece[65536];
                const int count = recv(socket, piece, sizeof piece, 0);
                return std::string(piece, static_cast<std::size_t>(std::max(count, 0)));
            }};
}

}  // namespace harbinet::test
