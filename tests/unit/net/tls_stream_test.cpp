#include "net/tls_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <thread>

#include "app/encoding.h"
#include "net/memory_channel.h"
#include "net/net_fixtures.h"
#include "net/openssl_errors.h"
#include "net/timeouts.h"
#include "net/tls_client.h"

namespace harbinet {
namespace {

using test::MemoryChannel;
using test::Messages;
using test::TlsClient;
using test::TlsClientOptions;
using Direction = Channel::Direction;

const test::Identity& SharedIdentity() {
    static const test::Identity identity;
    return identity;
}

std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 253);
    return bytes;
}

// A client on a thread of its own that shakes hands and then does what the test says.
class TlsStreamTest : public testing::Test {
protected:
    ~TlsStreamTest() override {
        channel_.to_client.Close();
        if (client_thread_.joinable()) client_thread_.join();
    }

    void StartClient(std::function<void(TlsClient&)> act, const TlsClientOptions& options = {}) {
        client_thread_ = std::thread([this, act = std::move(act), options] {
            TlsClient client(channel_.Client(), options);
            client_shook_hands_ = client.Handshake();
            if (client_shook_hands_) act(client);
            channel_.to_server.Close();
        });
    }
    void JoinClient() { client_thread_.join(); }

    MemoryChannel channel_;
    TlsStream stream_{SharedIdentity().context.Get().get(), channel_};
    std::thread client_thread_;
    bool client_shook_hands_ = false;
    EventLog log_;
};

TEST_F(TlsStreamTest, Tls12AndTls13AreAccepted) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        MemoryChannel channel;
        TlsStream stream(SharedIdentity().context.Get().get(), channel);
        std::thread client_thread([&channel, version] {
            TlsClient client(channel.Client(), {version, false});
            EXPECT_TRUE(client.Handshake());
            EXPECT_EQ(client.Version(), version);
            EXPECT_EQ(client.ReadToEnd(), "hello");
            EXPECT_TRUE(client.SawCloseNotify());
        });
        EXPECT_TRUE(stream.Handshake());
        EXPECT_TRUE(stream.WriteAll("hello"));
        stream.SendCloseNotify();
        channel.to_client.Close();
        client_thread.join();
    }
}

// A first message of TLS 1.0 or 1.1, which no library here would still send.
std::string OldClientHello(char minor_version) {
    std::string hello = {3, minor_version};
    hello += std::string(32, 'r');                                // random
    hello += '\0';                                                // no session
    hello += std::string("\x00\x06\xC0\x09\xC0\x0A\x00\x2F", 8);  // cipher suites
    hello += std::string("\x01\x00", 2);                          // no compression
    std::string message = std::string("\x01\x00\x00", 3) + static_cast<char>(hello.size()) + hello;
    return std::string("\x16\x03\x01\x00", 4) + static_cast<char>(message.size()) + message;
}

TEST_F(TlsStreamTest, Tls10AndTls11AreRefusedWithAnAlertAndALine) {
    for (const char minor_version : {'\x01', '\x02'}) {
        MemoryChannel channel;
        TlsStream stream(SharedIdentity().context.Get().get(), channel);
        channel.to_server.Write(OldClientHello(minor_version));
        EXPECT_FALSE(stream.Handshake());
        log_.Clear();
        EXPECT_TRUE(LogHandshakeErrors(log_));
        ASSERT_EQ(log_.Snapshot().size(), 1u);
        EXPECT_TRUE(Messages(log_)[0].starts_with(L"TLS: error:"));
        // A library built without the old versions words it the second way.
        EXPECT_THAT(WideToUtf8(Messages(log_)[0]),
                    testing::AnyOf(testing::EndsWith(":unsupported protocol"),
                                   testing::EndsWith(":version too low")));
        const std::string alert = channel.to_client.Read(SIZE_MAX);
        EXPECT_EQ(alert.substr(5), "\x02\x46");  // fatal, protocol version
    }
}

