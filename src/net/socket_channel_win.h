// One accepted socket as the channel under TLS, with the limits on how long a client may keep its
// thread waiting. Used by one thread at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "net/channel.h"
#include "net/socket_win.h"
#include "net/timeouts.h"

namespace harbinet {

struct ConnectionLimits {
    std::chrono::milliseconds head = kHeadDeadline;
    std::chrono::milliseconds write = kWriteLimit;
    std::chrono::milliseconds drain = kDrainLimit;
};

// What a client may still send after the reply before it is cut off.
inline constexpr std::size_t kDrainBytes = 64 * 1024 * 1024;

// A connection that sends no more than this, in pieces that fit into one segment each, finds room
// in the system's buffer: a send of it cannot block.
inline constexpr std::size_t kShortSendBytes = 1200;
inline constexpr std::size_t kShortReplyBytes = 4096;

// What a client whose socket has no room for longer than the write limit must have acknowledged
// meanwhile to count as alive: some 270 bytes a second.
inline constexpr std::uint64_t kMinAcknowledgedBytes = 8192;

class SocketChannel final : public Channel {
public:
    // The time for handshake and head starts to run.
    explicit SocketChannel(std::shared_ptr<Socket> socket, const ConnectionLimits& limits = {});
    ~SocketChannel() override;
    SocketChannel(const SocketChannel&) = delete;
    SocketChannel& operator=(const SocketChannel&) = delete;

    Result Receive(std::span<char> buffer) override;
    Result Send(std::string_view bytes) override;
    bool Wait(Direction direction) override;
    void BeginBody(const BodyLimits& limits) override;
    bool HasTimedOut() const override { return has_timed_out_; }

    // Ends the connection so that the last reply arrives: half-close, read and drop for a short
    // while, close. Closing again does nothing.
    void Close();

private:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;

    // How long the next receive may wait; nothing when no time is left.
    std::optional<Milliseconds> ReceiveLimit() const;
    bool AwaitBytes(Milliseconds limit);
    bool WaitForRoom();
    bool HasAcknowledgedSinceStall();
    void LimitReceiving(Milliseconds idle, std::optional<Milliseconds> total);
    void PrepareSend(std::size_t count);
    void DrainBriefly();

    std::shared_ptr<Socket> socket_;
    const ConnectionLimits limits_;

    Milliseconds idle_limit_;
    std::optional<Clock::time_point> deadline_;  // for all receiving of the present phase
    Milliseconds receive_timeout_{0};            // as set on the socket; 0 is none
    bool has_timed_out_ = false;

    std::size_t sent_ = 0;  // counted until the socket is prepared for sending
    bool send_is_prepared_ = false;
    bool never_blocks_ = false;                       // no call on the socket waits any more
    std::optional<Clock::time_point> stalled_since_;  // no byte has been taken since then
    std::optional<std::uint64_t> acknowledged_at_stall_;
};

}  // namespace harbinet
