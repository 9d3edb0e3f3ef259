// Both ends of a connection in memory, for a server thread and a client thread.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "net/channel.h"
#include "net/tls_client.h"

namespace harbinet::test {

// Bytes on their way in one direction. Thread-safe.
class Pipe {
public:
    void Write(std::string_view bytes) {
        const std::lock_guard lock(mutex_);
        bytes_ += bytes;
        changed_.notify_all();
    }
    void Close() {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        changed_.notify_all();
    }
    // Waits for bytes; empty when the pipe is closed and drained.
    std::string Read(std::size_t limit) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || !bytes_.empty(); });
        std::string taken = bytes_.substr(0, limit);
        bytes_.erase(0, taken.size());
        return taken;
    }
    std::size_t Size() const {
        const std::lock_guard lock(mutex_);
        return bytes_.size();
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::string bytes_;
    bool closed_ = false;
};

// The server's end. Counts its calls and does less than asked on demand.
class MemoryChannel final : public Channel {
public:
    Result Receive(std::span<char> buffer) override {
        ++receives;
        unread_by_client_at_receive = to_client.Size();
        if (receive_throws) throw std::bad_alloc();
        if (receive_would_block > 0) {
            --receive_would_block;
            return {Status::kTryAgain};
        }
        const std::string bytes = to_server.Read(buffer.size());
        std::copy(bytes.begin(), bytes.end(), buffer.begin());
        return {bytes.empty() ? Status::kEnded : Status::kDone, bytes.size()};
    }
    Result Send(std::string_view bytes) override {
        ++sends;
        if (send_throws) throw std::bad_alloc();
        if (peer_is_gone) return {};
        if (send_would_block > 0) {
            --send_would_block;
            return {Status::kTryAgain};
        }
        const std::string_view taken = bytes.substr(0, bytes_per_send);
        to_client.Write(taken);
        return {Status::kDone, taken.size()};
    }
    bool Wait(Direction direction) override {
        waits.push_back(direction);
        return wait_succeeds;
    }
    void BeginBody(const BodyLimits&) override { ++bodies; }

    Transport Client() {
        return {[this](std::string_view bytes) { to_server.Write(bytes); },
                [this] { return to_client.Read(SIZE_MAX); }};
    }

    Pipe to_server;
    Pipe to_client;

    // Used by the server's thread only.
    int receives = 0;
    int sends = 0;
    int bodies = 0;
    std::size_t unread_by_client_at_receive = 0;  // what the server had sent by then
    bool receive_throws = false;
    bool send_throws = false;
    int receive_would_block = 0;
    int send_would_block = 0;
    std::size_t bytes_per_send = SIZE_MAX;
    bool peer_is_gone = false;
    bool wait_succeeds = true;
    std::deque<Direction> waits;
};

}  // namespace harbinet::test