TEST_F(TlsStreamTest, AnUnknownVersionOfBytesIsNoHandshake) {
    channel_.to_server.Write("GET / HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_FALSE(stream_.Handshake());
    EXPECT_TRUE(LogHandshakeErrors(log_));
    EXPECT_TRUE(Messages(log_)[0].ends_with(L"http request"));
}

TEST_F(TlsStreamTest, ABrowserThatDistrustsTheCertificateLeavesNothingInTheLog) {
    StartClient([](TlsClient&) {}, {TLS1_2_VERSION, true});
    EXPECT_FALSE(stream_.Handshake());
    EXPECT_FALSE(LogHandshakeErrors(log_));
    EXPECT_TRUE(log_.Snapshot().empty());
    EXPECT_EQ(ERR_peek_error(), 0u);
    JoinClient();
    EXPECT_FALSE(client_shook_hands_);
}

TEST_F(TlsStreamTest, ADistrustfulBrowserOnTls13LeavesNothingEither) {
    StartClient([](TlsClient&) {}, {TLS1_3_VERSION, true});
    EXPECT_FALSE(stream_.Handshake());
    EXPECT_FALSE(LogHandshakeErrors(log_));
    EXPECT_TRUE(log_.Snapshot().empty());
}

TEST_F(TlsStreamTest, AClientThatGoesAwayLeavesNothingInTheLog) {
    channel_.to_server.Close();
    EXPECT_FALSE(stream_.Handshake());
    EXPECT_FALSE(LogHandshakeErrors(log_));
    EXPECT_TRUE(log_.Snapshot().empty());
}

TEST_F(TlsStreamTest, AClientThatGoesAwayInTheMiddleOfItsFirstMessageLeavesNothing) {
    channel_.to_server.Write(OldClientHello('\x03').substr(0, 20));
    channel_.to_server.Close();
    EXPECT_FALSE(stream_.Handshake());
    EXPECT_FALSE(LogHandshakeErrors(log_));
}

TEST_F(TlsStreamTest, WithoutAContextThereIsNoStream) {
    const TlsStream none(nullptr, channel_);
    EXPECT_FALSE(none);
    EXPECT_TRUE(stream_);
}

TEST_F(TlsStreamTest, EverySizeArrivesWhole) {
    const std::size_t sizes[] = {1,      2,      16383,   16384,   16385,  262143,
                                 262144, 262145, 1048576, 1048577, 3000000};
    std::string expected;
    for (const std::size_t size : sizes) expected += Pattern(size);
    std::string received;
    StartClient([&received](TlsClient& client) { received = client.ReadToEnd(); });
    ASSERT_TRUE(stream_.Handshake());
    for (const std::size_t size : sizes) EXPECT_TRUE(stream_.WriteAll(Pattern(size)));
    stream_.SendCloseNotify();
    channel_.to_client.Close();
    JoinClient();
    EXPECT_EQ(received.size(), expected.size());
    EXPECT_TRUE(received == expected);
}

TEST_F(TlsStreamTest, AnEmptyRangeIsWrittenWithoutASend) {
    StartClient([](TlsClient& client) { client.ReadToEnd(); });
    ASSERT_TRUE(stream_.Handshake());
    EXPECT_TRUE(stream_.WriteAll("something"));
    channel_.sends = 0;
    EXPECT_TRUE(stream_.WriteAll(""));
    EXPECT_EQ(channel_.sends, 0);
}

TEST_F(TlsStreamTest, TheRecordsOfOneChunkLeaveInOneSend) {
    struct Case {
        std::size_t bytes;
        int sends;
    };
    StartClient([](TlsClient& client) { client.ReadToEnd(); });
    ASSERT_TRUE(stream_.Handshake());
    for (const Case& c : {Case{1, 1}, Case{16384, 1}, Case{65536, 1}, Case{262144, 1},
                          Case{524288, 1}, Case{1048576, 2}, Case{2097152, 4}}) {
        channel_.sends = 0;
        EXPECT_TRUE(stream_.WriteAll(Pattern(c.bytes)));
        EXPECT_EQ(channel_.sends, c.sends) << c.bytes;
    }
}

TEST_F(TlsStreamTest, BytesThatMayWaitLeaveWithTheNextOnes) {
    std::string received;
    StartClient([&received](TlsClient& client) { received = client.ReadToEnd(); });
    ASSERT_TRUE(stream_.Handshake());
    channel_.sends = 0;
    EXPECT_TRUE(stream_.WriteSoon("head "));
    EXPECT_TRUE(stream_.WriteSoon(""));
    EXPECT_EQ(channel_.sends, 0);
    EXPECT_TRUE(stream_.WriteAll("body "));
    EXPECT_EQ(channel_.sends, 1);
    EXPECT_TRUE(stream_.WriteSoon("last"));
    EXPECT_EQ(channel_.sends, 1);
    stream_.SendCloseNotify();
    EXPECT_EQ(channel_.sends, 2);
    channel_.to_client.Close();
    JoinClient();
    EXPECT_EQ(received, "head body last");
}

TEST_F(TlsStreamTest, AHandshakeTakesOneSendAndTheTicketsLeaveWithTheReply) {
    StartClient([](TlsClient& client) {
        client.Write("request");
        client.ReadToEnd();
    });
    ASSERT_TRUE(stream_.Handshake());
    EXPECT_EQ(channel_.sends, 1);
    EXPECT_EQ(channel_.receives, 2);
    EXPECT_TRUE(stream_.WriteAll("reply"));
    EXPECT_EQ(channel_.sends, 2);
}

TEST_F(TlsStreamTest, NothingIsUnsentWhenTheClientIsWaitedFor) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        MemoryChannel channel;
        TlsStream stream(SharedIdentity().context.Get().get(), channel);
        std::thread client_thread([&channel, version] {
            TlsClient client(channel.Client(), {version, false});
            // In TLS 1.2 it ends with the server's Finished.
            EXPECT_TRUE(client.Handshake());
            // In TLS 1.3 the request waits, as without TCP_NODELAY, for what answers the client's
            // Finished: the session tickets.
            while (version == TLS1_3_VERSION && channel.to_client.Size() == 0) {
                std::this_thread::yield();
            }
            client.Write("request");
            client.ReadToEnd();
        });
        EXPECT_TRUE(stream.Handshake());
        char buffer[100];
        EXPECT_EQ(std::string(buffer, stream.ReadSome(buffer)), "request");
        EXPECT_TRUE(stream.WriteSoon("one"));
        const int sends = channel.sends;
        channel.to_server.Close();
        EXPECT_EQ(stream.ReadSome(buffer), 0u);
        EXPECT_EQ(channel.sends, sends + 1);
        channel.to_client.Close();
        client_thread.join();
    }
}

