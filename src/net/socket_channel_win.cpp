#include "net/socket_channel_win.h"

#include <algorithm>
#include <array>
#include <utility>

namespace harbinet {
namespace {

using std::chrono::milliseconds;

// A deadline may be overrun by this much; it saves a system call before most receives.
constexpr milliseconds kDeadlineSlack{100};
// A socket may count as writable only when much of its buffer is free. Trying again meanwhile
// serves a slow client from the first free byte on.
constexpr milliseconds kSendRetry{1000};
constexpr std::size_t kDrainBufferBytes = std::size_t{32} * 1024;

Channel::Result ResultOf(int count) {
    using Status = Channel::Status;
    if (count > 0) return {Status::kDone, static_cast<std::size_t>(count)};
    const bool try_again = count < 0 && WSAGetLastError() == WSAEWOULDBLOCK;
    return {try_again ? Status::kTryAgain : Status::kEnded, 0};
}

}  // namespace

SocketChannel::SocketChannel(std::shared_ptr<Socket> socket, const ConnectionLimits& limits)
    : socket_(std::move(socket)), limits_(limits), idle_limit_(limits.head) {
    LimitReceiving(limits.head, limits.head);
}

SocketChannel::~SocketChannel() { Close(); }

Channel::Result SocketChannel::Receive(std::span<char> buffer) {
    const std::optional<milliseconds> limit = ReceiveLimit();
    has_timed_out_ = !limit;
    if (!limit || !AwaitBytes(*limit)) return {};
    const int count = socket_->Receive(buffer);
    has_timed_out_ = count < 0 && WSAGetLastError() == WSAETIMEDOUT;
    return ResultOf(count);
}

Channel::Result SocketChannel::Send(std::string_view bytes) {
    PrepareSend(bytes.size());
    const Result result = ResultOf(socket_->Send(bytes));
    if (result.status == Status::kDone) stalled_since_.reset();
    return result;
}

bool SocketChannel::Wait(Direction direction) {
    return direction == Direction::kReceive ? socket_->WaitReadable(limits_.write) > 0
                                            : WaitForRoom();
}

void SocketChannel::BeginBody(const BodyLimits& limits) {
    LimitReceiving(limits.idle, limits.total);
}

void SocketChannel::Close() {
    if (!socket_) return;
    // Half-close first: closing a socket with unread input resets the connection on Windows, and
    // the client loses the reply that is still on its way.
    if (socket_->ShutdownSend() == 0) DrainBriefly();
    socket_.reset();
}

std::optional<milliseconds> SocketChannel::ReceiveLimit() const {
    if (!deadline_) return idle_limit_;
    const auto left = std::chrono::ceil<milliseconds>(*deadline_ - Clock::now());
    if (left <= milliseconds::zero()) return std::nullopt;
    return std::min(left, idle_limit_);
}

bool SocketChannel::AwaitBytes(milliseconds limit) {
    if (never_blocks_) {
        const int ready = socket_->WaitReadable(limit);
        has_timed_out_ = ready == 0;
        return ready > 0;
    }
    // A blocking receive waits by itself, for as long as the socket was told.
    if (receive_timeout_ >= limit && receive_timeout_ <= limit + kDeadlineSlack) return true;
    receive_timeout_ = limit;
    return socket_->SetOption(SOL_SOCKET, SO_RCVTIMEO, static_cast<DWORD>(limit.count())) == 0;
}

bool SocketChannel::WaitForRoom() {
    const auto now = Clock::now();
    if (!stalled_since_) {
        stalled_since_ = now;
        acknowledged_at_stall_ = socket_->AcknowledgedBytes();
    }
    auto left = std::chrono::ceil<milliseconds>(*stalled_since_ + limits_.write - now);
    if (left <= milliseconds::zero()) {
        if (!HasAcknowledgedSinceStall()) return false;
        left = limits_.write;
    }
    return socket_->WaitWritable(std::min(left, kSendRetry)) != SOCKET_ERROR;
}

// The system may hold so much for a slow client that it has no room for longer than the limit
// although the client takes bytes all the time. Where it counts them, that decides.
bool SocketChannel::HasAcknowledgedSinceStall() {
    const std::optional<std::uint64_t> before = acknowledged_at_stall_;
    stalled_since_ = Clock::now();
    acknowledged_at_stall_ = socket_->AcknowledgedBytes();
    return before && acknowledged_at_stall_ &&
           *acknowledged_at_stall_ >= *before + kMinAcknowledgedBytes;
}

void SocketChannel::LimitReceiving(milliseconds idle, std::optional<milliseconds> total) {
    idle_limit_ = idle;
    deadline_.reset();
    if (total) deadline_ = Clock::now() + *total;
}

// SO_SNDBUF is not among the options, on purpose. With one send at a time the send buffer is what
// limits the bytes in flight. Since Windows 7 the system sizes it for each connection by delay and
// bandwidth, and stops doing so when a program sets SO_SNDBUF ("dynamic send buffering": Windows
// Sockets reference, "SIO_IDEAL_SEND_BACKLOG_QUERY Control Code"). A fixed size above one chunk
// would be the way out if sends were seen to wait for delayed acknowledgements, as Microsoft's
// article 823764 tells of older systems.
void SocketChannel::PrepareSend(std::size_t count) {
    if (send_is_prepared_) return;
    sent_ += count;
    if (count <= kShortSendBytes && sent_ <= kShortReplyBytes) return;
    send_is_prepared_ = true;
    // A blocking send ends when everything is taken or its time is over, and leaves the connection
    // in an unknown state then. Here every byte counts that the client takes.
    never_blocks_ = socket_->StopBlocking() == 0;
}

void SocketChannel::DrainBriefly() {
    LimitReceiving(limits_.drain, limits_.drain);
    // On the stack: ends the connection also when memory is short.
    std::array<char, kDrainBufferBytes> dropped;
    std::size_t total = 0;
    while (total < kDrainBytes) {
        const Result result = Receive(dropped);
        if (result.status == Status::kTryAgain) continue;  // gone again before it could be read
        if (result.status != Status::kDone) return;
        total += result.count;
    }
}

}  // namespace harbinet
