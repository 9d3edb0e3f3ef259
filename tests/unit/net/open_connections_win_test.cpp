#include "net/open_connections_win.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "net/loopback_win.h"

namespace harbinet {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::SocketPair;
using Clock = std::chrono::steady_clock;

// Until the threads of a test wait in their calls.
void LetThemWait() { std::this_thread::sleep_for(milliseconds(200)); }

TEST(OpenConnectionsTest, WithNoneNothingIsWaitedFor) {
    OpenConnections connections;
    EXPECT_TRUE(connections.CutAll(milliseconds(0)));
}

TEST(OpenConnectionsTest, AnEndedOneIsNotWaitedFor) {
    OpenConnections connections;
    SocketPair pair;
    { const OpenConnections::Entry entry(connections, pair.TakeServer()); }
    EXPECT_TRUE(connections.CutAll(milliseconds(0)));
}

TEST(OpenConnectionsTest, ThreadsThatWaitForTheirClientsEndAtOnce) {
    OpenConnections connections;
    SocketPair silent;
    SocketPair deaf;
    std::jthread reader([&connections, &silent] {
        const auto socket = silent.TakeServer();
        const OpenConnections::Entry entry(connections, socket);
        char byte = 0;
        EXPECT_LE(socket->Receive({&byte, 1}), 0);
    });
    std::jthread writer([&connections, &deaf] {
        const auto socket = deaf.TakeServer();
        const OpenConnections::Entry entry(connections, socket);
        const std::string much(1'000'000, 'x');
        for (int megabyte = 0; megabyte < 500; ++megabyte) {
            if (socket->Send(much) <= 0) return;
        }
        ADD_FAILURE() << "nobody took these bytes";
    });
    LetThemWait();
    const auto start = Clock::now();
    EXPECT_TRUE(connections.CutAll(seconds(10)));
    EXPECT_LT(Clock::now() - start, seconds(5));
}

TEST(OpenConnectionsTest, ACutConnectionMakesNoFurtherCall) {
    SocketPair pair;
    const auto socket = pair.TakeServer();
    ASSERT_TRUE(test::SendText(pair.client.Get(), "x"));
    socket->Cancel();
    char byte = 0;
    EXPECT_EQ(socket->Receive({&byte, 1}), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSA_OPERATION_ABORTED);
    EXPECT_EQ(socket->Send("x"), SOCKET_ERROR);
    EXPECT_EQ(socket->WaitReadable(milliseconds(0)), SOCKET_ERROR);
    EXPECT_EQ(socket->WaitWritable(milliseconds(0)), SOCKET_ERROR);
}

TEST(OpenConnectionsTest, ABusyThreadIsGivenItsTimeAndNoMore) {
    OpenConnections connections;
    SocketPair pair;
    std::atomic<bool> is_added = false;
    std::atomic<bool> may_end = false;
    std::jthread busy([&] {
        const OpenConnections::Entry entry(connections, pair.TakeServer());
        is_added = true;
        while (!may_end) std::this_thread::sleep_for(milliseconds(1));
    });
    while (!is_added) std::this_thread::sleep_for(milliseconds(1));
    const auto start = Clock::now();
    EXPECT_FALSE(connections.CutAll(milliseconds(50)));
    EXPECT_GE(Clock::now() - start, milliseconds(50));
    may_end = true;
    EXPECT_TRUE(connections.CutAll(seconds(10)));
}

}  // namespace
}  // namespace harbinet
