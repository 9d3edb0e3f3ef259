#include "net/tls_client.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <utility>

namespace harbinet::test {

TlsClient::TlsClient(Transport transport, const TlsClientOptions& options)
    : transport_(std::move(transport)), context_(SSL_CTX_new(TLS_client_method())) {
    SSL_CTX_set_max_proto_version(context_.get(), options.max_version);
    if (options.distrusts) {
        SSL_CTX_set_verify(context_.get(), SSL_VERIFY_PEER, nullptr);
        SSL_CTX_set_cert_verify_callback(
            context_.get(),
            [](X509_STORE_CTX* store, void*) {
                // A reason without an alert of its own becomes "certificate unknown".
                X509_STORE_CTX_set_error(store, X509_V_ERR_SUBJECT_ISSUER_MISMATCH);
                return 0;
            },
            nullptr);
    }
    ssl_.reset(SSL_new(context_.get()));
    SSL_set_bio(ssl_.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    BIO_set_mem_eof_return(SSL_get_rbio(ssl_.get()), -1);
    SSL_set_connect_state(ssl_.get());
}

bool TlsClient::Handshake() {
    int result = SSL_do_handshake(ssl_.get());
    while (Pump(result)) result = SSL_do_handshake(ssl_.get());
    return result == 1;
}

bool TlsClient::Write(std::string_view bytes) {
    const int result = SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size()));
    SendPending();
    return result == static_cast<int>(bytes.size());
}

std::string TlsClient::Read(std::size_t size) {
    std::string all;
    std::string piece(16 * 1024, '\0');
    while (all.size() < size) {
        const std::size_t wanted = std::min(piece.size(), size - all.size());
        const int result = SSL_read(ssl_.get(), piece.data(), static_cast<int>(wanted));
        if (result > 0) {
            all.append(piece, 0, static_cast<std::size_t>(result));
        } else if (!Pump(result)) {
            break;
        }
    }
    return all;
}

std::string TlsClient::ReadToEnd() { return Read(SIZE_MAX); }

bool TlsClient::SawCloseNotify() const {
    return (SSL_get_shutdown(ssl_.get()) & SSL_RECEIVED_SHUTDOWN) != 0;
}

void TlsClient::SendCloseNotify() {
    SSL_shutdown(ssl_.get());
    SendPending();
}

// True when the call that gave `result` can go on.
bool TlsClient::Pump(int result) {
    const int error = SSL_get_error(ssl_.get(), result);
    SendPending();
    if (error != SSL_ERROR_WANT_READ) {
        ERR_clear_error();
        return false;
    }
    const std::string received = transport_.receive();
    if (received.empty()) return false;
    BIO_write(SSL_get_rbio(ssl_.get()), received.data(), static_cast<int>(received.size()));
    return true;
}

void TlsClient::SendPending() {
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(SSL_get_wbio(ssl_.get()), &bytes);
    if (size <= 0) return;
    const std::string pending(bytes, static_cast<std::size_t>(size));
    BIO_reset(SSL_get_wbio(ssl_.get()));
    transport_.send(pending);
}

}  // namespace harbinet::test
