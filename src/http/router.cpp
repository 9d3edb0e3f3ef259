#include "http/router.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "http/response.h"

namespace harbinet {
namespace {

// What passes the login gate without a session. An empty method stands for every method.
constexpr struct {
    std::string_view method;
    std::string_view path;
} kGateExemptions[] = {
    {"GET", "/api/status"},
    {"", "/api/login"},
    {"GET", "/"},
    {"GET", "/auto"},
};

bool PassesGate(const HttpRequest& request, const RouteTable& table) {
    if (table.is_session_valid(request.headers)) return true;
    return std::any_of(std::begin(kGateExemptions), std::end(kGateExemptions),
                       [&request](const auto& exemption) {
                           return request.path == exemption.path &&
                                  (exemption.method.empty() || request.method == exemption.method);
                       });
}

bool Matches(const HttpRoute& route, const HttpRequest& request) {
    if (request.method != route.method || request.path.size() < route.min_path_length) return false;
    return route.match == PathMatch::kExact ? request.path == route.path
                                            : request.path.starts_with(route.path);
}

// Lets the first matching row serve the request; false when none matches.
bool Dispatch(std::span<const HttpRoute> routes, Exchange& exchange) {
    for (const HttpRoute& route : routes) {
        if (!Matches(route, exchange.request)) continue;
        route.handler(exchange);
        return true;
    }
    return false;
}

}  // namespace

void ServeRequest(Stream& stream, const std::string& client_ip, const RouteTable& table) {
    HttpRequest request;
    std::string head;
    if (!ReadHead(stream, head, request.body)) return;
    stream.BeginBody();
    if (!ParseHead(head, request)) {
        SendPlainError(stream, 400, "Bad Request");
        return;
    }
    SplitTarget(request);

    const auto gate =
        std::find_if(table.routes.begin(), table.routes.end(),
                     [](const HttpRoute& route) { return route.access == Access::kSession; });
    Exchange exchange{stream, request, client_ip};
    if (Dispatch({table.routes.begin(), gate}, exchange)) return;
    if (!PassesGate(request, table)) {
        SendPlainError(stream, 401, "Unauthorized");
        return;
    }
    if (Dispatch({gate, table.routes.end()}, exchange)) return;
    SendPlainError(stream, 404, "Not Found");
}

}  // namespace harbinet
