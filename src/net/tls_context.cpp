#include "net/tls_context.h"

#include <openssl/err.h>
#include <openssl/x509err.h>

#include <string_view>
#include <utility>

#include "net/openssl_errors.h"
#include "net/openssl_init.h"

namespace harbinet {
namespace {

// A key of the certificate's own type but of another pair is refused while it is loaded, not by the
// check afterwards.
bool LastErrorIsForeignKey() {
    const unsigned long error = ERR_peek_last_error();
    return ERR_GET_LIB(error) == ERR_LIB_X509 &&
           ERR_GET_REASON(error) == X509_R_KEY_VALUES_MISMATCH;
}

// What went wrong as a log line, or empty when certificate and key are in place and fit.
std::wstring_view LoadIdentity(SSL_CTX* context, const TlsFiles& files) {
    constexpr std::wstring_view kForeignKey = L"TLS     private key does not match certificate";
    // "EXE dir" is the wording that users know; the files live in the base data folder.
    if (SSL_CTX_use_certificate_file(context, files.certificate.c_str(), SSL_FILETYPE_PEM) != 1) {
        return L"TLS     failed to load server.crt (PEM) from EXE dir";
    }
    if (SSL_CTX_use_PrivateKey_file(context, files.key.c_str(), SSL_FILETYPE_PEM) != 1) {
        if (LastErrorIsForeignKey()) return kForeignKey;
        return L"TLS     failed to load server.key (PEM) from EXE dir";
    }
    return SSL_CTX_check_private_key(context) == 1 ? std::wstring_view() : kForeignKey;
}

}  // namespace

bool TlsContext::Ensure(const TlsFiles& files) {
    if (IsLoaded()) return true;
    InitOpenSsl();
    SslCtxPtr context(SSL_CTX_new(TLS_server_method()));
    if (!context) {
        log_.Log(L"TLS     SSL_CTX_new failed");
        LogOpenSslErrors(log_);
        return false;
    }
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    if (const std::wstring_view failure = LoadIdentity(context.get(), files); !failure.empty()) {
        log_.Log(failure);
        LogOpenSslErrors(log_);
        return false;
    }
    context_.store(std::shared_ptr<SSL_CTX>(std::move(context)));
    log_.Log(L"TLS     context initialized (cert/key loaded)");
    return true;
}

}  // namespace harbinet
