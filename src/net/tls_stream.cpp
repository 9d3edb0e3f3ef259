#include "net/tls_stream.h"

#include <openssl/err.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace harbinet {
namespace {

constexpr std::size_t kRecordBytes = 16 * 1024;
// Above what any cipher suite adds to a record.
constexpr std::size_t kRecordOverhead = 256;
constexpr std::size_t WithOverhead(std::size_t payload) {
    return payload + payload / kRecordBytes * kRecordOverhead;
}
// Sized for a body only: a connection that idles before its request stays small.
constexpr std::size_t kBodyReceiveBytes = 256 * 1024;

}  // namespace

// What OpenSSL calls for the bytes under it.
struct TlsStream::Callbacks {
    static TlsStream& Of(BIO* bio) { return *static_cast<TlsStream*>(BIO_get_data(bio)); }

    static int Read(BIO* bio, char* buffer, int size) {
        BIO_clear_retry_flags(bio);
        return size <= 0 ? 0 : Of(bio).ReadRaw(bio, buffer, static_cast<std::size_t>(size));
    }

    static int Write(BIO* bio, const char* bytes, int size) {
        BIO_clear_retry_flags(bio);
        return size <= 0 ? 0 : Of(bio).WriteRaw(bio, bytes, static_cast<std::size_t>(size));
    }

    // OpenSSL flushes at the end of each handshake flight. What ends the handshake of TLS 1.3 needs
    // no answer: the session tickets wait here and leave with the reply.
    static long Control(BIO* bio, int command, long, void*) {
        if (command != BIO_CTRL_FLUSH) return 0;
        TlsStream& stream = Of(bio);
        const bool is_ticket = SSL_version(stream.ssl_.get()) == TLS1_3_VERSION &&
                               SSL_get_state(stream.ssl_.get()) == TLS_ST_SW_SESSION_TICKET;
        return is_ticket || stream.Flush() ? 1 : 0;
    }

    static BIO_METHOD* Method() {
        // Never freed: detached threads may still use it while the process ends.
        static BIO_METHOD* const method = [] {
            BIO_METHOD* made =
                BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "connection");
            if (made != nullptr) {
                BIO_meth_set_read(made, Read);
                BIO_meth_set_write(made, Write);
                BIO_meth_set_ctrl(made, Control);
            }
            return made;
        }();
        return method;
    }
};

TlsStream::TlsStream(SSL_CTX* context, Channel& channel)
    : channel_(channel), unsent_limit_(WithOverhead(kSendChunkBytes)) {
    SslPtr ssl(context == nullptr ? nullptr : SSL_new(context));
    BIO* const bio = ssl ? BIO_new(Callbacks::Method()) : nullptr;
    if (bio == nullptr) return;
    BIO_set_data(bio, this);
    BIO_set_init(bio, 1);
    SSL_set_bio(ssl.get(), bio, bio);
    SSL_set_mode(ssl.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_set_read_ahead(ssl.get(), 1);
    SSL_set_accept_state(ssl.get());
    ssl_ = std::move(ssl);
}

TlsStream::~TlsStream() = default;

bool TlsStream::Handshake() { return SSL_accept(ssl_.get()) == 1; }

std::size_t TlsStream::ReadSome(std::span<char> buffer) {
    std::size_t count = 0;
    return SSL_read_ex(ssl_.get(), buffer.data(), buffer.size(), &count) == 1 ? count : 0;
}

bool TlsStream::WriteAll(std::string_view bytes) { return WriteSoon(bytes) && Flush(); }

bool TlsStream::WriteSoon(std::string_view bytes) {
    // What an earlier call left in the queue would be taken for the reason of this one's result.
    ERR_clear_error();
    while (!bytes.empty()) {
        const std::size_t piece = std::min(bytes.size(), kMaxWriteBytes);
        const int written = SSL_write(ssl_.get(), bytes.data(), static_cast<int>(piece));
        if (written >= 1) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (!WaitFor(written)) {
            return false;
        }
    }
    return true;
}

void TlsStream::BeginBody() {
    in_body_ = true;
    // The receive buffer reads ahead from here on; if OpenSSL did too, it would move each record
    // once more.
    SSL_set_read_ahead(ssl_.get(), 0);
    channel_.BeginBody();
}

void TlsStream::SendCloseNotify() {
    SSL_shutdown(ssl_.get());
    ERR_clear_error();
}

bool TlsStream::WaitFor(int ssl_result) {
    switch (SSL_get_error(ssl_.get(), ssl_result)) {
        case SSL_ERROR_WANT_READ:
            return Flush() && channel_.Wait(Channel::Direction::kReceive);
        case SSL_ERROR_WANT_WRITE:
            return channel_.Wait(Channel::Direction::kSend);
        default:
            return false;
    }
}

int TlsStream::ReadRaw(BIO* bio, char* buffer, std::size_t size) {
    if (unread_.empty()) {
        std::span<char> target(buffer, size);
        if (in_body_) {
            // Many records arrive in one call once there is a body to expect.
            receive_buffer_.resize(kBodyReceiveBytes);
            target = receive_buffer_;
        }
        const Channel::Result result = channel_.Receive(target);
        if (result.status == Channel::Status::kTryAgain) BIO_set_retry_read(bio);
        if (result.status != Channel::Status::kDone) return -1;
        if (!in_body_) return static_cast<int>(result.count);
        unread_ = target.first(result.count);
    }
    const std::size_t count = std::min(size, unread_.size());
    std::memcpy(buffer, unread_.data(), count);
    unread_ = unread_.subspan(count);
    return static_cast<int>(count);
}

int TlsStream::WriteRaw(BIO* bio, const char* bytes, std::size_t size) {
    if (unsent_.size() + size > unsent_limit_) {
        const Channel::Status status = FlushOnce();
        if (status == Channel::Status::kTryAgain) BIO_set_retry_write(bio);
        if (status != Channel::Status::kDone) return -1;
    }
    // Replies of one record stay small; a transfer gets its whole buffer at once.
    if (unsent_.size() + size > 2 * kRecordBytes) unsent_.reserve(unsent_limit_);
    Append(unsent_, {bytes, size});
    return static_cast<int>(size);
}

bool TlsStream::Flush() {
    Channel::Status status = FlushOnce();
    while (status == Channel::Status::kTryAgain && channel_.Wait(Channel::Direction::kSend)) {
        status = FlushOnce();
    }
    return status == Channel::Status::kDone;
}

Channel::Status TlsStream::FlushOnce() {
    const auto start = std::chrono::steady_clock::now();
    const bool is_chunk = unsent_.size() >= kSendChunkBytes;
    std::string_view rest(unsent_.data(), unsent_.size());
    Channel::Result result{Channel::Status::kDone};
    while (!rest.empty() && result.status == Channel::Status::kDone) {
        result = channel_.Send(rest);
        rest.remove_prefix(result.count);
    }
    unsent_.erase(unsent_.begin(), unsent_.end() - static_cast<std::ptrdiff_t>(rest.size()));
    if (is_chunk) {
        const bool is_quick = std::chrono::steady_clock::now() - start < kQuickSend;
        unsent_limit_ = WithOverhead(is_quick ? kQuickSendChunkBytes : kSendChunkBytes);
    }
    return result.status;
}

}  // namespace harbinet
