// The server's side of one TLS connection over a channel. Its records are collected and leave
// together: OpenSSL by itself would make one system call for every 16 KiB. Used by one thread at a
// time.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <exception>
#include <span>
#include <string_view>

#include "app/large_buffer.h"
#include "net/channel.h"
#include "net/openssl_ptr.h"
#include "net/stream.h"

namespace harbinet {

// The largest range given to one SSL_write.
inline constexpr std::size_t kMaxWriteBytes = 1'048'576;
// Payload whose records leave in one system call at the most.
inline constexpr std::size_t kSendChunkBytes = 512 * 1024;

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
    // in the thread's OpenSSL error queue. This and each call below throws what the channel or the
    // memory for its buffers threw.
    bool Handshake();

    std::size_t ReadSome(std::span<char> buffer) override;
    bool WriteAll(std::string_view bytes) override;
    bool WriteSoon(std::string_view bytes) override;
    void BeginBody(const BodyLimits& limits) override;
    bool HasTimedOut() const override { return channel_.HasTimedOut(); }

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
    void RethrowFromCallback();

    Channel& channel_;
    LargeBuffer unsent_;        // finished records
    std::size_t flushed_ = 0;   // bytes of them that have been sent
    bool send_failed_ = false;  // nothing is sent any more
    // Received and not yet taken by OpenSSL, in a buffer made on first use. Without a size OpenSSL
    // receives into its own.
    std::size_t receive_bytes_ = 0;
    LargeBuffer receive_buffer_;
    std::span<const char> unread_;
    std::exception_ptr thrown_in_callback_;
    SslPtr ssl_;
};

}  // namespace harbinet
