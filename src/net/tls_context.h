// The one TLS server context: TLS 1.2 and up, with the certificate and key from the base data
// folder. Made by the server thread on its first start, reused for every later one, dropped at
// shutdown. A connection that still runs then keeps its own reference.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "app/event_log.h"
#include "app/ui_thread.h"
#include "net/openssl_ptr.h"

namespace harbinet {

// The PEM files, as narrow paths in the system's ANSI code page.
struct TlsFiles {
    std::string certificate;
    std::string key;
};

class TlsContext {
public:
    explicit TlsContext(EventLog& log) : log_(log) {}

    // True when the context exists, made now or earlier. Each failure leaves its lines in the log
    // and no context. Server thread.
    bool Ensure(const TlsFiles& files);

    // The context, or null. Any thread.
    std::shared_ptr<SSL_CTX> Get() const { return context_.load(); }
    bool IsLoaded() const { return Get() != nullptr; }

    // Drops the context. UI thread, after the server thread has ended.
    void Free() {
        AssertUiThread();
        context_.store(nullptr);
    }

private:
    EventLog& log_;
    std::atomic<std::shared_ptr<SSL_CTX>> context_;
};

}  // namespace harbinet
