#include "net/socket_channel_win.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "app/large_buffer.h"

namespace harbinet {
namespace {

using std::chrono::milliseconds;

// A deadline may be overrun by this much; it saves a system call before most receives.
constexpr milliseconds kDeadlineSlack{100};
constexpr std::size_t kDrainBufferBytes = 32 * 1024;

int ClampToInt(std::size_t size) {
    return static_cast<int>(
        std::min(size, static_cast<std::size_t>(std::numeric_limits<int>::max())));
}

}  // namespace

SocketChannel::SocketChannel(UniqueSocket socket, const ConnectionLimits& limits,
                             SocketCalls& calls)
    : calls_(calls),
      limits_(limits),
      socket_(socket.Release()),
      deadline_(Clock::now() + limits.head) {}

SocketChannel::~SocketChannel() { Close(); }

Channel::Result SocketChannel::Receive(std::span<char> buffer) {
    if (!LimitReceive()) return {};
    return ResultOf(calls_.Receive(socket_, buffer.data(), ClampToInt(buffer.size())));
}

Channel::Result SocketChannel::Send(std::string_view bytes) {
    PrepareSend(bytes.size());
    return ResultOf(calls_.Send(socket_, bytes.data(), ClampToInt(bytes.size())));
}

bool SocketChannel::Wait(Direction direction) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limits_.write);
    const timeval timeout = {
        static_cast<long>(seconds.count()),
        static_cast<long>(std::chrono::microseconds(limits_.write - seconds).count())};
    return direction == Direction::kReceive ? calls_.WaitReadable(socket_, timeout) > 0
                                            : calls_.WaitWritable(socket_, timeout) > 0;
}

void SocketChannel::BeginBody() { deadline_.reset(); }

void SocketChannel::Close() {
    if (socket_ == INVALID_SOCKET) return;
    // Half-close first: closing a socket with unread input resets the connection on Windows, and
    // the client loses the reply that is still on its way.
    if (calls_.ShutdownSend(socket_) == 0) DrainBriefly();
    calls_.Close(std::exchange(socket_, INVALID_SOCKET));
}

void SocketChannel::DrainBriefly() {
    deadline_ = Clock::now() + limits_.drain;
    LargeBuffer dropped(kDrainBufferBytes);
    std::size_t total = 0;
    while (total < kDrainBytes) {
        const Result result = Receive(dropped);
        if (result.status != Status::kDone) return;
        total += result.count;
    }
}

bool SocketChannel::LimitReceive() {
    if (!deadline_) {
        return receive_timeout_ == limits_.body_idle || SetReceiveTimeout(limits_.body_idle);
    }
    const auto left = std::chrono::ceil<milliseconds>(*deadline_ - Clock::now());
    if (left <= milliseconds::zero()) return false;
    const bool close_enough = receive_timeout_ > milliseconds::zero() &&
                              receive_timeout_ <= left + kDeadlineSlack && receive_timeout_ >= left;
    return close_enough || SetReceiveTimeout(left);
}

void SocketChannel::PrepareSend(std::size_t count) {
    if (send_is_prepared_) return;
    sent_ += count;
    if (count <= kShortSendBytes && sent_ <= kShortReplyBytes) return;
    send_is_prepared_ = true;
    // Each flush hands over a finished flight or chunk: waiting for more bytes only delays it.
    calls_.SetOption(socket_, IPPROTO_TCP, TCP_NODELAY, 1);
    calls_.SetOption(socket_, SOL_SOCKET, SO_SNDTIMEO, static_cast<DWORD>(limits_.write.count()));
}

bool SocketChannel::SetReceiveTimeout(milliseconds timeout) {
    receive_timeout_ = timeout;
    return calls_.SetOption(socket_, SOL_SOCKET, SO_RCVTIMEO,
                            static_cast<DWORD>(timeout.count())) == 0;
}

Channel::Result SocketChannel::ResultOf(int count) const {
    if (count > 0) return {Status::kDone, static_cast<std::size_t>(count)};
    const bool try_again = count < 0 && WSAGetLastError() == WSAEWOULDBLOCK;
    return {try_again ? Status::kTryAgain : Status::kEnded, 0};
}

}  // namespace harbinet
