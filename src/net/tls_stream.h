// The server's side of one TLS connection over a channel. Its records are collected and leave
// together: OpenSSL by itself would make one system call for every 16 KiB. Used by one thread at a
// time.
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <span>
#include <string_view>

#include "app/large_buffer.h"
#include "net/channel.h"
#include "net/openssl_ptr.h"
#include "net/stream.h"

namespace harbinet {

// The largest range given to one SSL_write.
inline constexpr std::size_t kMaxWriteBytes = 1'048'576;
// Payload whose records leave in one system call, and as much for a client that takes it at once: a
// slow one would need too long for that.
inline constexpr std::size_t kSendChunkBytes = 256 * 1024;
inline constexpr std::size_t kQuickSendChunkBytes = 512 * 1024;
inline constexpr std::chrono::milliseconds kQuickSend{100};

class TlsStream final : public Stream {
public:
    // The connection keeps the context alive by itself. `channel` must outlive the stream.
    TlsStream(SSL_CTX* context, Channel& channel);
    ~TlsStream() override;
    TlsStream(const TlsStream&) = delete;
    TlsStream& operator=(const TlsStream&) = delete;

    // False when OpenSSL had no memory for the connection: then nothing but the destructor may be
    // called.
    explicit operator bool() const { return ssl_ != nullptr; }

    // False when the client and the server did not agree, or the client went away; the reasons are
    // in the thread's OpenSSL error queue.
    bool Handshake();

    std::size_t ReadSome(std::span<char> buffer) override;
    bool WriteAll(std::string_view bytes) override;
    bool WriteSoon(std::string_view bytes) override;
    void BeginBody() override;

    // Tells the client that no more bytes come, after those that still wait. Does not wait for its
    // answer.
    void SendCloseNotify();

private:
    struct Callbacks;

    int ReadRaw(BIO* bio, char* buffer, std::size_t size);
    int WriteRaw(BIO* bio, const char* bytes, std::size_t size);
    bool WaitFor(int ssl_result);
    bool Flush();
    Channel::Status FlushOnce();

    Channel& channel_;
    LargeBuffer unsent_;  // finished records
    std::size_t unsent_limit_;
    // Received in the body phase and not yet taken by OpenSSL: a buffer made on first use.
    LargeBuffer receive_buffer_;
    std::span<const char> unread_;
    bool in_body_ = false;
    SslPtr ssl_;
};

}  // namespace harbinet
