// One accepted socket as the channel under TLS, with the limits on how long a client may keep its
// thread waiting. Used by one thread at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "net/channel.h"
#include "net/socket_win.h"
#include "net/timeouts.h"

namespace harbinet {

struct ConnectionLimits {
    std::chrono::milliseconds head = kHeadDeadline;
    std::chrono::milliseconds body_idle = kBodyIdleLimit;
    std::chrono::milliseconds write = kWriteLimit;
    std::chrono::milliseconds drain = kDrainLimit;
};

// What a client may still send after the reply before it is cut off.
inline constexpr std::size_t kDrainBytes = 64 * 1024 * 1024;

// A connection that sends no more than this, in pieces that fit into one segment each, finds room
// in the system's buffer and leaves at once by itself: it needs no options for sending.
inline constexpr std::size_t kShortSendBytes = 1200;
inline constexpr std::size_t kShortReplyBytes = 4096;

class SocketChannel final : public Channel {
public:
    // The time for handshake and head starts to run.
    explicit SocketChannel(UniqueSocket socket, const ConnectionLimits& limits = {},
                           SocketCalls& calls = SystemSocketCalls());
    ~SocketChannel() override;
    SocketChannel(const SocketChannel&) = delete;
    SocketChannel& operator=(const SocketChannel&) = delete;

    Result Receive(std::span<char> buffer) override;
    Result Send(std::string_view bytes) override;
    bool Wait(Direction direction) override;
    void BeginBody() override;

    // Ends the connection so that the last reply arrives: half-close, read and drop for a short
    // while, close. Closing again does nothing.
    void Close();

private:
    using Clock = std::chrono::steady_clock;

    bool LimitReceive();
    bool SetReceiveTimeout(std::chrono::milliseconds timeout);
    void DrainBriefly();
    void PrepareSend(std::size_t count);
    Result ResultOf(int count) const;

    SocketCalls& calls_;
    const ConnectionLimits limits_;
    SOCKET socket_;
    std::optional<Clock::time_point> deadline_;     // for all receiving until BeginBody, then none
    std::chrono::milliseconds receive_timeout_{0};  // as set on the socket; 0 is none
    std::size_t sent_ = 0;                          // counted until the options for sending are set
    bool send_is_prepared_ = false;
};

}  // namespace harbinet
