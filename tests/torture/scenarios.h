// One request of each kind, with the reply that it gets.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "full_site.h"

namespace harbinet::test {

enum class ClientKind {
    kOrdinary,   // TLS 1.3: sends all, then reads to the end
    kTls12,      // the same with TLS 1.2
    kDistrusts,  // breaks the handshake off with an alert
    kPlain,      // sends its request without TLS
};

// Where requests for memory begin to be counted.
enum class CountFrom {
    kConnection,  // with the handshake
    kRequest,     // behind it
};

struct Scenario {
    const char* name;
    std::string (*request)(const FullSite& site);
    // The reply's status line and what its body begins with; an empty status stands for no reply.
    std::string_view status;
    std::string_view body;
    // Made before the request, in the site.
    void (*prepare)(FullSite& site) = nullptr;
    ClientKind client = ClientKind::kOrdinary;
    CountFrom count_from = CountFrom::kRequest;
    // An error that may come instead when memory fails.
    std::string_view instead = {};
};

const std::vector<Scenario>& Scenarios();

// Logs in with the right PIN, from another address: what every other client wants meanwhile.
std::string NextRequest();

}  // namespace harbinet::test
