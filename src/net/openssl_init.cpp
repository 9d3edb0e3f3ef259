#include "net/openssl_init.h"

#include <openssl/crypto.h>
#include <openssl/ssl.h>

namespace harbinet {

void InitOpenSsl() {
    // The first call of all decides about the exit handler: it would pull the library from under
    // connection threads that still run while the process ends.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    OPENSSL_init_ssl(0, nullptr);
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
}

}  // namespace harbinet
