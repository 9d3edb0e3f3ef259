#include "http/connection_win.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <thread>

#include "net/loopback_win.h"
#include "net/net_fixtures.h"
#include "net/tls_client.h"

namespace harbinet {
namespace {

using test::Messages;
using test::TlsClient;
using Lines = std::vector<std::wstring>;

// A real connection to HandleConnection with one public route, GET /.
class ConnectionTest : public testing::Test {
protected:
    // Serves one connection while `client` runs on a thread of its own.
    void Serve(RequestHandler handler, std::function<void(SOCKET)> client) {
        RouteTable table;
        table.routes.push_back({"GET", PathMatch::kExact, "/", 0, Access::kPublic, handler});
        table.is_session_valid = [](HeaderList) { return false; };
        std::thread client_thread([this, &client] {
            client(pair_.client.Get());
            pair_.client.Reset();
        });
        HandleConnection(pair_.TakeServer(), peer_, identity_.context, table, log_);
        client_thread.join();
    }

    // What a client gets that asks for "/" and reads to the end.
    std::string Reply(RequestHandler handler) {
        std::string reply;
        Serve(std::move(handler), [&reply](SOCKET socket) {
            TlsClient client(test::TransportOver(socket));
            if (!client.Handshake()) return;
            client.Write("GET / HTTP/1.1\r\nHost: x\r\n\r\n");
            reply = client.ReadToEnd();
            EXPECT_TRUE(client.SawCloseNotify());
        });
        return reply;
    }

    test::Identity identity_;
    test::SocketPair pair_;
    sockaddr_storage peer_{};
    EventLog log_;
};

TEST_F(ConnectionTest, OneRequestIsServedAndTheConnectionClosed) {
    auto& ipv6 = reinterpret_cast<sockaddr_in6&>(peer_);
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_addr.s6_addr[10] = ipv6.sin6_addr.s6_addr[11] = 0xFF;
    ipv6.sin6_addr.s6_addr[12] = 10;
    ipv6.sin6_addr.s6_addr[15] = 7;
    std::string client_ip;
    EXPECT_EQ(Reply([&client_ip](Exchange& exchange) {
                  client_ip = exchange.client_ip;
                  exchange.stream.WriteAll("served");
              }),
              "served");
    EXPECT_EQ(client_ip, "10.0.0.7");
    EXPECT_TRUE(log_.Snapshot().empty());
}

TEST_F(ConnectionTest, MissingMemoryEndsTheConnectionWithOneLine) {
    Serve([](Exchange&) { throw std::bad_alloc(); },
          [](SOCKET socket) {
              TlsClient client(test::TransportOver(socket));
              if (!client.Handshake()) return;
              client.Write("GET / HTTP/1.1\r\n\r\n");
              EXPECT_EQ(client.ReadToEnd(), "");
          });
    EXPECT_EQ(Messages(log_), Lines{L"ERROR   connection ended: out of memory"});
}

TEST_F(ConnectionTest, AnyExceptionEndsTheConnectionWithOneLine) {
    Serve([](Exchange&) { throw std::runtime_error("reason"); },
          [](SOCKET socket) {
              TlsClient client(test::TransportOver(socket));
              if (client.Handshake()) client.Write("GET / HTTP/1.1\r\n\r\n");
              client.ReadToEnd();
          });
    EXPECT_EQ(Messages(log_), Lines{L"ERROR   connection ended: reason"});
}

TEST_F(ConnectionTest, WhatIsNoExceptionObjectEndsItToo) {
    Serve([](Exchange&) { throw 7; },
          [](SOCKET socket) {
              TlsClient client(test::TransportOver(socket));
              if (client.Handshake()) client.Write("GET / HTTP/1.1\r\n\r\n");
              client.ReadToEnd();
          });
    EXPECT_EQ(Messages(log_), Lines{L"ERROR   connection ended: unknown error"});
}

TEST_F(ConnectionTest, ABadHandshakeIsLoggedAndAnsweredWithoutHttp) {
    std::string answer;
    Serve([](Exchange&) {},
          [&answer](SOCKET socket) {
              test::SendText(socket, "GET / HTTP/1.1\r\nHost: x\r\n\r\n");
              answer = test::ReceiveText(socket, 1000);
          });
    EXPECT_EQ(answer.find("HTTP"), std::string::npos);
    const Lines messages = Messages(log_);
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_TRUE(messages[0].starts_with(L"TLS: error:"));
    EXPECT_TRUE(messages[0].ends_with(L":http request"));
    EXPECT_EQ(messages[1], L"TLS     handshake failed");
}

TEST_F(ConnectionTest, ADistrustfulBrowserLeavesNothingInTheLog) {
    Serve([](Exchange&) {},
          [](SOCKET socket) {
              TlsClient client(test::TransportOver(socket), {TLS1_3_VERSION, true});
              EXPECT_FALSE(client.Handshake());
          });
    EXPECT_TRUE(log_.Snapshot().empty());
}

TEST_F(ConnectionTest, AClientThatOnlyConnectsLeavesNothingInTheLog) {
    Serve([](Exchange&) {}, [](SOCKET) {});
    EXPECT_TRUE(log_.Snapshot().empty());
}

TEST_F(ConnectionTest, WithoutAContextTheConnectionIsJustClosed) {
    identity_.context.Free();
    std::string answer = "none yet";
    Serve([](Exchange&) {}, [&answer](SOCKET socket) { answer = test::ReceiveText(socket, 1); });
    EXPECT_EQ(answer, "");
    EXPECT_TRUE(log_.Snapshot().empty());
}

}  // namespace
}  // namespace harbinet
