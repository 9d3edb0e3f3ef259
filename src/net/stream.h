// One client's byte stream, under TLS or in memory. Used by one thread at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace harbinet {

// How a body is received: how long the client may take, and how much is asked for at a time.
struct BodyLimits {
    std::chrono::milliseconds idle;                  // each wait for more bytes
    std::optional<std::chrono::milliseconds> total;  // all of them together; none is no limit
    std::size_t receive_bytes = 0;                   // in one call; 0 is one TLS record
};

class Stream {
public:
    virtual ~Stream() = default;

    // Waits for bytes and stores up to buffer.size() of them. What was written before is on its way
    // by then. The count, or 0 when the client closed, failed or took too long: after that no more
    // bytes come.
    virtual std::size_t ReadSome(std::span<char> buffer) = 0;

    // True when every byte has been handed to the system. An empty range is true at once. After a
    // failure every later write fails too.
    virtual bool WriteAll(std::string_view bytes) = 0;

    // For a reply that is followed by more or by the end of the connection: as WriteAll, but the
    // bytes may wait and leave together with those.
    virtual bool WriteSoon(std::string_view bytes) { return WriteAll(bytes); }

    // The head has been read and a body is wanted: from here on `limits` hold for reading, in place
    // of the deadline for handshake and head.
    virtual void BeginBody(const BodyLimits& limits) = 0;

    // After ReadSome gave 0: whether the client took too long. It may still be there then, and read
    // a reply.
    virtual bool HasTimedOut() const { return false; }
};

}  // namespace harbinet
