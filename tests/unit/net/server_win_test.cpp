#include "net/server_win.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "net/loopback_win.h"
#include "net/net_fixtures.h"

namespace harbinet {
namespace {

using test::ConnectTo;
using test::Messages;
using test::ReceiveText;
using test::SendText;
using test::UniqueSocket;
using Clock = std::chrono::steady_clock;

// Counts what the server and its connections do and lets the test wait for it.
class Events {
public:
    void Add(const std::string& event) {
        const std::lock_guard lock(mutex_);
        events_.push_back(event);
        changed_.notify_all();
    }
    std::ptrdiff_t Count(const std::string& event) const {
        const std::lock_guard lock(mutex_);
        return std::count(events_.begin(), events_.end(), event);
    }
    bool WaitFor(const std::string& event, std::ptrdiff_t count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] {
            return std::count(events_.begin(), events_.end(), event) >= count;
        });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;
};

bool SendsAtOnce(SOCKET socket) {
    DWORD value = 0;
    int size = sizeof value;
    return getsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<char*>(&value), &size) ==
               0 &&
           value != 0;
}

class FailingCalls final : public SocketCalls {
public:
    explicit FailingCalls(std::shared_ptr<Events> events) : events_(std::move(events)) {}

    bool StartUp() override {
        if (failing == "start-up" || !SocketCalls::StartUp()) return false;
        events_->Add("started up");
        return true;
    }
    void CleanUp() override {
        events_->Add("cleaned up");
        SocketCalls::CleanUp();
    }
    SOCKET OpenTcp(int family) override {
        if (family == AF_INET6) events_->Add("listening socket");
        return failing == "socket" ? INVALID_SOCKET : SocketCalls::OpenTcp(family);
    }
    int SetOption(SOCKET socket, int level, int name, DWORD value) override {
        const int result = SocketCalls::SetOption(socket, level, name, value);
        return failing == "options" ? SOCKET_ERROR : result;
    }
    int Bind(SOCKET socket, const sockaddr* address, int length) override {
        return failing == "bind" ? SOCKET_ERROR : SocketCalls::Bind(socket, address, length);
    }
    int Listen(SOCKET socket, int backlog) override {
        return failing == "listen" ? SOCKET_ERROR : SocketCalls::Listen(socket, backlog);
    }
    int WaitReadable(SOCKET socket, const timeval& timeout) override {
        events_->Add(timeout.tv_sec == 0 && timeout.tv_usec == 200'000 ? "wait of 200 ms" : "wait");
        if (failing_waits > 0 && failing_waits-- > 0) return SOCKET_ERROR;
        return SocketCalls::WaitReadable(socket, timeout);
    }
    SOCKET Accept(SOCKET listening, sockaddr* peer, int* length) override {
        if (*length != 128) events_->Add("wrong address length");
        if (failing_accepts > 0 && failing_accepts-- > 0) return INVALID_SOCKET;
        const SOCKET accepted = SocketCalls::Accept(listening, peer, length);
        if (accepted != INVALID_SOCKET && SendsAtOnce(accepted)) events_->Add("sends at once");
        return accepted;
    }
    int ConnectOnlyOnce(SOCKET socket) override {
        events_->Add("only once");
        return SocketCalls::ConnectOnlyOnce(socket);
    }
    int Connect(SOCKET socket, const sockaddr* address, int length) override {
        EXPECT_EQ(events_->Count("only once"), events_->Count("wake-up") + 1);
        events_->Add("wake-up");
        return failing == "connect" ? SOCKET_ERROR : SocketCalls::Connect(socket, address, length);
    }

    std::string failing;
    std::atomic<int> failing_waits{0};
    std::atomic<int> failing_accepts{0};

private:
    const std::shared_ptr<Events> events_;
};

class ServerTest : public testing::Test {
protected:
    ~ServerTest() override {
        if (server_) server_->Stop();
        // The list of connections goes with the test.
        EXPECT_TRUE(state_.connections.CutAll(std::chrono::seconds(20)));
    }

