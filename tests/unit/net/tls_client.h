// A TLS client for tests, over any two functions that carry bytes.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "net/openssl_ptr.h"

namespace harbinet::test {

struct Transport {
    std::function<void(std::string_view)> send;
    std::function<std::string()> receive;  // waits; empty when no more comes
};

struct TlsClientOptions {
    int max_version = TLS1_3_VERSION;
    // The alert of a browser that distrusts the certificate ends the handshake.
    bool distrusts = false;
};

class TlsClient {
public:
    explicit TlsClient(Transport transport, const TlsClientOptions& options = {});

    bool Handshake();
    bool Write(std::string_view bytes);
    // Up to `size` bytes, fewer when the server ends the stream.
    std::string Read(std::size_t size);
    std::string ReadToEnd();
    // True once the server has said that no more comes.
    bool SawCloseNotify() const;
    void SendCloseNotify();
    int Version() const { return SSL_version(ssl_.get()); }

private:
    bool Pump(int result);
    void SendPending();

    const Transport transport_;
    SslCtxPtr context_;
    SslPtr ssl_;
};

}  // namespace harbinet::test
