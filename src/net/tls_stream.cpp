#include "net/tls_stream.h"

#include <openssl/err.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

namespace harbinet {
namespace {

constexpr std::size_t kRecordBytes = 16 * 1024;
// Above what any cipher suite adds to a record.
constexpr std::size_t kRecordOverhead = 256;
constexpr std::size_t kUnsentLimit =
    kSendChunkBytes + kSendChunkBytes / kRecordBytes * kRecordOverhead;

}  // namespace

// What OpenSSL calls for the bytes under it.
struct TlsStream::Callbacks {
    // No exception may pass through OpenSSL's frames: it waits for the call to return.
    template <typename Act>
    static int Call(BIO* bio, Act act) {
        TlsStream& stream = *static_cast<TlsStream*>(BIO_get_data(bio));
        BIO_clear_retry_flags(bio);
        try {
            return act(stream);
        } catch (...) {
            stream.send_failed_ = true;
            stream.thrown_in_callback_ = std::current_exception();
            return -1;
        }
    }

    static int Read(BIO* bio, char* buffer, int size) {
        if (size <= 0) return 0;
        return Call(bio, [=](TlsStream& stream) {
            return stream.ReadRaw(bio, buffer, static_cast<std::size_t>(size));
        });
    }

    static int Write(BIO* bio, const char* bytes, int size) {
        if (size <= 0) return 0;
        return Call(bio, [=](TlsStream& stream) {
            return stream.WriteRaw(bio, bytes, static_cast<std::size_t>(size));
        });
    }

    // OpenSSL flushes at the end of each flight. Nothing leaves then: what follows may leave with
    // it, and before the next wait for the client everything is sent.
    static long Control(BIO*, int command, long, void*) {
        return command == BIO_CTRL_FLUSH ? 1 : 0;
    }

    // Null without memory. Never freed: detached threads may still use it while the process ends.
    static BIO_METHOD* Method() {
        static std::atomic<BIO_METHOD*> made{nullptr};
        if (BIO_METHOD* const method = made) return method;
        BioMethodPtr method(BIO_meth_new(BIO_TYPE_SOURCE_SINK, "connection"));
        if (!method || !BIO_meth_set_read(method.get(), Read) ||
            !BIO_meth_set_write(method.get(), Write) || !BIO_meth_set_ctrl(method.get(), Control)) {
            return nullptr;
        }
        BIO_METHOD* other = nullptr;
        return made.compare_exchange_strong(other, method.get()) ? method.release() : other;
    }
};

TlsStream::TlsStream(SSL_CTX* context, Channel& channel) : channel_(channel) {
    SslPtr ssl(context == nullptr ? nullptr : SSL_new(context));
    BIO_METHOD* const method = Callbacks::Method();
    BIO* const bio = ssl && method != nullptr ? BIO_new(method) : nullptr;
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

bool TlsStream::Handshake() {
    const bool shook_hands = SSL_accept(ssl_.get()) == 1;
    RethrowFromCallback();
    // A refusal is an alert that waits to be sent.
    if (!shook_hands) Flush();
    return shook_hands;
}

std::size_t TlsStream::ReadSome(std::span<char> buffer) {
    std::size_t count = 0;
    const bool has_read = SSL_read_ex(ssl_.get(), buffer.data(), buffer.size(), &count) == 1;
    RethrowFromCallback();
    return has_read ? count : 0;
}

bool TlsStream::WriteAll(std::string_view bytes) { return WriteSoon(bytes) && Flush(); }

bool TlsStream::WriteSoon(std::string_view bytes) {
    // What an earlier call left in the queue would be taken for the reason of this one's result.
    ERR_clear_error();
    while (!bytes.empty()) {
        const std::size_t piece = std::min(bytes.size(), kMaxWriteBytes);
        const int written = SSL_write(ssl_.get(), bytes.data(), static_cast<int>(piece));
        RethrowFromCallback();
        if (written >= 1) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (!WaitFor(written)) {
            send_failed_ = true;
            return false;
        }
    }
    return !send_failed_;
}

void TlsStream::BeginBody(const BodyLimits& limits) {
    receive_bytes_ = limits.receive_bytes;
    // The receive buffer reads ahead from here on; if OpenSSL did too, it would move each record
    // once more.
    if (receive_bytes_ > 0) SSL_set_read_ahead(ssl_.get(), 0);
    channel_.BeginBody(limits);
}

void TlsStream::SendCloseNotify() {
    // After a failed write the client would take it for a part of what it misses.
    if (!send_failed_) {
        SSL_shutdown(ssl_.get());
        RethrowFromCallback();
        Flush();
    }
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
        // A client that waits for what is unsent here would never answer; one that delays its
        // acknowledgements answers late.
        if (!Flush()) return -1;
        std::span<char> target(buffer, size);
        if (receive_bytes_ > 0) {
            receive_buffer_.resize(receive_bytes_);
            target = receive_buffer_;
        }
        const Channel::Result result = channel_.Receive(target);
        if (result.status == Channel::Status::kTryAgain) BIO_set_retry_read(bio);
        if (result.status != Channel::Status::kDone) return -1;
        if (receive_bytes_ == 0) return static_cast<int>(result.count);
        unread_ = target.first(result.count);
    }
    const std::size_t count = std::min(size, unread_.size());
    std::memcpy(buffer, unread_.data(), count);
    unread_ = unread_.subspan(count);
    return static_cast<int>(count);
}

int TlsStream::WriteRaw(BIO* bio, const char* bytes, std::size_t size) {
    if (unsent_.size() + size > kUnsentLimit) {
        const Channel::Status status = FlushOnce();
        if (status == Channel::Status::kTryAgain) BIO_set_retry_write(bio);
        if (status != Channel::Status::kDone) return -1;
    }
    // Replies of one record stay small; a transfer gets its whole buffer at once.
    if (unsent_.size() + size > 2 * kRecordBytes) unsent_.reserve(kUnsentLimit);
    Append(unsent_, {bytes, size});
    return static_cast<int>(size);
}

bool TlsStream::Flush() {
    Channel::Status status = FlushOnce();
    while (status == Channel::Status::kTryAgain) {
        if (!channel_.Wait(Channel::Direction::kSend)) send_failed_ = true;
        status = FlushOnce();
    }
    return status == Channel::Status::kDone;
}

Channel::Status TlsStream::FlushOnce() {
    while (!send_failed_ && flushed_ < unsent_.size()) {
        const Channel::Result result =
            channel_.Send({unsent_.data() + flushed_, unsent_.size() - flushed_});
        flushed_ += result.count;
        if (result.status == Channel::Status::kTryAgain) return result.status;
        send_failed_ = result.status == Channel::Status::kEnded;
    }
    if (send_failed_) return Channel::Status::kEnded;
    unsent_.clear();
    flushed_ = 0;
    return Channel::Status::kDone;
}

void TlsStream::RethrowFromCallback() {
    if (thrown_in_callback_) std::rethrow_exception(std::exchange(thrown_in_callback_, nullptr));
}

}  // namespace harbinet
