// The measuring client: many HTTPS requests at once, each over a connection of its own, from one
// native process. Prints one JSON object; `seconds` runs from the first connect to the last byte,
// `cpu_seconds` is what this client itself used, `p50_ms` and `p99_ms` are the time of one request
// of `get` from connect to the last byte.
//
// The server is at 127.0.0.1, or where the variable BENCH_HOST says.
//
//   bench_client get  PORT PATH CLIENTS REQUESTS [HEADER]...
//   bench_client post PORT PATH BYTES [HEADER]...     one file of BYTES as a multipart form
//   bench_client json PORT PATH TEXT [HEADER]...      TEXT as a JSON body
//   bench_client idle PORT COUNT                      handshakes only; holds them until stdin ends
//
// CLIENTS threads send REQUESTS requests each. A reply counts as failed unless its status is 200
// and all the promised bytes came.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kBufferBytes = 262'144;
constexpr int kHandshakeThreads = 16;
constexpr std::string_view kBoundary = "----bench-boundary-5e1f20c97a";

struct ContextDeleter {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
struct SslDeleter {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};

// One connection, closed at its end. OpenSSL reads and writes record by record; large buffers on
// both sides keep the client cheap.
class Connection {
public:
    Connection(SSL_CTX* context, std::uint16_t port) : ssl_(SSL_new(context)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        const char* const host = std::getenv("BENCH_HOST");
        inet_pton(AF_INET, host == nullptr ? "127.0.0.1" : host, &address.sin_addr);
        address.sin_port = htons(port);
        socket_ = socket(AF_INET, SOCK_STREAM, 0);
        // As every browser does: otherwise the request waits for the server to acknowledge the
        // handshake.
        const int at_once = 1;
        setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof(at_once));
        if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            return;
        }
        BIO* const plain = BIO_new_socket(socket_, BIO_NOCLOSE);
        BIO* const buffered = BIO_new(BIO_f_buffer());
        BIO_set_write_buffer_size(buffered, kBufferBytes);
        BIO_up_ref(plain);
        SSL_set_bio(ssl_.get(), plain, BIO_push(buffered, plain));
        is_open_ = SSL_connect(ssl_.get()) == 1;
    }
    ~Connection() { close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool IsOpen() const { return is_open_; }
    bool Write(std::string_view bytes) {
        const int count = SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size()));
        return count == static_cast<int>(bytes.size());
    }
    // Wakes the reader for many bytes only: a wake-up for each record would make the client the
    // bottleneck.
    void ExpectMany() {
        const int bytes = kBufferBytes / 2;
        setsockopt(socket_, SOL_SOCKET, SO_RCVLOWAT, &bytes, sizeof(bytes));
    }
    void Flush() { (void)BIO_flush(SSL_get_wbio(ssl_.get())); }
    std::size_t Read(std::span<char> buffer) {
        const int count = SSL_read(ssl_.get(), buffer.data(), static_cast<int>(buffer.size()));
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

private:
    std::unique_ptr<SSL, SslDeleter> ssl_;
    int socket_ = -1;
    bool is_open_ = false;
};

struct Outcome {
    bool ok = false;
    std::uint64_t body_bytes = 0;
};

Outcome ReadReply(Connection& connection) {
    std::vector<char> buffer(65'536);
    std::string head;
    while (head.find("\r\n\r\n") == head.npos) {
        const std::size_t count = connection.Read(buffer);
        if (count == 0) return {};
        head.append(buffer.data(), count);
    }
    const std::size_t end = head.find("\r\n\r\n") + 4;
    const std::size_t at = head.find("Content-Length: ");
    if (at == head.npos || at > end) return {};
    const std::uint64_t length = std::strtoull(&head[at + 16], nullptr, 10);
    std::uint64_t received = head.size() - end;
    if (length > kBufferBytes) connection.ExpectMany();
    while (received < length) {
        const std::size_t count = connection.Read(buffer);
        if (count == 0) break;
        received += count;
    }
    return {head.starts_with("HTTP/1.1 200") && received == length, received};
}

std::string Head(std::string_view method, std::string_view path, std::span<char*> headers) {
    std::string head =
        std::string(method) + " /" + std::string(path) + " HTTP/1.1\r\nHost: localhost\r\n";
    for (const char* header : headers) head += std::string(header) + "\r\n";
    return head;
}

Outcome Post(Connection& connection, const std::string& head, std::string_view type,
             std::string_view before, std::uint64_t file_bytes, std::string_view after) {
    const std::uint64_t length = before.size() + file_bytes + after.size();
    connection.Write(head + "Content-Type: " + std::string(type) +
                     "\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n");
    if (!before.empty()) connection.Write(before);
    std::string noise(kBufferBytes, '\0');
    std::mt19937 random(1);
    std::ranges::generate(noise, [&random] { return static_cast<char>(random()); });
    while (file_bytes > 0) {
        const std::uint64_t count = std::min<std::uint64_t>(file_bytes, noise.size());
        if (!connection.Write(std::string_view(noise).substr(0, count))) return {};
        file_bytes -= count;
    }
    connection.Write(after);
    connection.Flush();
    Outcome outcome = ReadReply(connection);
    outcome.body_bytes = length;
    return outcome;
}

struct Totals {
    std::atomic<std::uint64_t> bytes{0};
    std::atomic<int> requests{0};
    std::atomic<int> failed{0};
    std::mutex lock;
    std::vector<double> milliseconds;  // of each request, under the lock

    void Add(const Outcome& outcome) {
        bytes += outcome.body_bytes;
        ++requests;
        if (!outcome.ok) ++failed;
    }
    void AddTime(double value) {
        const std::lock_guard guard(lock);
        milliseconds.push_back(value);
    }
    // The time that this part of the requests did not exceed; 0 without any.
    double Percentile(double part) {
        std::ranges::sort(milliseconds);
        if (milliseconds.empty()) return 0;
        const auto last = static_cast<double>(milliseconds.size() - 1);
        return milliseconds[static_cast<std::size_t>(last * part + 0.5)];
    }
};

void RunThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
}

