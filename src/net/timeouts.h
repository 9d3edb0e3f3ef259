// How long a client may keep a connection thread waiting.
#pragma once

#include <chrono>
#include <cstddef>

#include "net/stream.h"

namespace harbinet {

// Handshake and request head together, however slowly the bytes drip.
inline constexpr std::chrono::seconds kHeadDeadline{30};
// One wait for more bytes of a body.
inline constexpr std::chrono::seconds kBodyIdleLimit{60};
// Without a byte that the client took.
inline constexpr std::chrono::seconds kWriteLimit{30};
// After the reply: reading and dropping what the client still sends.
inline constexpr std::chrono::seconds kDrainLimit{2};

// A login, and the name of one file or folder: they fit into a few packets.
inline constexpr BodyLimits kSmallBodyLimits{.idle = kHeadDeadline, .total = kHeadDeadline};
// The names of many files.
inline constexpr BodyLimits kNamesBodyLimits{.idle = kBodyIdleLimit,
                                             .total = std::chrono::seconds(120)};
// Files: they take as long as they take. Many records arrive in one call.
inline constexpr BodyLimits kUploadLimits{
    .idle = kBodyIdleLimit, .total = {}, .receive_bytes = std::size_t{256} * 1024};

}  // namespace harbinet
