// Owners for OpenSSL's objects: a stateless deleter type for each.
#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

namespace harbinet {

template <auto Free>
struct OpenSslDeleter {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};

using BioPtr = std::unique_ptr<BIO, OpenSslDeleter<BIO_free_all>>;
using BioMethodPtr = std::unique_ptr<BIO_METHOD, OpenSslDeleter<BIO_meth_free>>;
using EvpPkeyPtr = std::unique_ptr<EVP_PKEY, OpenSslDeleter<EVP_PKEY_free>>;
using EvpPkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<EVP_PKEY_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, OpenSslDeleter<SSL_free>>;
using SslCtxPtr = std::unique_ptr<SSL_CTX, OpenSslDeleter<SSL_CTX_free>>;
using X509Ptr = std::unique_ptr<X509, OpenSslDeleter<X509_free>>;
using X509ExtensionPtr = std::unique_ptr<X509_EXTENSION, OpenSslDeleter<X509_EXTENSION_free>>;

}  // namespace harbinet
