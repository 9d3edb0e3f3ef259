// The raw bytes under TLS: a socket, or two strings in a test. Used by one thread at a time.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "net/stream.h"

namespace harbinet {

class Channel {
public:
    virtual ~Channel() = default;

    enum class Status {
        kDone,
        kTryAgain,  // nothing happened yet: call Wait, then call again
        kEnded,     // closed, failed or too slow: no more bytes go this way
    };
    struct Result {
        Status status = Status::kEnded;
        std::size_t count = 0;  // more than 0 with kDone, else 0
    };

    // Stores up to buffer.size() bytes.
    virtual Result Receive(std::span<char> buffer) = 0;

    // Hands bytes to the system, from the front; those not counted are still to be sent. Does not
    // wait for a client that takes its time.
    virtual Result Send(std::string_view bytes) = 0;

    // After kTryAgain: waits a while; what was asked for may have become possible then. False when
    // the client has been silent, or has taken nothing, for too long.
    enum class Direction { kReceive, kSend };
    virtual bool Wait(Direction direction) = 0;

    // See Stream::BeginBody.
    virtual void BeginBody(const BodyLimits& limits) = 0;

    // See Stream::HasTimedOut.
    virtual bool HasTimedOut() const { return false; }
};

}  // namespace harbinet
