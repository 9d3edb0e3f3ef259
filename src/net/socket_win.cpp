#include "net/socket_win.h"

#include <mstcpip.h>

#include <algorithm>
#include <limits>

#include "app/immortal.h"

namespace harbinet {
namespace {

int ClampToInt(std::size_t size) {
    return static_cast<int>(
        std::min(size, static_cast<std::size_t>(std::numeric_limits<int>::max())));
}

timeval ToTimeval(std::chrono::microseconds limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    return {static_cast<long>(seconds.count()), static_cast<long>((limit - seconds).count())};
}

// SIO_TCP_INFO and what it tells in its first version: the headers show both only to programs that
// run nowhere else.
constexpr DWORD kSioTcpInfo = _WSAIORW(IOC_VENDOR, 39);
struct TcpInfo {
    std::uint32_t state;
    std::uint32_t max_segment;
    std::uint64_t connection_milliseconds;
    std::uint8_t has_timestamps;
    std::uint32_t round_trip_microseconds;
    std::uint32_t min_round_trip_microseconds;
    std::uint32_t bytes_in_flight;
    std::uint32_t congestion_window;
    std::uint32_t send_window;
    std::uint32_t receive_window;
    std::uint32_t receive_buffer;
    std::uint64_t bytes_out;
    std::uint64_t bytes_in;
    std::uint32_t bytes_reordered;
    std::uint32_t bytes_retransmitted;
    std::uint32_t fast_retransmissions;
    std::uint32_t duplicate_acks_in;
    std::uint32_t timeouts;
    std::uint8_t syn_retransmissions;
};

}  // namespace

bool SocketCalls::StartUp() {
    WSADATA data;
    const MutexLock lock(start_up_mutex_);
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

void SocketCalls::CleanUp() {
    const MutexLock lock(start_up_mutex_);
    WSACleanup();
}

SOCKET SocketCalls::OpenTcp(int family) { return socket(family, SOCK_STREAM, IPPROTO_TCP); }

int SocketCalls::SetOption(SOCKET socket, int level, int name, DWORD value) {
    return setsockopt(socket, level, name, reinterpret_cast<const char*>(&value), sizeof value);
}

int SocketCalls::StopBlocking(SOCKET socket) {
    u_long on = 1;
    return ioctlsocket(socket, static_cast<long>(FIONBIO), &on);
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

int SocketCalls::ConnectOnlyOnce(SOCKET socket) {
    TCP_INITIAL_RTO_PARAMETERS once{};
    once.Rtt = TCP_INITIAL_RTO_UNSPECIFIED_RTT;
    once.MaxSynRetransmissions = TCP_INITIAL_RTO_NO_SYN_RETRANSMISSIONS;
    DWORD size = 0;
    return WSAIoctl(socket, SIO_TCP_INITIAL_RTO, &once, sizeof once, nullptr, 0, &size, nullptr,
                    nullptr);
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

std::optional<std::uint64_t> SocketCalls::AcknowledgedBytes(SOCKET socket) {
    DWORD version = 0;
    TcpInfo info{};
    DWORD size = 0;
    if (WSAIoctl(socket, kSioTcpInfo, &version, sizeof version, &info, sizeof info, &size, nullptr,
                 nullptr) != 0) {
        return std::nullopt;
    }
    return info.bytes_out - info.bytes_retransmitted - info.bytes_in_flight;
}

void SocketCalls::CancelWaiting(SOCKET socket) {
    CancelIoEx(reinterpret_cast<HANDLE>(socket), nullptr);
}

int SocketCalls::Close(SOCKET socket) { return closesocket(socket); }

SocketCalls& SystemSocketCalls() { return Immortal<SocketCalls>(); }

Socket::~Socket() {
    if (handle_ != INVALID_SOCKET) calls_.Close(handle_);
}

int Socket::SetOption(int level, int name, DWORD value) const {
    return calls_.SetOption(handle_, level, name, value);
}

int Socket::StopBlocking() const { return calls_.StopBlocking(handle_); }

int Socket::Bind(const sockaddr* address, int length) const {
    return calls_.Bind(handle_, address, length);
}

int Socket::Listen(int backlog) const { return calls_.Listen(handle_, backlog); }

int Socket::ConnectOnlyOnce() const { return calls_.ConnectOnlyOnce(handle_); }

int Socket::Connect(const sockaddr* address, int length) const {
    return calls_.Connect(handle_, address, length);
}

SOCKET Socket::Accept(sockaddr* peer, int* length) const {
    return calls_.Accept(handle_, peer, length);
}

int Socket::WaitReadable(std::chrono::microseconds limit) const {
    return IsCancelled() ? SOCKET_ERROR : calls_.WaitReadable(handle_, ToTimeval(limit));
}

int Socket::WaitWritable(std::chrono::microseconds limit) const {
    return IsCancelled() ? SOCKET_ERROR : calls_.WaitWritable(handle_, ToTimeval(limit));
}

int Socket::Receive(std::span<char> buffer) const {
    return IsCancelled() ? SOCKET_ERROR
                         : calls_.Receive(handle_, buffer.data(), ClampToInt(buffer.size()));
}

int Socket::Send(std::string_view bytes) const {
    return IsCancelled() ? SOCKET_ERROR
                         : calls_.Send(handle_, bytes.data(), ClampToInt(bytes.size()));
}

int Socket::ShutdownSend() const { return calls_.ShutdownSend(handle_); }

std::optional<std::uint64_t> Socket::AcknowledgedBytes() const {
    return calls_.AcknowledgedBytes(handle_);
}

void Socket::Cancel() {
    is_cancelled_ = true;
    calls_.CancelWaiting(handle_);
}

bool Socket::IsCancelled() const {
    if (!is_cancelled_) return false;
    WSASetLastError(WSA_OPERATION_ABORTED);
    return true;
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
