#include "net/openssl_init.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>

namespace harbinet {
namespace {

template <auto Fetch, auto Free>
void Load(const char* algorithm) {
    Free(Fetch(nullptr, algorithm, nullptr));
}

// OpenSSL looks for algorithms of a kind when the first of them is needed. A connection that meets
// this moment without memory would lose the kind for all later ones: a fetch that breaks off is
// never repeated.
void LoadAlgorithms() {
    Load<EVP_MD_fetch, EVP_MD_free>("SHA256");
    Load<EVP_CIPHER_fetch, EVP_CIPHER_free>("AES-256-GCM");
    Load<EVP_MAC_fetch, EVP_MAC_free>("HMAC");
    Load<EVP_KDF_fetch, EVP_KDF_free>("TLS13-KDF");
    Load<EVP_RAND_fetch, EVP_RAND_free>("CTR-DRBG");
    Load<EVP_KEYMGMT_fetch, EVP_KEYMGMT_free>("EC");
    Load<EVP_KEYEXCH_fetch, EVP_KEYEXCH_free>("ECDH");
    Load<EVP_SIGNATURE_fetch, EVP_SIGNATURE_free>("ECDSA");
    // The generator from which each thread's own one is fed.
    RAND_get0_primary(nullptr);
}

}  // namespace

void InitOpenSsl() {
    // The first call of all decides about the exit handler: it would pull the library from under
    // connection threads that still run while the process ends.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    OPENSSL_init_ssl(0, nullptr);
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
    LoadAlgorithms();
}

}  // namespace harbinet
