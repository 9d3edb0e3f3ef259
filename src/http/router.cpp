#include "http/router.h"

#include <algorithm>
#include <optional>

#include "http/response.h"

namespace harbinet {
namespace {

bool Matches(const HttpRoute& route, const HttpRequest& request) {
    if (request.method != route.method || request.path.size() < route.min_path_length) return false;
    return route.match == PathMatch::kExact ? request.path == route.path
                                            : request.path.starts_with(route.path);
}

// The first row that matches; null when there is none.
const HttpRoute* FindRoute(const RouteTable& table, const HttpRequest& request) {
    const auto row =
        std::find_if(table.routes.begin(), table.routes.end(),
                     [&request](const HttpRoute& route) { return Matches(route, request); });
    return row == table.routes.end() ? nullptr : &*row;
}

bool PassesGate(const HttpRequest& request, const RouteTable& table) {
    if (table.is_session_valid(request.headers)) return true;
    return std::find(table.gate_exemptions.begin(), table.gate_exemptions.end(), request.path) !=
           table.gate_exemptions.end();
}

}  // namespace

void ServeRequest(Stream& stream, const std::string& client_ip, const RouteTable& table) {
    std::optional<HttpRequest> request = ReadRequest(stream);
    if (!request) return;
    const HttpRoute* const route = FindRoute(table, *request);
    const bool is_public = route && route->access == Access::kPublic;
    if (!is_public && !PassesGate(*request, table)) {
        return SendPlainError(stream, 401, "Unauthorized");
    }
    if (!route) return SendPlainError(stream, 404, "Not Found");
    Exchange exchange{stream, *request, client_ip};
    route->handler(exchange);
}

}  // namespace harbinet
