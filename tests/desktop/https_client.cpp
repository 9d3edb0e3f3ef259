#include "https_client.h"

#include <openssl/ssl.h>

#include <memory>

#include "net/openssl_ptr.h"
#include "net/socket_win.h"
#include "support/client_socket_win.h"

namespace harbinet::test {
namespace {

struct ContextDeleter {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
struct ConnectionDeleter {
    void operator()(SSL* connection) const { SSL_free(connection); }
};

// One wait for the program: a test must end even when the program does so first.
constexpr DWORD kWaitMilliseconds = 10'000;

UniqueSocket Connect(int port) {
    UniqueSocket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        setsockopt(socket.Get(), SOL_SOCKET, option,
                   reinterpret_cast<const char*>(&kWaitMilliseconds), sizeof kWaitMilliseconds);
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return {};
    }
    return socket;
}

}  // namespace

std::string Exchange(int port, std::string_view request) {
    const UniqueSocket socket = Connect(port);
    if (!socket) return {};
    const std::unique_ptr<SSL_CTX, ContextDeleter> context(SSL_CTX_new(TLS_client_method()));
    const std::unique_ptr<SSL, ConnectionDeleter> connection(SSL_new(context.get()));
    SSL_set_fd(connection.get(), static_cast<int>(socket.Get()));
    if (SSL_connect(connection.get()) != 1) return {};
    if (SSL_write(connection.get(), request.data(), static_cast<int>(request.size())) <= 0) {
        return {};
    }
    std::string reply;
    char buffer[4096];
    for (int read; (read = SSL_read(connection.get(), buffer, sizeof buffer)) > 0;) {
        reply.append(buffer, static_cast<std::size_t>(read));
    }
    return reply;
}

std::string Get(int port, std::string_view path, std::string_view cookie) {
    std::string request = "GET " + std::string(path) + " HTTP/1.1\r\nHost: localhost\r\n";
    if (!cookie.empty()) request += "Cookie: " + std::string(cookie) + "\r\n";
    return Exchange(port, request + "\r\n");
}

std::string PostJson(int port, std::string_view path, std::string_view json) {
    return Exchange(port, "POST " + std::string(path) +
                              " HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                              std::to_string(json.size()) + "\r\n\r\n" + std::string(json));
}

std::string StatusOf(std::string_view reply) {
    return reply.starts_with("HTTP/1.1 ") ? std::string(reply.substr(9, 3)) : std::string();
}

std::string LogIn(int port, std::string_view pin) {
    const std::string reply =
        PostJson(port, "/api/login", R"({"code":")" + std::string(pin) + "\"}");
    const std::size_t begin = reply.find("AUTH=");
    if (StatusOf(reply) != "200" || begin == std::string::npos) return {};
    return reply.substr(begin, reply.find(';', begin) - begin);
}

}  // namespace harbinet::test
