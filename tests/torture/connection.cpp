#include "connection.h"

#include <openssl/crypto.h>

#include <exception>
#include <new>
#include <thread>

#include "app/ascii.h"
#include "net/client_address.h"
#include "net/memory_channel.h"
#include "net/openssl_errors.h"
#include "net/tls_stream.h"

namespace harbinet::test {
namespace {

// The socket's place: what it needs for itself in memory is not the server's.
class SparedChannel final : public Channel {
public:
    explicit SparedChannel(MemoryChannel& channel) : channel_(channel) {}

    Result Receive(std::span<char> buffer) override {
        const SparedMemory spared;
        return channel_.Receive(buffer);
    }
    Result Send(std::string_view bytes) override {
        const SparedMemory spared;
        return channel_.Send(bytes);
    }
    bool Wait(Direction direction) override {
        const SparedMemory spared;
        return channel_.Wait(direction);
    }
    void BeginBody(const BodyLimits& limits) override { channel_.BeginBody(limits); }

private:
    MemoryChannel& channel_;
};

void LogEnd(EventLog& log, std::string_view reason) noexcept {
    try {
        log.Log(L"ERROR   connection ended: " + WidenAscii(reason));
    } catch (const std::bad_alloc&) {
        // As in the program: without memory for the line there is none.
    }
}

// What HandleConnection does with a socket.
void Serve(FullSite& site, SSL_CTX* context, const std::string& peer, Channel& channel,
           CountFrom count_from) {
    try {
        if (count_from == CountFrom::kConnection) FailingMemory::Start();
        TlsStream stream(context, channel);
        if (!stream) return;
        if (stream.Handshake()) {
            if (count_from == CountFrom::kRequest) FailingMemory::Start();
            const std::string client_ip(WithoutMappedPrefix(peer));
            ServeRequest(stream, client_ip, site.table);
        } else if (LogHandshakeErrors(site.log)) {
            site.log.Log(L"TLS     handshake failed");
        }
        stream.SendCloseNotify();
    } catch (const std::bad_alloc&) {
        LogEnd(site.log, "out of memory");
    } catch (const std::exception& error) {
        LogEnd(site.log, error.what());
    }
}

void RunClient(MemoryChannel& channel, ClientKind kind, const std::string& request,
               std::string& reply) {
    if (kind == ClientKind::kPlain) {
        channel.to_server.Write(request);
        channel.to_server.Close();
        while (!channel.to_client.Read(SIZE_MAX).empty()) {
        }
        return;
    }
    TlsClient client(channel.Client(),
                     {.max_version = kind == ClientKind::kTls12 ? TLS1_2_VERSION : TLS1_3_VERSION,
                      .distrusts = kind == ClientKind::kDistrusts});
    const bool shook_hands = client.Handshake();
    if (shook_hands) client.Write(request);
    channel.to_server.Close();
    if (shook_hands) reply = client.ReadToEnd();
}

}  // namespace

ConnectionResult Connect(FullSite& site, SSL_CTX* context, const std::string& client_ip,
                         const std::string& request, ClientKind client, CountFrom count_from,
                         const Failure& failure) {
    ConnectionResult result;
    MemoryChannel channel;
    std::thread client_thread(RunClient, std::ref(channel), client, std::cref(request),
                              std::ref(result.reply));
    {
        const FailingMemory memory(failure);
        SparedChannel spared(channel);
        Serve(site, context, client_ip, spared, count_from);
        // As at the end of a connection's thread.
        OPENSSL_thread_stop();
        result.requests = FailingMemory::Count();
    }
    channel.to_client.Close();
    client_thread.join();
    return result;
}

}  // namespace harbinet::test