    // Answers every byte of a client with the same byte. Outlives the test where it must.
    void Make(int port) {
        server_ = std::make_unique<Server>(
            log_, state_,
            Server::Callbacks{
                [this] {
                    if (tls_needs_memory_) throw std::bad_alloc();
                    return tls_;
                },
                [events = events_](std::shared_ptr<Socket> socket, const sockaddr_storage& peer) {
                    events->Add(NumericHost(peer));
                    events->Add("connection");
                    char byte = 0;
                    while (socket->Receive({&byte, 1}) > 0) socket->Send({&byte, 1});
                    socket.reset();
                    events->Add("connection closed");
                },
                [events = events_] { events->Add("state"); }, start_thread_},
            port, *calls_);
    }
    void Start() {
        const std::ptrdiff_t before = events_->Count("state");
        server_->Start();
        ASSERT_TRUE(events_->WaitFor("state", before + 1));
    }
    // A server whose start failed can be neither stopped nor destroyed; it stays.
    void ExpectFailedStart(const std::wstring& code) {
        Start();
        EXPECT_FALSE(server_->IsRunning());
        EXPECT_EQ(server_->ListeningPort(), 0);
        EXPECT_FALSE(state_.is_running);
        EXPECT_EQ(Messages(log_), std::vector<std::wstring>{
                                      L"ERROR   server failed to start (code " + code + L")"});
        EXPECT_EQ(events_->Count("state"), 1);
        EXPECT_EQ(events_->Count("started up"), events_->Count("cleaned up"));
        const auto before = Clock::now();
        server_->Stop();
        EXPECT_LT(Clock::now() - before, std::chrono::milliseconds(100));
        EXPECT_EQ(events_->Count("wake-up"), 0);
        static std::vector<std::unique_ptr<Server>>* const kept =
            std::make_unique<std::vector<std::unique_ptr<Server>>>().release();
        kept->push_back(std::move(server_));
    }

