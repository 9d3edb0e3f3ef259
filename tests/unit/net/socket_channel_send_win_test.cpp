#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "net/socket_channel_fixture_win.h"

namespace harbinet {
namespace {

using std::chrono::milliseconds;
using test::ReceiveText;
using test::SendText;
using test::SocketChannelTest;
using test::SocketPair;
using Status = Channel::Status;

// How a channel sends to quick clients, to slow ones and to those that take nothing.
using SocketChannelSendTest = SocketChannelTest;

// Sends until the client's side and the system are full, and stay so: their buffers grow at first.
void Fill(SocketChannel& channel) {
    const std::string chunk(1024 * 1024, 'x');
    int refusals_in_a_row = 0;
    for (int sends = 0; refusals_in_a_row < 30; ++sends) {
        ASSERT_LT(sends, 1000);
        if (channel.Send(chunk).status == Status::kDone) {
            refusals_in_a_row = 0;
        } else {
            ++refusals_in_a_row;
            Sleep(20);
        }
    }
}

TEST_F(SocketChannelSendTest, ASendNeverWaits) {
    SocketChannel channel = Make({.drain = milliseconds(1)});
    const auto start = std::chrono::steady_clock::now();
    Fill(channel);
    EXPECT_EQ(channel.Send("x").status, Status::kTryAgain);
    EXPECT_LT(Since(start), milliseconds(5000));
}

TEST_F(SocketChannelSendTest, AClientThatTakesNothingMissesTheWriteLimit) {
    SocketChannel channel = Make({.write = milliseconds(300), .drain = milliseconds(1)});
    Fill(channel);
    const auto start = std::chrono::steady_clock::now();
    while (channel.Wait(Channel::Direction::kSend) && Since(start).count() < 5000) {
        EXPECT_EQ(channel.Send("x").status, Status::kTryAgain);
    }
    EXPECT_GE(Since(start), milliseconds(290));
    EXPECT_LT(Since(start), milliseconds(2000));
}

TEST_F(SocketChannelSendTest, EachByteThatTheClientTakesStartsTheWriteLimitAgain) {
    SocketChannel channel = Make({.write = milliseconds(400), .drain = milliseconds(1)});
    Fill(channel);
    const auto start = std::chrono::steady_clock::now();
    calls_.wait_result = 0;  // never counts as writable
    for (int i = 0; i < 4; ++i) {
        Sleep(200);
        EXPECT_TRUE(channel.Wait(Channel::Direction::kSend)) << i;
        // The client takes all there is, so that the next bytes find room.
        ReceiveText(pair_.client.Get(), 8 * 1024 * 1024);
        EXPECT_EQ(channel.Send("x").status, Status::kDone) << i;
        Fill(channel);
    }
    EXPECT_GE(Since(start), milliseconds(790));
}

TEST_F(SocketChannelSendTest, AWaitForRoomIsCutIntoSecondsSoThatSlowClientsAreServed) {
    SocketChannel channel = Make({.drain = milliseconds(1)});
    Fill(channel);
    calls_.wait_result = 0;
    EXPECT_TRUE(channel.Wait(Channel::Direction::kSend));
    EXPECT_EQ(calls_.waited.tv_sec, 1);
    EXPECT_EQ(calls_.waited.tv_usec, 0);
}

TEST_F(SocketChannelSendTest, AcknowledgedBytesCountAsTaken) {
    const struct {
        std::optional<std::uint64_t> before;
        std::optional<std::uint64_t> after;
        bool is_alive;
    } kCases[] = {
        {1000, 9192, true}, {1000, 9191, false}, {1000, 1000, false},
        {{}, {}, false},    {1000, {}, false},   {{}, 90'000, false},
    };
    for (const auto& c : kCases) {
        SocketPair pair;
        SocketChannel channel(pair.TakeServer(calls_),
                              {.write = milliseconds(50), .drain = milliseconds(1)});
        Fill(channel);
        calls_.wait_result = 0;
        calls_.acknowledged = c.before;
        EXPECT_TRUE(channel.Wait(Channel::Direction::kSend));
        calls_.acknowledged = c.after;
        Sleep(60);
        EXPECT_EQ(channel.Wait(Channel::Direction::kSend), c.is_alive);
        if (c.is_alive) {
            Sleep(60);
            EXPECT_FALSE(channel.Wait(Channel::Direction::kSend)) << "nothing more was taken";
        }
        pair.client.Reset();
    }
}

TEST_F(SocketChannelSendTest, ASocketThatCannotStopBlockingStillSends) {
    calls_.refuses_to_stop_blocking = true;
    SocketChannel channel = Make();
    EXPECT_EQ(channel.Send(std::string(2000, 'x')).status, Status::kDone);
    SendText(pair_.client.Get(), "x");
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kDone);
}

TEST_F(SocketChannelSendTest, AfterALargeSendReceivingStillWaits) {
    SocketChannel channel = Make({.head = milliseconds(5000)});
    EXPECT_EQ(channel.Send(std::string(2000, 'x')).status, Status::kDone);
    std::jthread client([this] {
        Sleep(200);
        SendText(pair_.client.Get(), "late");
    });
    EXPECT_EQ(channel.Receive(buffer_).count, 4u);
}

TEST_F(SocketChannelSendTest, ShortRepliesNeedNoCallButTheSend) {
    SocketChannel channel = Make();
    for (const std::size_t size : {1200, 1200, 1200, 496}) channel.Send(std::string(size, 'x'));
    EXPECT_EQ(calls_.stops_of_blocking, 0);
    channel.Send("x");
    EXPECT_EQ(calls_.stops_of_blocking, 1);
    channel.Send(std::string(5000, 'x'));
    EXPECT_EQ(calls_.stops_of_blocking, 1);
}

TEST_F(SocketChannelSendTest, ASendOfMoreThanOneSegmentStopsTheBlocking) {
    SocketChannel channel = Make();
    channel.Send(std::string(1201, 'x'));
    EXPECT_EQ(calls_.stops_of_blocking, 1);
}

}  // namespace
}  // namespace harbinet
