// Both ends of a connection in memory, for a server thread and a client thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

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
        if (peer_is_gone) return {};
        if (send_would_block > 0) {
            --send_would_block;
            return {Status::kTryAgain};
        }
        std::this_thread::sleep_for(send_takes);
        const std::string_view taken = bytes.substr(0, bytes_per_send);
        to_client.Write(taken);
        return {Status::kDone, taken.size()};
    }
    bool Wait(Direction direction) override {
        waits.push_back(direction);
        return wait_succeeds;
    }
    void BeginBody() override { ++bodies; }

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
    int receive_would_block = 0;
    int send_would_block = 0;
    std::size_t bytes_per_send = SIZE_MAX;
    std::chrono::milliseconds send_takes{0};
    bool peer_is_gone = false;
    bool wait_succeeds = true;
    std::deque<Direction> waits;
};

}  // namespace harbinet::test