    const WinsockReference winsock_;
    const int port_ = test::FreePort();
    std::shared_ptr<Events> events_ = std::make_shared<Events>();
    // Connection threads may still use it when the test is over.
    FailingCalls* const calls_ = std::make_unique<FailingCalls>(events_).release();
    bool tls_ = true;
    bool tls_needs_memory_ = false;  // and there is none
    std::function<void(std::function<void()>)> start_thread_ = StartDetached;
    EventLog log_;
    ServerState state_;
    std::unique_ptr<Server> server_;
};

TEST_F(ServerTest, ServesIpv4AndIpv6OnOnePort) {
    Make(port_);
    Start();
    const UniqueSocket ipv4 = ConnectTo(port_, AF_INET);
    ASSERT_TRUE(ipv4);
    const UniqueSocket ipv6 = ConnectTo(port_, AF_INET6);
    ASSERT_TRUE(ipv6);
    ASSERT_TRUE(events_->WaitFor("connection", 2));
    EXPECT_EQ(events_->Count("::ffff:127.0.0.1"), 1);
    EXPECT_EQ(events_->Count("::1"), 1);
    EXPECT_EQ(events_->Count("listening socket"), 1);
    EXPECT_EQ(events_->Count("wrong address length"), 0);
    EXPECT_GE(events_->Count("wait of 200 ms"), 1);
    EXPECT_EQ(events_->Count("wait"), 0);
}

TEST_F(ServerTest, TellsItsStateAndLogsItsLife) {
    Make(port_);
    EXPECT_FALSE(server_->IsRunning());
    EXPECT_EQ(server_->ListeningPort(), 0);
    Start();
    EXPECT_TRUE(server_->IsRunning());
    EXPECT_EQ(server_->ListeningPort(), port_);
    EXPECT_TRUE(state_.is_running);
    server_->Stop();
    EXPECT_FALSE(server_->IsRunning());
    EXPECT_EQ(server_->ListeningPort(), 0);
    EXPECT_EQ(events_->Count("state"), 2);
    EXPECT_EQ(Messages(log_), (std::vector<std::wstring>{
                                  L"SERVER  listening (HTTPS) on port " + std::to_wstring(port_),
                                  L"SERVER  stopping"}));
    EXPECT_FALSE(ConnectTo(port_));
}

TEST_F(ServerTest, StopsWithin300Milliseconds) {
    Make(port_);
    for (int i = 0; i < 5; ++i) {
        Start();
        const auto before = Clock::now();
        server_->Stop();
        EXPECT_LT(Clock::now() - before, std::chrono::milliseconds(300));
    }
}

TEST_F(ServerTest, StopsWithoutTheWakeUpConnectionToo) {
    Make(port_);
    Start();
    calls_->failing = "connect";
    const auto before = Clock::now();
    server_->Stop();
    EXPECT_LT(Clock::now() - before, std::chrono::milliseconds(400));
    EXPECT_FALSE(server_->IsRunning());
}

TEST_F(ServerTest, StopsEvenWhenNoWakeUpSocketCanBeMade) {
    Make(port_);
    Start();
    calls_->failing = "socket";
    server_->Stop();
    EXPECT_FALSE(server_->IsRunning());
    EXPECT_EQ(events_->Count("wake-up"), 0);
}

TEST_F(ServerTest, StoppingWithNoServerRunningDoesNothing) {
    Make(port_);
    server_->Stop();
    EXPECT_TRUE(log_.Snapshot().empty());
    EXPECT_EQ(events_->Count("state"), 0);
    Start();
    server_->Stop();
    server_->Stop();
    EXPECT_EQ(log_.Snapshot().size(), 2u);
}

TEST_F(ServerTest, StartingARunningServerDoesNothing) {
    Make(port_);
    Start();
    server_->Start();
    EXPECT_EQ(events_->Count("listening socket"), 1);
    EXPECT_EQ(log_.Snapshot().size(), 1u);
}

TEST_F(ServerTest, ARestartMakesANewSocketOnTheSamePort) {
    Make(port_);
    Start();
    server_->Stop();
    Start();
    EXPECT_EQ(events_->Count("listening socket"), 2);
    EXPECT_EQ(server_->ListeningPort(), port_);
    const UniqueSocket client = ConnectTo(port_);
    ASSERT_TRUE(client);
    EXPECT_TRUE(SendText(client.Get(), "x"));
    EXPECT_EQ(ReceiveText(client.Get(), 1), "x");
}

TEST_F(ServerTest, AConnectionIsServedThroughStopAndRestart) {
    Make(port_);
    Start();
    const UniqueSocket client = ConnectTo(port_);
    ASSERT_TRUE(SendText(client.Get(), "a"));
    EXPECT_EQ(ReceiveText(client.Get(), 1), "a");
    server_->Stop();
    ASSERT_TRUE(SendText(client.Get(), "b"));
    EXPECT_EQ(ReceiveText(client.Get(), 1), "b");
    Start();
    ASSERT_TRUE(SendText(client.Get(), "c"));
    EXPECT_EQ(ReceiveText(client.Get(), 1), "c");
}

TEST_F(ServerTest, TheLastConnectionGivesWinsockBack) {
    Make(port_);
    Start();
    UniqueSocket first = ConnectTo(port_);
    UniqueSocket second = ConnectTo(port_);
    ASSERT_TRUE(events_->WaitFor("::ffff:127.0.0.1", 2));
    server_->Stop();
    // The wake-up connection may have become one of its own; it ends by itself.
    ASSERT_TRUE(events_->WaitFor("connection closed", events_->Count("connection") - 2));
    first.Reset();
    ASSERT_TRUE(events_->WaitFor("connection closed", events_->Count("connection") - 1));
    EXPECT_EQ(events_->Count("cleaned up"), 0);
    ASSERT_TRUE(SendText(second.Get(), "x"));
    EXPECT_EQ(ReceiveText(second.Get(), 1), "x");
    second.Reset();
    EXPECT_TRUE(events_->WaitFor("cleaned up", 1));
    EXPECT_EQ(events_->Count("started up"), 1);
}

TEST_F(ServerTest, WinsockIsAskedForOnceHoweverManyClientsCome) {
    Make(port_);
    Start();
    for (int i = 0; i < 20; ++i) {
        const UniqueSocket client = ConnectTo(port_);
        ASSERT_TRUE(SendText(client.Get(), "x"));
        EXPECT_EQ(ReceiveText(client.Get(), 1), "x");
    }
    ASSERT_TRUE(events_->WaitFor("connection closed", 20));
    EXPECT_EQ(events_->Count("cleaned up"), 0);
    server_->Stop();
    EXPECT_TRUE(server_->CutConnections());
    EXPECT_EQ(events_->Count("started up"), 1);
    EXPECT_TRUE(events_->WaitFor("cleaned up", 1));
}

TEST_F(ServerTest, TwoHundredConnectionsAtOnce) {
    Make(port_);
    Start();
    std::vector<UniqueSocket> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(ConnectTo(port_));
        ASSERT_TRUE(clients.back()) << i;
    }
    ASSERT_TRUE(events_->WaitFor("connection", 200));
    EXPECT_EQ(events_->Count("connection closed"), 0);
    for (const UniqueSocket& client : clients) EXPECT_TRUE(SendText(client.Get(), "x"));
    for (const UniqueSocket& client : clients) EXPECT_EQ(ReceiveText(client.Get(), 1), "x");
    clients.clear();
    EXPECT_TRUE(events_->WaitFor("connection closed", 200));
}

