// One client's byte stream, under TLS or in memory. Used by one thread at a time.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace harbinet {

class Stream {
public:
    virtual ~Stream() = default;

    // Waits for bytes and stores up to buffer.size() of them. The count, or 0 when the client
    // closed, failed or took too long: after that no more bytes come.
    virtual std::size_t ReadSome(std::span<char> buffer) = 0;

    // True when every byte has been handed to the system. An empty range is true at once.
    virtual bool WriteAll(std::string_view bytes) = 0;

    // For a reply that is followed by more or by the end of the connection: as WriteAll, but the
    // bytes may wait and leave together with those.
    virtual bool WriteSoon(std::string_view bytes) { return WriteAll(bytes); }

    // The head has been read: from here on the one deadline for handshake and head no longer holds,
    // and every single wait for body bytes has the idle limit instead.
    virtual void BeginBody() = 0;
};

}  // namespace harbinet
