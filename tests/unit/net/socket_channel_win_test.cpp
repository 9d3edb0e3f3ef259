#include "net/socket_channel_win.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "net/loopback_win.h"
#include "net/net_fixtures.h"
#include "net/tls_stream.h"

namespace harbinet {
namespace {

using std::chrono::milliseconds;
using test::ReceiveText;
using test::SendText;
using test::SocketPair;
using Status = Channel::Status;

// The real calls, written down by name; one of them fails on demand.
class RecordingCalls final : public SocketCalls {
public:
    int SetOption(SOCKET socket, int level, int name, DWORD value) override {
        if (name == SO_RCVTIMEO) ++receive_timeouts;
        if (name == SO_SNDBUF) send_buffers.push_back(value);
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
    std::vector<DWORD> send_buffers;
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
        if (limits.drain == kDrainLimit) limits.drain = milliseconds(20);
        return SocketChannel(pair_.TakeServer(calls_), limits);
    }
    static milliseconds Since(std::chrono::steady_clock::time_point start) {
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    }

    SocketPair pair_;
    RecordingCalls calls_;
    char buffer_[1024]{};
};

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
    EXPECT_GE(Since(start), milliseconds(390));
    EXPECT_LT(Since(start), milliseconds(2000));
}

TEST_F(SocketChannelTest, AWaitEndsWithTheIdleLimitBeforeTheTotalIsOver) {
    SocketChannel channel = Make();
    channel.BeginBody({.idle = milliseconds(200), .total = milliseconds(20'000)});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kEnded);
    EXPECT_GE(Since(start), milliseconds(190));
    EXPECT_LT(Since(start), milliseconds(5000));
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

TEST_F(SocketChannelTest, ASendNeverWaits) {
    SocketChannel channel = Make({.drain = milliseconds(1)});
    const auto start = std::chrono::steady_clock::now();
    Fill(channel);
    EXPECT_EQ(channel.Send("x").status, Status::kTryAgain);
    EXPECT_LT(Since(start), milliseconds(5000));
}

TEST_F(SocketChannelTest, AClientThatTakesNothingMissesTheWriteLimit) {
    SocketChannel channel = Make({.write = milliseconds(300), .drain = milliseconds(1)});
    Fill(channel);
    const auto start = std::chrono::steady_clock::now();
    while (channel.Wait(Channel::Direction::kSend) && Since(start).count() < 5000) {
        EXPECT_EQ(channel.Send("x").status, Status::kTryAgain);
    }
    EXPECT_GE(Since(start), milliseconds(290));
    EXPECT_LT(Since(start), milliseconds(2000));
}

TEST_F(SocketChannelTest, EachByteThatTheClientTakesStartsTheWriteLimitAgain) {
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

TEST_F(SocketChannelTest, AWaitForRoomIsCutIntoSecondsSoThatSlowClientsAreServed) {
    SocketChannel channel = Make({.drain = milliseconds(1)});
    Fill(channel);
    calls_.wait_result = 0;
    EXPECT_TRUE(channel.Wait(Channel::Direction::kSend));
    EXPECT_EQ(calls_.waited.tv_sec, 1);
    EXPECT_EQ(calls_.waited.tv_usec, 0);
}

TEST_F(SocketChannelTest, AcknowledgedBytesCountAsTaken) {
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

TEST_F(SocketChannelTest, ASocketThatCannotStopBlockingStillSends) {
    calls_.refuses_to_stop_blocking = true;
    SocketChannel channel = Make();
    EXPECT_EQ(channel.Send(std::string(2000, 'x')).status, Status::kDone);
    SendText(pair_.client.Get(), "x");
    EXPECT_EQ(channel.Receive(buffer_).status, Status::kDone);
}

TEST_F(SocketChannelTest, AfterALargeSendReceivingStillWaits) {
    SocketChannel channel = Make({.head = milliseconds(5000)});
    EXPECT_EQ(channel.Send(std::string(2000, 'x')).status, Status::kDone);
    std::jthread client([this] {
        Sleep(200);
        SendText(pair_.client.Get(), "late");
    });
    EXPECT_EQ(channel.Receive(buffer_).count, 4u);
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

TEST_F(SocketChannelTest, ShortRepliesNeedNoCallButTheSend) {
    SocketChannel channel = Make();
    for (const std::size_t size : {1200, 1200, 1200, 496}) channel.Send(std::string(size, 'x'));
    EXPECT_EQ(calls_.stops_of_blocking, 0);
    channel.Send("x");
    EXPECT_EQ(calls_.stops_of_blocking, 1);
    channel.Send(std::string(5000, 'x'));
    EXPECT_EQ(calls_.stops_of_blocking, 1);
}

TEST_F(SocketChannelTest, ASendOfMoreThanOneSegmentStopsTheBlocking) {
    SocketChannel channel = Make();
    channel.Send(std::string(1201, 'x'));
    EXPECT_EQ(calls_.stops_of_blocking, 1);
}

TEST_F(SocketChannelTest, TheSystemHoldsLittleUntilTheClientIsQuick) {
    SocketChannel channel = Make();
    EXPECT_EQ(channel.Send(std::string(65'536, 'x')).status, Status::kDone);
    EXPECT_THAT(calls_.send_buffers, testing::IsEmpty());
    channel.Send("x");
    EXPECT_THAT(calls_.send_buffers, testing::ElementsAre(16 * 1024));
    std::jthread client([this] { ReceiveText(pair_.client.Get(), 1'000'000); });
    const std::string chunk(100'000, 'x');
    for (std::size_t sent = 0; sent < 800'000;) {
        const Channel::Result result = channel.Send(chunk);
        sent += result.count;
        if (result.status == Status::kTryAgain) channel.Wait(Channel::Direction::kSend);
    }
    EXPECT_THAT(calls_.send_buffers, testing::ElementsAre(16 * 1024, 2 * 1024 * 1024));
    pair_.client.Reset();
}

TEST_F(SocketChannelTest, AClientThatTakesItsTimeIsNotQuick) {
    SocketChannel channel = Make({.drain = milliseconds(1)});
    Fill(channel);
    // A quarter of a mebibyte in more than a second.
    for (int i = 0; i < 4; ++i) {
        Sleep(400);
        ReceiveText(pair_.client.Get(), 65'536);
        channel.Send(std::string(65'536, 'x'));
    }
    EXPECT_THAT(calls_.send_buffers, testing::ElementsAre(16 * 1024));
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