TEST_F(TlsStreamTest, ACloseWithoutAReplyIsStillAnnounced) {
    bool announced = false;
    StartClient([&announced](TlsClient& client) {
        EXPECT_EQ(client.ReadToEnd(), "");
        announced = client.SawCloseNotify();
    });
    ASSERT_TRUE(stream_.Handshake());
    stream_.SendCloseNotify();
    channel_.to_client.Close();
    JoinClient();
    EXPECT_TRUE(announced);
}

TEST_F(TlsStreamTest, BytesAreOnTheirWayWhenWriteAllReturns) {
    StartClient([](TlsClient&) {});
    ASSERT_TRUE(stream_.Handshake());
    JoinClient();
    const std::size_t before = channel_.to_client.Size();
    EXPECT_TRUE(stream_.WriteAll(Pattern(100)));
    EXPECT_GT(channel_.to_client.Size(), before + 100);
}

TEST_F(TlsStreamTest, AGonePeerFailsTheWrite) {
    StartClient([](TlsClient&) {});
    ASSERT_TRUE(stream_.Handshake());
    channel_.peer_is_gone = true;
    EXPECT_FALSE(stream_.WriteAll("x"));
    EXPECT_FALSE(stream_.WriteAll(Pattern(3'000'000)));
    EXPECT_TRUE(channel_.waits.empty());
}

TEST_F(TlsStreamTest, NothingIsSentAfterAFailedSend) {
    StartClient([](TlsClient&) {});
    ASSERT_TRUE(stream_.Handshake());
    JoinClient();
    EXPECT_TRUE(stream_.WriteSoon("lost"));
    channel_.peer_is_gone = true;
    EXPECT_FALSE(stream_.WriteAll("x"));
    channel_.peer_is_gone = false;
    const int sends = channel_.sends;
    const std::size_t arrived = channel_.to_client.Size();
    EXPECT_FALSE(stream_.WriteAll("y"));
    EXPECT_FALSE(stream_.WriteSoon(Pattern(3'000'000)));
    stream_.SendCloseNotify();
    char buffer[10];
    EXPECT_EQ(stream_.ReadSome(buffer), 0u);
    EXPECT_EQ(channel_.sends, sends);
    EXPECT_EQ(channel_.to_client.Size(), arrived);
}

