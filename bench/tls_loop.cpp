// A bare TLS server, the yardstick for what the system, the TLS library and one thread for each
// connection allow by themselves: accept, thread, handshake, one request, close. No limits, no
// checks and no time-outs, so it is for measurements on loopback only.
//
//   tls_loop CERTIFICATE KEY PORT FOLDER
//
//   GET /status   a small fixed reply
//   GET /NAME     the file, in chunks of 256 KiB that leave in one send each
//   POST /NAME    the body, written to the file as it comes
#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kChunkBytes = 262'144;
// A chunk with the headers and tags of its records.
constexpr long kSocketBufferBytes = 262'144 + 4'096;
constexpr std::string_view kStatusBody = R"({"running":true,"port":8443})";

struct SslDeleter {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};
using SslPtr = std::unique_ptr<SSL, SslDeleter>;

class File {
public:
    File(const std::string& path, DWORD access, DWORD disposition)
        : handle_(CreateFileA(path.c_str(), access,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              disposition, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
    ~File() { CloseHandle(handle_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::uint64_t Size() const {
        LARGE_INTEGER size{};
        return GetFileSizeEx(handle_, &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
    }
    std::size_t Read(std::vector<char>& buffer) const {
        DWORD count = 0;
        ReadFile(handle_, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr);
        return count;
    }
    void Write(std::string_view bytes) const {
        DWORD count = 0;
        WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    }

private:
    HANDLE handle_;
};

void Write(SSL* ssl, std::string_view bytes) {
    if (!bytes.empty()) SSL_write(ssl, bytes.data(), static_cast<int>(bytes.size()));
    (void)BIO_flush(SSL_get_wbio(ssl));
}

std::string Head(std::uint64_t length) {
    return "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(length) +
           "\r\n\r\n";
}

void SendFile(SSL* ssl, const std::string& path) {
    const File file(path, GENERIC_READ, OPEN_EXISTING);
    Write(ssl, Head(file.Size()));
    std::vector<char> chunk(kChunkBytes);
    while (const std::size_t count = file.Read(chunk)) Write(ssl, {chunk.data(), count});
}

void ReceiveFile(SSL* ssl, const std::string& path, std::string_view head, std::string_view rest) {
    const std::size_t at = head.find("Content-Length: ");
    std::uint64_t left = at == head.npos ? 0 : std::strtoull(&head[at + 16], nullptr, 10);
    const File file(path, GENERIC_WRITE, CREATE_ALWAYS);
    file.Write(rest);
    left -= std::min<std::uint64_t>(left, rest.size());
    std::vector<char> buffer(kChunkBytes);
    std::size_t filled = 0;
    while (left > 0) {
        const int count =
            SSL_read(ssl, buffer.data() + filled, static_cast<int>(buffer.size() - filled));
        if (count <= 0) return;
        filled += static_cast<std::size_t>(count);
        left -= std::min<std::uint64_t>(left, static_cast<std::uint64_t>(count));
        if (filled == buffer.size() || left == 0) {
            file.Write({buffer.data(), filled});
            filled = 0;
        }
    }
    Write(ssl, Head(kStatusBody.size()) + std::string(kStatusBody));
}

void Serve(SSL* ssl, const std::string& folder) {
    std::string text;
    char piece[2048];
    while (text.find("\r\n\r\n") == text.npos) {
        const int count = SSL_read(ssl, piece, sizeof(piece));
        if (count <= 0) return;
        text.append(piece, static_cast<std::size_t>(count));
    }
    const std::string_view all = text;
    const std::size_t end = all.find("\r\n\r\n") + 4;
    const std::size_t start = all.find('/') + 1;
    const std::string name(all.substr(start, all.find(' ', start) - start));
    if (all.starts_with("POST")) {
        ReceiveFile(ssl, folder + "\\" + name, all.substr(0, end), all.substr(end));
    } else if (name == "status") {
        Write(ssl, Head(kStatusBody.size()) + std::string(kStatusBody));
    } else {
        SendFile(ssl, folder + "\\" + name);
    }
}

// OpenSSL receives and sends record by record; the buffer in front of the socket makes one call of
// many.
void Handle(SSL_CTX* context, SOCKET socket, const std::string& folder) {
    const SslPtr ssl(SSL_new(context));
    BIO* const buffered = BIO_new(BIO_f_buffer());
    BIO_set_buffer_size(buffered, kSocketBufferBytes);
    BIO_push(buffered, BIO_new_socket(static_cast<int>(socket), BIO_NOCLOSE));
    SSL_set_bio(ssl.get(), buffered, buffered);
    if (SSL_accept(ssl.get()) == 1) {
        Serve(ssl.get(), folder);
        SSL_shutdown(ssl.get());
        (void)BIO_flush(SSL_get_wbio(ssl.get()));
    }
    closesocket(socket);
}

SOCKET Listen(unsigned short port) {
    const SOCKET listening = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listening, SOMAXCONN) != 0) {
        return INVALID_SOCKET;
    }
    return listening;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return 1;
    SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
    if (SSL_CTX_use_certificate_file(context, argv[1], SSL_FILETYPE_PEM) != 1 ||
        SSL_CTX_use_PrivateKey_file(context, argv[2], SSL_FILETYPE_PEM) != 1) {
        return 1;
    }
    const SOCKET listening = Listen(static_cast<unsigned short>(std::atoi(argv[3])));
    if (listening == INVALID_SOCKET) return 1;
    const std::string folder = argv[4];
    while (true) {
        const SOCKET connection = accept(listening, nullptr, nullptr);
        if (connection == INVALID_SOCKET) continue;
        std::thread([context, connection, &folder] {
            Handle(context, connection, folder);
        }).detach();
    }
}
