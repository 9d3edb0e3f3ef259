#include "net/socket_channel_win.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "net/net_fixtures.h"
#include "net/socket_channel_fixture_win.h"
#include "net/tls_stream.h"

namespace harbinet {
namespace {

using std::chrono::milliseconds;
using test::ReceiveText;
using test::SendText;
using test::SocketChannelTest;
using test::SocketPair;
using Status = Channel::Status;

TEST_F(SocketChannelTest, BytesGoBothWays) {
    SocketChannel channel = Make();
    ASSERT_TRUE(SendText(pair_.client.Get(), "question"));
    const Channel::Result received = channel.Receive(buffer_);
    EXPECT_EQ(received.status, Status::kDone);
    EXPECT_EQ(std::string(buffer_, received.count), "question");
    const Channel::Result sent = channel.Send("answer");
    EXPECT_EQ(sent.status, Status::kDone);
    EXPECT_EQ(sent.count, 6u);
    EXPECT_EQ(ReceiveText(pair_.client.Get(), 6), "answer");
}

TEST_F(SocketChannelTest, ASilentClientMissesTheHeadDeadline) {
    const auto start = std::chrono::steady_clock::now();
    SocketChannel channel = Make({.head = milliseconds(300)});
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
    EXPECT_GE(Since(start), milliseconds(290));
    EXPECT_LT(Since(start), milliseconds(2000));
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
}

TEST_F(SocketChannelTest, DrippingBytesDoNotProlongTheHeadDeadline) {
    const auto start = std::chrono::steady_clock::now();
    SocketChannel channel = Make({.head = milliseconds(300)});
    std::atomic<bool> done = false;
    std::jthread client([this, &done] {
        while (!done && SendText(pair_.client.Get(), "x")) Sleep(20);
    });
    int bytes = 0;
    while (channel.Receive(buffer_).status == Status::kDone && Since(start).count() < 5000) ++bytes;
    done = true;
    EXPECT_GT(bytes, 3);
    EXPECT_GE(Since(start), milliseconds(290));
    EXPECT_LT(Since(start), milliseconds(2000));
}

TEST_F(SocketChannelTest, DrippingBytesDoNotProlongTheTotalOfABody) {
    SocketChannel channel = Make({.head = milliseconds(100)});
    channel.BeginBody({.idle = milliseconds(2000), .total = milliseconds(400)});
    const auto start = std::chrono::steady_clock::now();
    std::atomic<bool> done = false;
    std::jthread client([this, &done] {
        while (!done && SendText(pair_.client.Get(), "x")) Sleep(20);
    });
    int bytes = 0;
    while (channel.Receive(buffer_).status == Status::kDone && Since(start).count() < 5000) ++bytes;
    done = true;
    EXPECT_GT(bytes, 3);
    EXPECT_TRUE(channel.HasTimedOut());
    EXPECT_GE(Since(start), milliseconds(390));
    EXPECT_LT(Since(start), milliseconds(2000));
}

TEST_F(SocketChannelTest, AWaitEndsWithTheIdleLimitBeforeTheTotalIsOver) {
    SocketChannel channel = Make();
    channel.BeginBody({.idle = milliseconds(200), .total = milliseconds(20'000)});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
    EXPECT_TRUE(channel.HasTimedOut());
    EXPECT_GE(Since(start), milliseconds(190));
    EXPECT_LT(Since(start), milliseconds(5000));
}

TEST_F(SocketChannelTest, AClientThatLeavesHasNotTimedOut) {
    SocketChannel channel = Make();
    channel.BeginBody({.idle = milliseconds(20'000), .total = milliseconds(20'000)});
    SendText(pair_.client.Get(), "x");
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kDone);
    EXPECT_FALSE(channel.HasTimedOut());
    pair_.client.Reset();
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
    EXPECT_FALSE(channel.HasTimedOut());
}

TEST_F(SocketChannelTest, TheBodyLimitHoldsForEachWaitAlone) {
    SocketChannel channel = Make({.head = milliseconds(100)});
    channel.BeginBody({.idle = milliseconds(400), .total = {}});
    const auto start = std::chrono::steady_clock::now();
    std::jthread client([this] {
        for (int i = 0; i < 4; ++i) {
            Sleep(150);
            SendText(pair_.client.Get(), "x");
        }
    });
    for (int i = 0; i < 4; ++i) EXPECT_EQ(channel.Receive(buffer_).status, Status::kDone) << i;
    EXPECT_GE(Since(start), milliseconds(590));
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
    EXPECT_GE(Since(start), milliseconds(980));
    EXPECT_LT(Since(start), milliseconds(3000));
    EXPECT_EQ(calls_.receive_timeouts, 1);
}

TEST_F(SocketChannelTest, AHeadThatComesAtOnceSetsTheTimeoutOnce) {
    SocketChannel channel = Make();
    for (int i = 0; i < 3; ++i) {
        SendText(pair_.client.Get(), "x");
        EXPECT_EQ(channel.Receive(buffer_).status, Status::kDone);
    }
    EXPECT_EQ(calls_.receive_timeouts, 1);
}

TEST_F(SocketChannelTest, AResetPeerFailsTheWrite) {
    SocketChannel channel = Make();
    const linger abortive = {1, 0};
    setsockopt(pair_.client.Get(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abortive),
               sizeof abortive);
    pair_.client.Reset();
    int sends = 0;
    while (channel.Send("x").status == Status::kDone && sends < 100) ++sends;
    EXPECT_LT(sends, 100);
    EXPECT_NE(channel.Receive(buffer_).status, Status::kDone);
}

TEST_F(SocketChannelTest, ClosesByHalfCloseThenReadingThenClose) {
    SocketChannel channel = Make();
    SendText(pair_.client.Get(), "never read");
    shutdown(pair_.client.Get(), SD_SEND);
    channel.Close();
    EXPECT_THAT(calls_.calls, testing::ElementsAre("shutdown", "receive", "receive", "close"));
    channel.Close();
    EXPECT_EQ(calls_.calls.size(), 4u);
}

TEST_F(SocketChannelTest, TheDestructorCloses) {
    { SocketChannel channel = Make({.drain = milliseconds(1)}); }
    EXPECT_EQ(calls_.calls.front(), "shutdown");
    EXPECT_EQ(calls_.calls.back(), "close");
}

TEST_F(SocketChannelTest, AClientThatKeepsSendingIsCutOffAfterAWhile) {
    SocketChannel channel = Make({.drain = milliseconds(300)});
    std::jthread client([this] {
        while (SendText(pair_.client.Get(), "more")) Sleep(5);
    });
    const auto start = std::chrono::steady_clock::now();
    channel.Close();
    EXPECT_GE(Since(start), milliseconds(290));
    EXPECT_LT(Since(start), milliseconds(2000));
}

TEST_F(SocketChannelTest, AClientThatSendsALotIsCutOffAfter64MiB) {
    SocketChannel channel = Make({.drain = milliseconds(5000)});
    calls_.endless = true;
    channel.Close();
    EXPECT_EQ(calls_.endless_bytes, 64 * 1024 * 1024);
    EXPECT_EQ(calls_.calls.back(), "close");
}

TEST_F(SocketChannelTest, WithoutAReceiveTimeoutNothingIsReceived) {
    SocketChannel channel = Make();
    calls_.failing_level = SOL_SOCKET;
    calls_.failing_option = SO_RCVTIMEO;
    SendText(pair_.client.Get(), "x");
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
    EXPECT_TRUE(calls_.calls.empty());
}

TEST_F(SocketChannelTest, FailingCallsEndTheDirection) {
    SocketChannel channel = Make();
    calls_.failing = "receive";
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
    calls_.failing = "send";
    EXPECT_EQ(channel.Send("x").status, Status::kEnded);
    calls_.error = WSAETIMEDOUT;
    EXPECT_EQ(channel.Send("x").status, Status::kEnded);
    calls_.error = WSAEWOULDBLOCK;
    EXPECT_EQ(channel.Send("x").status, Status::kTryAgain);
    calls_.failing = "receive";
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kTryAgain);
}

TEST_F(SocketChannelTest, AFailingHalfCloseSkipsTheDrain) {
    SocketChannel channel = Make();
    calls_.failing = "shutdown";
    channel.Close();
    EXPECT_THAT(calls_.calls, testing::ElementsAre("shutdown", "close"));
}

TEST_F(SocketChannelTest, AFailingDrainOrCloseStillEndsTheConnection) {
    SocketChannel channel = Make();
    calls_.failing = "receive";
    channel.Close();
    EXPECT_THAT(calls_.calls, testing::ElementsAre("shutdown", "receive", "close"));

    SocketPair other;
    SocketChannel second(other.TakeServer(calls_), {.drain = milliseconds(20)});
    calls_.failing = "close";
    other.client.Reset();
    second.Close();
    EXPECT_EQ(calls_.calls.back(), "close");
}

TEST_F(SocketChannelTest, WaitingForBytesInTheMiddleOfAWriteIsBoundedByTheWriteLimit) {
    SocketChannel channel = Make({.write = milliseconds(30'500), .drain = milliseconds(1)});
    SendText(pair_.client.Get(), "x");
    for (const int result : {1, 0, SOCKET_ERROR}) {
        calls_.wait_result = result;
        EXPECT_EQ(channel.Wait(Channel::Direction::kReceive), result == 1);
        EXPECT_EQ(calls_.waited.tv_sec, 30);
        EXPECT_EQ(calls_.waited.tv_usec, 500'000);
    }
}

TEST(ConnectionLimitsTest, AreThirtyThirtyAndTwoSeconds) {
    const ConnectionLimits limits;
    EXPECT_EQ(limits.head, milliseconds(30'000));
    EXPECT_EQ(limits.write, milliseconds(30'000));
    EXPECT_EQ(limits.drain, milliseconds(2'000));
}

TEST(BodyLimitsTest, AreShortForSmallBodiesAndWithoutATotalForUploads) {
    EXPECT_EQ(kSmallBodyLimits.total, milliseconds(30'000));
    EXPECT_EQ(kNamesBodyLimits.idle, milliseconds(60'000));
    EXPECT_EQ(kNamesBodyLimits.total, milliseconds(120'000));
    EXPECT_EQ(kUploadLimits.idle, milliseconds(60'000));
    EXPECT_EQ(kUploadLimits.total, std::nullopt);
}

TEST_F(SocketChannelTest, AReplyArrivesAlthoughTheRequestWasNeverRead) {
    const test::Identity identity;
    const std::string reply(524'288, 'r');
    std::string received;
    std::thread client_thread([this, &received] {
        test::TlsClient client(test::TransportOver(pair_.client.Get()));
        if (!client.Handshake()) return;
        client.Write(std::string(100'000, 'u'));
        received = client.ReadToEnd();
        pair_.client.Reset();
    });
    {
        SocketChannel channel = Make({.drain = milliseconds(5000)});
        TlsStream stream(identity.context.Get().get(), channel);
        EXPECT_TRUE(stream.Handshake());
        calls_.calls.clear();
        EXPECT_TRUE(stream.WriteAll(reply));
        calls_.calls.clear();
        stream.SendCloseNotify();
        channel.Close();
    }
    client_thread.join();
    EXPECT_TRUE(received == reply);
    EXPECT_EQ(calls_.calls[0], "send");
    EXPECT_EQ(calls_.calls[1], "shutdown");
    EXPECT_EQ(calls_.calls[2], "receive");
    EXPECT_EQ(calls_.calls.back(), "close");
}

TEST(NumericHostTest, IsTheBareAddress) {
    const WinsockReference winsock;
    sockaddr_storage address{};
    auto& ipv6 = reinterpret_cast<sockaddr_in6&>(address);
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_addr.s6_addr[15] = 1;
    EXPECT_EQ(NumericHost(address), "::1");
    const unsigned char mapped[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 0, 0, 7};
    std::copy(std::begin(mapped), std::end(mapped), ipv6.sin6_addr.s6_addr);
    EXPECT_EQ(NumericHost(address), "::ffff:10.0.0.7");
    EXPECT_EQ(NumericHost(sockaddr_storage{}), "");
}

}  // namespace
}  // namespace harbinet