TEST_F(TlsStreamTest, NothingIsSentAfterAWaitInVain) {
    StartClient([](TlsClient&) {});
    ASSERT_TRUE(stream_.Handshake());
    JoinClient();
    channel_.send_would_block = 1;
    channel_.wait_succeeds = false;
    EXPECT_FALSE(stream_.WriteAll("x"));
    const int sends = channel_.sends;
    stream_.SendCloseNotify();
    EXPECT_EQ(channel_.sends, sends);
}

TEST_F(TlsStreamTest, WhatTheChannelThrowsComesOutOfTheCallAndEndsTheSending) {
    channel_.receive_throws = true;
    EXPECT_THROW(stream_.Handshake(), std::bad_alloc);
    channel_.receive_throws = false;

    MemoryChannel channel;
    TlsStream stream(SharedIdentity().context.Get().get(), channel);
    std::thread client_thread([&channel] {
        TlsClient client(channel.Client());
        EXPECT_TRUE(client.Handshake());
        client.ReadToEnd();
    });
    EXPECT_TRUE(stream.Handshake());
    channel.send_throws = true;
    EXPECT_THROW(stream.WriteSoon(Pattern(3'000'000)), std::bad_alloc);
    channel.send_throws = false;
    const int sends = channel.sends;
    stream.SendCloseNotify();
    EXPECT_EQ(channel.sends, sends);
    channel.to_client.Close();
    client_thread.join();
}

