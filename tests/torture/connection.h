// One connection from end to end: the program's own TLS stream and request handling on the calling
// thread, a real TLS client on another, bytes in memory between them.
#pragma once

#include <openssl/ssl.h>

#include <cstdint>
#include <string>

#include "failing_memory.h"
#include "scenarios.h"

namespace harbinet::test {

struct ConnectionResult {
    std::string reply;           // what the client has got, decrypted
    std::uint64_t requests = 0;  // for memory, while they were counted
};

// Sends `request` and closes. `failure` tells which of the server's requests for memory fail.
ConnectionResult Connect(FullSite& site, SSL_CTX* context, const std::string& client_ip,
                         const std::string& request, ClientKind client, CountFrom count_from,
                         const Failure& failure);

}  // namespace harbinet::test
