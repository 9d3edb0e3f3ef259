// How long a client may keep a connection thread waiting.
#pragma once

#include <chrono>

namespace harbinet {

// Handshake and request head together, however slowly the bytes drip.
inline constexpr std::chrono::seconds kHeadDeadline{30};
// One wait for more bytes of a body.
inline constexpr std::chrono::seconds kBodyIdleLimit{60};
// One wait until the client takes more bytes.
inline constexpr std::chrono::seconds kWriteLimit{30};
// After the reply: reading and dropping what the client still sends.
inline constexpr std::chrono::seconds kDrainLimit{2};

}  // namespace harbinet