TEST_F(TlsStreamTest, PartialSendsAreContinued) {
    std::string received;
    StartClient([&received](TlsClient& client) { received = client.ReadToEnd(); });
    ASSERT_TRUE(stream_.Handshake());
    channel_.bytes_per_send = 1000;
    EXPECT_TRUE(stream_.WriteAll(Pattern(400'000)));
    stream_.SendCloseNotify();
    channel_.to_client.Close();
    JoinClient();
    EXPECT_TRUE(received == Pattern(400'000));
}

TEST_F(TlsStreamTest, AFullSystemIsWaitedFor) {
    std::string received;
    StartClient([&received](TlsClient& client) { received = client.ReadToEnd(); });
    ASSERT_TRUE(stream_.Handshake());
    channel_.send_would_block = 3;
    EXPECT_TRUE(stream_.WriteAll(Pattern(1'000'000)));
    EXPECT_THAT(channel_.waits,
                testing::ElementsAre(Direction::kSend, Direction::kSend, Direction::kSend));
    stream_.SendCloseNotify();
    channel_.to_client.Close();
    JoinClient();
    EXPECT_TRUE(received == Pattern(1'000'000));
}

TEST_F(TlsStreamTest, AWaitInVainFailsTheWrite) {
    StartClient([](TlsClient&) {});
    ASSERT_TRUE(stream_.Handshake());
    channel_.wait_succeeds = false;
    channel_.send_would_block = 1;
    EXPECT_FALSE(stream_.WriteAll("x"));
    EXPECT_FALSE(stream_.WriteAll(Pattern(1'000'000)));
    EXPECT_EQ(channel_.waits.size(), 1u);
}

TEST_F(TlsStreamTest, AWriteThatNeedsTheClientsBytesWaitsForThem) {
    StartClient([](TlsClient& client) { client.ReadToEnd(); });
    // Without a handshake before it the write makes one, and that has to read.
    channel_.receive_would_block = 2;
    EXPECT_TRUE(stream_.WriteAll("x"));
    EXPECT_THAT(channel_.waits, testing::ElementsAre(Direction::kReceive, Direction::kReceive));
    channel_.to_client.Close();
    JoinClient();

    MemoryChannel silent;
    silent.receive_would_block = 1;
    silent.wait_succeeds = false;
    TlsStream stream(SharedIdentity().context.Get().get(), silent);
    EXPECT_FALSE(stream.WriteAll("x"));
}

TEST_F(TlsStreamTest, ReadSomeReturnsWhatCameAndThenTheEnd) {
    StartClient([](TlsClient& client) {
        client.Write("head");
        client.Write("rest");
        client.SendCloseNotify();
    });
    ASSERT_TRUE(stream_.Handshake());
    char buffer[2048];
    EXPECT_EQ(std::string(buffer, stream_.ReadSome(buffer)), "head");
    EXPECT_EQ(std::string(buffer, stream_.ReadSome(std::span(buffer, 3))), "res");
    EXPECT_EQ(std::string(buffer, stream_.ReadSome(buffer)), "t");
    EXPECT_EQ(stream_.ReadSome(buffer), 0u);
    EXPECT_EQ(stream_.ReadSome(buffer), 0u);
    EXPECT_EQ(stream_.ReadSome({}), 0u);
}

TEST_F(TlsStreamTest, AClientThatVanishesEndsTheReading) {
    StartClient([](TlsClient& client) { client.Write("half"); });
    ASSERT_TRUE(stream_.Handshake());
    char buffer[16];
    EXPECT_EQ(stream_.ReadSome(buffer), 4u);
    EXPECT_EQ(stream_.ReadSome(buffer), 0u);
    // The reply to a request that broke off can still be written.
    EXPECT_TRUE(stream_.WriteAll("reply"));
}

TEST_F(TlsStreamTest, ABodyIsReceivedInFewCalls) {
    const std::string body = Pattern(4 * 1024 * 1024);
    StartClient([&body](TlsClient& client) {
        client.Write("HEAD");
        client.Write(body);
    });
    ASSERT_TRUE(stream_.Handshake());
    JoinClient();  // so that everything has arrived
    char head[4];
    ASSERT_EQ(stream_.ReadSome(head), 4u);
    stream_.BeginBody(kUploadLimits);
    EXPECT_EQ(channel_.bodies, 1);
    channel_.receives = 0;
    std::string received;
    std::string buffer(100'000, '\0');
    while (const std::size_t count = stream_.ReadSome(buffer)) received.append(buffer, 0, count);
    EXPECT_TRUE(received == body);
    EXPECT_LE(channel_.receives, 18);
}

TEST(OpenSslErrorsTest, EveryQueuedErrorBecomesALine) {
    EventLog log;
    ERR_raise(ERR_LIB_SSL, SSL_R_BAD_LENGTH);
    ERR_raise(ERR_LIB_X509, X509_R_KEY_VALUES_MISMATCH);
    LogOpenSslErrors(log);
    EXPECT_EQ(Messages(log),
              (std::vector<std::wstring>{
                  L"TLS: error:0A00010F:SSL routines::bad length",
                  L"TLS: error:05800074:x509 certificate routines::key values mismatch"}));
    LogOpenSslErrors(log);
    EXPECT_EQ(log.Snapshot().size(), 2u);
}

TEST(OpenSslErrorsTest, HarmlessErrorsAreDroppedFromAmongOthers) {
    EventLog log;
    ERR_raise(ERR_LIB_SSL, SSL_R_SSLV3_ALERT_CERTIFICATE_UNKNOWN);
    ERR_raise(ERR_LIB_SSL, SSL_R_UNEXPECTED_EOF_WHILE_READING);
    EXPECT_FALSE(LogHandshakeErrors(log));
    EXPECT_TRUE(log.Snapshot().empty());
    ERR_raise(ERR_LIB_SSL, SSL_R_SSLV3_ALERT_CERTIFICATE_UNKNOWN);
    ERR_raise(ERR_LIB_SSL, SSL_R_NO_SHARED_CIPHER);
    ERR_raise(ERR_LIB_SSL, SSL_R_UNEXPECTED_EOF_WHILE_READING);
    EXPECT_TRUE(LogHandshakeErrors(log));
    EXPECT_EQ(Messages(log),
              std::vector<std::wstring>{L"TLS: error:0A0000C1:SSL routines::no shared cipher"});
    EXPECT_FALSE(LogHandshakeErrors(log));
}

}  // namespace
}  // namespace harbinet