TEST_F(ServerTest, CuttingEndsTheConnectionsThatAStopLeft) {
    Make(port_);
    Start();
    std::vector<UniqueSocket> clients;
    for (int i = 0; i < 5; ++i) clients.push_back(ConnectTo(port_));
    ASSERT_TRUE(events_->WaitFor("connection", 5));
    server_->Stop();
    // The one that woke the accept loop.
    EXPECT_LE(events_->Count("connection closed"), 1);
    EXPECT_TRUE(server_->CutConnections());
    EXPECT_GE(events_->Count("connection closed"), 5);
    for (const UniqueSocket& client : clients) EXPECT_EQ(ReceiveText(client.Get(), 1), "");
}

TEST_F(ServerTest, APortInUseFailsTheStart) {
    const UniqueSocket occupier(socket(AF_INET6, SOCK_STREAM, IPPROTO_TCP));
    calls_->SocketCalls::SetOption(occupier.Get(), IPPROTO_IPV6, IPV6_V6ONLY, 0);
    calls_->SocketCalls::SetOption(occupier.Get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, 1);
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    any.sin6_port = htons(static_cast<u_short>(port_));
    ASSERT_EQ(bind(occupier.Get(), reinterpret_cast<const sockaddr*>(&any), sizeof any), 0);
    ASSERT_EQ(listen(occupier.Get(), 1), 0);
    Make(port_);
    ExpectFailedStart(L"-3");
}

struct FailingStart {
    const char* call;
    const wchar_t* code;
    int sockets;
};

class FailingStartTest : public ServerTest, public testing::WithParamInterface<FailingStart> {};

TEST_P(FailingStartTest, IsReportedOnceWithItsCode) {
    calls_->failing = GetParam().call;
    Make(port_);
    ExpectFailedStart(GetParam().code);
    EXPECT_EQ(events_->Count("listening socket"), GetParam().sockets);
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingStartTest,
                         testing::Values(FailingStart{"start-up", L"-1", 0},
                                         FailingStart{"socket", L"-2", 1},
                                         FailingStart{"bind", L"-3", 1},
                                         FailingStart{"listen", L"-4", 1}));

TEST_F(ServerTest, WithoutATlsContextThereIsNoSocket) {
    tls_ = false;
    Make(port_);
    ExpectFailedStart(L"-10");
    EXPECT_EQ(events_->Count("listening socket"), 0);
}

TEST_F(ServerTest, AStartThatMemoryIsMissingForFailsAsOthersDo) {
    tls_needs_memory_ = true;
    Make(port_);
    ExpectFailedStart(L"-10");
    EXPECT_EQ(events_->Count("listening socket"), 0);
}

TEST_F(ServerTest, AcceptedConnectionsSendAtOnce) {
    Make(port_);
    Start();
    const UniqueSocket client = ConnectTo(port_);
    ASSERT_TRUE(client);
    EXPECT_TRUE(events_->WaitFor("sends at once", 1));
}

TEST_F(ServerTest, RefusedOptionsDoNotHinderTheStart) {
    calls_->failing = "options";
    Make(port_);
    Start();
    EXPECT_TRUE(server_->IsRunning());
    EXPECT_TRUE(ConnectTo(port_));
}

TEST_F(ServerTest, FailingWaitsAndAcceptsDoNotEndTheLoop) {
    calls_->failing_waits = 3;
    calls_->failing_accepts = 3;
    Make(port_);
    Start();
    const UniqueSocket client = ConnectTo(port_);
    ASSERT_TRUE(SendText(client.Get(), "x"));
    EXPECT_EQ(ReceiveText(client.Get(), 1), "x");
    EXPECT_EQ(calls_->failing_waits, 0);
    EXPECT_EQ(calls_->failing_accepts, 0);
    EXPECT_EQ(log_.Snapshot().size(), 1u);
}

TEST_F(ServerTest, AnotherStartAfterAFailedOneEndsTheProcess) {
    calls_->failing = "bind";
    Make(port_);
    EXPECT_DEATH(
        {
            Start();
            server_->Start();
        },
        "");
}

TEST_F(ServerTest, AConnectionThatGetsNoThreadEndsTheProcess) {
    start_thread_ = [](const std::function<void()>&) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    };
    Make(port_);
    EXPECT_DEATH(
        {
            Start();
            const UniqueSocket client = ConnectTo(port_);
            events_->WaitFor("connection", 1);
        },
        "system_error");
}

}  // namespace
}  // namespace harbinet
