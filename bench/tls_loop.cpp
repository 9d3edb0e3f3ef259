// A bare TLS server, the yardstick for what the system, the TLS library and one thread for each
// connection allow by themselves: accept, thread, handshake, one request, close. No limits, no
// checks and no time-outs, so it is for measurements only. Before it waits for the client, what it
// has to say is on its way.
//
//   tls_loop CERTIFICATE KEY PORT FOLDER ADDRESS
//
//   GET /status   a small fixed reply
//   GET /NAME     the file, in chunks of 256 KiB that leave in one send each
//   POST /NAME    the body, written to the file as it comes; "100 Continue" first where it is asked
//   for
#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <process.h>
#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kChunkBytes = 262'144;
// A chunk with the headers and tags of its records.
constexpr std::size_t kSocketBufferBytes = 262'144 + 4'096;
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

// The bytes under TLS. OpenSSL reads and writes record by record; here many records make one call.
class Wire {
public:
    explicit Wire(SOCKET socket)
        : socket_(socket), input_(std::make_unique_for_overwrite<char[]>(kSocketBufferBytes)) {
        output_.reserve(kSocketBufferBytes);
    }

    BIO* NewBio() {
        static BIO_METHOD* const method = [] {
            BIO_METHOD* made = BIO_meth_new(BIO_TYPE_SOURCE_SINK, "wire");
            BIO_meth_set_read(made,
                              [](BIO* bio, char* to, int size) { return Of(bio).Read(to, size); });
            BIO_meth_set_write(made, [](BIO* bio, const char* from, int size) {
                return Of(bio).Write(from, size);
            });
            // OpenSSL flushes after each session ticket. They leave with the reply, or before the
            // next wait.
            BIO_meth_set_ctrl(made, [](BIO*, int command, long, void*) {
                return command == BIO_CTRL_FLUSH ? 1L : 0L;
            });
            return made;
        }();
        BIO* const bio = BIO_new(method);
        BIO_set_data(bio, this);
        BIO_set_init(bio, 1);
        return bio;
    }

    bool Flush() {
        std::string_view rest(output_.data(), output_.size());
        while (!rest.empty()) {
            const int count = send(socket_, rest.data(), static_cast<int>(rest.size()), 0);
            if (count <= 0) return false;
            rest.remove_prefix(static_cast<std::size_t>(count));
        }
        output_.clear();
        return true;
    }

private:
    static Wire& Of(BIO* bio) { return *static_cast<Wire*>(BIO_get_data(bio)); }

    int Read(char* to, int size) {
        if (unread_.empty()) {
            if (!Flush()) return -1;
            const int count = recv(socket_, input_.get(), static_cast<int>(kSocketBufferBytes), 0);
            if (count <= 0) return count;
            unread_ = {input_.get(), static_cast<std::size_t>(count)};
        }
        const std::size_t count = std::min(static_cast<std::size_t>(size), unread_.size());
        std::memcpy(to, unread_.data(), count);
        unread_.remove_prefix(count);
        return static_cast<int>(count);
    }

    int Write(const char* from, int size) {
        if (output_.size() + static_cast<std::size_t>(size) > kSocketBufferBytes && !Flush())
            return -1;
        output_.insert(output_.end(), from, from + size);
        return size;
    }

    SOCKET socket_;
    std::unique_ptr<char[]> input_;
    std::string_view unread_;
    std::vector<char> output_;
};

void Write(SSL* ssl, std::string_view bytes) {
    if (!bytes.empty()) SSL_write(ssl, bytes.data(), static_cast<int>(bytes.size()));
    static_cast<Wire*>(BIO_get_data(SSL_get_wbio(ssl)))->Flush();
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
    if (rest.empty() && head.find("\r\nExpect: 100-continue\r\n") != head.npos) {
        Write(ssl, "HTTP/1.1 100 Continue\r\n\r\n");
    }
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
        // Leaves with the end of the connection.
        const std::string reply = Head(kStatusBody.size()) + std::string(kStatusBody);
        SSL_write(ssl, reply.data(), static_cast<int>(reply.size()));
    } else {
        SendFile(ssl, folder + "\\" + name);
    }
}

void Handle(SSL_CTX* context, SOCKET socket, const std::string& folder) {
    Wire wire(socket);
    const SslPtr ssl(SSL_new(context));
    BIO* const bio = wire.NewBio();
    SSL_set_bio(ssl.get(), bio, bio);
    if (SSL_accept(ssl.get()) == 1) {
        Serve(ssl.get(), folder);
        SSL_shutdown(ssl.get());
        wire.Flush();
    }
    closesocket(socket);
}

struct Connection {
    SSL_CTX* context;
    SOCKET socket;
    const std::string* folder;
};

unsigned __stdcall Run(void* argument) {
    const std::unique_ptr<Connection> connection(static_cast<Connection*>(argument));
    Handle(connection->context, connection->socket, *connection->folder);
    OPENSSL_thread_stop();
    return 0;
}

// A detached std::thread of MinGW's runtime can lose its start when it ends at once.
void StartThread(const Connection& connection) {
    auto argument = std::make_unique<Connection>(connection);
    const auto handle = _beginthreadex(nullptr, 0, Run, argument.get(), 0, nullptr);
    if (handle == 0) {
        closesocket(connection.socket);
        return;
    }
    static_cast<void>(argument.release());
    CloseHandle(reinterpret_cast<HANDLE>(handle));
}

SOCKET Listen(const char* at, unsigned short port) {
    const SOCKET listening = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    // Every send is a finished flight or chunk. Accepted sockets take the option over.
    const int at_once = 1;
    setsockopt(listening, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&at_once),
               sizeof(at_once));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, at, &address.sin_addr);
    address.sin_port = htons(port);
    if (bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listening, SOMAXCONN) != 0) {
        return INVALID_SOCKET;
    }
    return listening;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) return 2;
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return 1;
    SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
    if (SSL_CTX_use_certificate_file(context, argv[1], SSL_FILETYPE_PEM) != 1 ||
        SSL_CTX_use_PrivateKey_file(context, argv[2], SSL_FILETYPE_PEM) != 1) {
        return 1;
    }
    const SOCKET listening = Listen(argv[5], static_cast<unsigned short>(std::atoi(argv[3])));
    if (listening == INVALID_SOCKET) return 1;
    const std::string folder = argv[4];
    while (true) {
        const SOCKET connection = accept(listening, nullptr, nullptr);
        if (connection == INVALID_SOCKET) continue;
        StartThread({context, connection, &folder});
    }
}
