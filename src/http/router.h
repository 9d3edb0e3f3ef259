// Reads one request from a stream, finds its route and lets the route's handler reply. Knows no
// endpoint: the table comes from outside, and the order of its rows is the order of the
// comparisons.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "http/request.h"
#include "net/stream.h"

namespace harbinet {

// One request on its way through its handler, which writes the whole reply to `stream`.
struct Exchange {
    Stream& stream;
    HttpRequest& request;
    // Numeric client address without an IPv4-mapping prefix: the key of bans, and what the log
    // shows.
    const std::string& client_ip;
};

using RequestHandler = std::function<void(Exchange&)>;

enum class Access { kPublic, kSession };
enum class PathMatch { kExact, kPrefix };

struct HttpRoute {
    std::string_view method;  // compared exactly
    PathMatch match;
    std::string_view path;
    std::size_t min_path_length;  // shorter paths do not match
    Access access;
    RequestHandler handler;
};

struct RouteTable {
    std::vector<HttpRoute> routes;
    // Paths that the login gate lets pass whatever the method: a stranger who asks for one in a way
    // that no row serves learns that there is nothing (404), not that a login is missing (401).
    std::vector<std::string_view> gate_exemptions;
    // True when the request carries a valid session.
    std::function<bool(HeaderList)> is_session_valid;
};

// Serves exactly one request. Never throws on a client's account; what a handler throws passes
// through.
void ServeRequest(Stream& stream, const std::string& client_ip, const RouteTable& table);

}  // namespace harbinet
