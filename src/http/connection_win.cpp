#include "http/connection_win.h"

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "app/ascii.h"
#include "net/client_address.h"
#include "net/openssl_errors.h"
#include "net/socket_channel_win.h"
#include "net/tls_stream.h"

namespace harbinet {
namespace {

void Serve(SocketChannel& channel, const sockaddr_storage& peer, const TlsContext& tls_context,
           const RouteTable& routes, EventLog& log) {
    const std::shared_ptr<SSL_CTX> context = tls_context.Get();
    TlsStream stream(context.get(), channel);
    if (!stream) return;
    if (stream.Handshake()) {
        const std::string client_ip(WithoutMappedPrefix(NumericHost(peer)));
        ServeRequest(stream, client_ip, routes);
    } else if (LogHandshakeErrors(log)) {
        log.Log(L"TLS     handshake failed");
    }
    stream.SendCloseNotify();
}

void LogEnd(EventLog& log, std::string_view reason) noexcept {
    try {
        log.Log(L"ERROR   connection ended: " + WidenAscii(reason));
    } catch (const std::bad_alloc&) {
        // Without memory for the line there is none.
    }
}

}  // namespace

void HandleConnection(std::shared_ptr<Socket> socket, const sockaddr_storage& peer,
                      const TlsContext& tls_context, const RouteTable& routes, EventLog& log) {
    try {
        SocketChannel channel(std::move(socket));
        Serve(channel, peer, tls_context, routes, log);
    } catch (const std::bad_alloc&) {
        LogEnd(log, "out of memory");
    } catch (const std::exception& error) {
        LogEnd(log, error.what());
    } catch (...) {
        LogEnd(log, "unknown error");
    }
}

}  // namespace harbinet