// Holds the connections open until the other end of stdin is closed.
void HoldIdle(SSL_CTX* context, std::uint16_t port, int count, Totals& totals) {
    std::vector<std::unique_ptr<Connection>> idle(static_cast<std::size_t>(count));
    RunThreads(kHandshakeThreads, [&](int first) {
        for (int i = first; i < count; i += kHandshakeThreads) {
            auto& connection = idle[static_cast<std::size_t>(i)];
            connection = std::make_unique<Connection>(context, port);
            totals.Add({connection->IsOpen(), 0});
        }
    });
    std::printf("open %d\n", totals.requests - totals.failed);
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
}

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// False when the arguments make no sense.
bool Run(SSL_CTX* context, std::span<char*> arguments, Totals& totals) {
    if (arguments.size() < 3) return false;
    const std::string_view mode = arguments[0];
    const auto port = static_cast<std::uint16_t>(std::atoi(arguments[1]));
    if (mode == "idle") {
        HoldIdle(context, port, std::atoi(arguments[2]), totals);
        return true;
    }
    if (arguments.size() < 4) return false;
    if (mode == "get") {
        if (arguments.size() < 5) return false;
        const int requests = std::atoi(arguments[4]);
        const std::string head = Head("GET", arguments[2], arguments.subspan(5)) + "\r\n";
        RunThreads(std::atoi(arguments[3]), [&](int) {
            for (int i = 0; i < requests; ++i) {
                const auto start = std::chrono::steady_clock::now();
                Connection connection(context, port);
                if (connection.IsOpen() && connection.Write(head)) connection.Flush();
                totals.Add(connection.IsOpen() ? ReadReply(connection) : Outcome{});
                const std::chrono::duration<double, std::milli> time =
                    std::chrono::steady_clock::now() - start;
                totals.AddTime(time.count());
            }
        });
        return true;
    }
    Connection connection(context, port);
    if (!connection.IsOpen()) return totals.Add({}), true;
    const std::string head = Head("POST", arguments[2], arguments.subspan(4));
    if (mode == "json") {
        totals.Add(Post(connection, head, "application/json", "", 0, arguments[3]));
        return true;
    }
    const std::string delimiter = "--" + std::string(kBoundary);
    totals.Add(Post(connection, head, "multipart/form-data; boundary=" + std::string(kBoundary),
                    delimiter +
                        "\r\nContent-Disposition: form-data; name=\"files\"; "
                        "filename=\"upload.bin\"\r\nContent-Type: application/octet-stream\r\n\r\n",
                    std::strtoull(arguments[3], nullptr, 10), "\r\n" + delimiter + "--\r\n"));
    return mode == "post";
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    const std::unique_ptr<SSL_CTX, ContextDeleter> context(SSL_CTX_new(TLS_client_method()));
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_NONE, nullptr);
    SSL_CTX_set_read_ahead(context.get(), 1);
    SSL_CTX_set_default_read_buffer_len(context.get(), kBufferBytes);

    Totals totals;
    const auto start = std::chrono::steady_clock::now();
    if (!Run(context.get(), std::span(argv, static_cast<std::size_t>(argc)).subspan(1), totals)) {
        std::fputs("bench_client: wrong arguments, see the top of client.cpp\n", stderr);
        return 2;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf(
        "{\"seconds\":%.6f,\"cpu_seconds\":%.6f,\"bytes\":%llu,\"requests\":%d,\"failed\":%d,"
        "\"p50_ms\":%.3f,\"p99_ms\":%.3f}\n",
        seconds.count(), CpuSeconds(), static_cast<unsigned long long>(totals.bytes),
        totals.requests.load(), totals.failed.load(), totals.Percentile(0.5),
        totals.Percentile(0.99));
    return 0;
}
