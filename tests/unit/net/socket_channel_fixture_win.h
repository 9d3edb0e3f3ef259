// A channel over a real socket whose calls are written down and fail on demand.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "net/loopback_win.h"
#include "net/socket_channel_win.h"

namespace harbinet::test {

// The real calls, written down by name; one of them fails on demand.
class RecordingCalls final : public SocketCalls {
public:
    int SetOption(SOCKET socket, int level, int name, DWORD value) override {
        if (name == SO_RCVTIMEO) ++receive_timeouts;
        if (level == failing_level && name == failing_option) return SOCKET_ERROR;
        return SocketCalls::SetOption(socket, level, name, value);
    }
    int StopBlocking(SOCKET socket) override {
        ++stops_of_blocking;
        return refuses_to_stop_blocking ? SOCKET_ERROR : SocketCalls::StopBlocking(socket);
    }
    std::optional<std::uint64_t> AcknowledgedBytes(SOCKET) override { return acknowledged; }
    int Receive(SOCKET socket, char* buffer, int size) override {
        calls.push_back("receive");
        if (endless) {
            endless_bytes += size;
            return size;
        }
        return Fails("receive") ? SOCKET_ERROR : SocketCalls::Receive(socket, buffer, size);
    }
    int Send(SOCKET socket, const char* bytes, int size) override {
        calls.push_back("send");
        return Fails("send") ? SOCKET_ERROR : SocketCalls::Send(socket, bytes, size);
    }
    int ShutdownSend(SOCKET socket) override {
        calls.push_back("shutdown");
        return Fails("shutdown") ? SOCKET_ERROR : SocketCalls::ShutdownSend(socket);
    }
    int Close(SOCKET socket) override {
        calls.push_back("close");
        SocketCalls::Close(socket);
        return Fails("close") ? SOCKET_ERROR : 0;
    }
    int WaitReadable(SOCKET socket, const timeval& timeout) override {
        return Wait(timeout, SocketCalls::WaitReadable(socket, timeout));
    }
    int WaitWritable(SOCKET socket, const timeval& timeout) override {
        return Wait(timeout, SocketCalls::WaitWritable(socket, timeout));
    }

    std::vector<std::string> calls;
    std::string failing;
    int error = WSAECONNRESET;
    int failing_level = -1;
    int failing_option = -1;
    int receive_timeouts = 0;
    int stops_of_blocking = 0;
    bool endless = false;
    int endless_bytes = 0;
    std::optional<int> wait_result;  // in place of the real one
    timeval waited{};
    bool refuses_to_stop_blocking = false;
    std::optional<std::uint64_t> acknowledged;

private:
    bool Fails(const char* name) const {
        if (failing != name) return false;
        WSASetLastError(error);
        return true;
    }
    int Wait(const timeval& timeout, int result) {
        waited = timeout;
        return wait_result.value_or(result);
    }
};

class SocketChannelTest : public testing::Test {
protected:
    // No test waits for the real drain limit.
    SocketChannel Make(ConnectionLimits limits = {}) {
        if (limits.drain == kDrainLimit) limits.drain = std::chrono::milliseconds(20);
        return SocketChannel(pair_.TakeServer(calls_), limits);
    }
    static std::chrono::milliseconds Since(std::chrono::steady_clock::time_point start) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start);
    }

    SocketPair pair_;
    RecordingCalls calls_;
    char buffer_[1024]{};
};

}  // namespace harbinet::test
