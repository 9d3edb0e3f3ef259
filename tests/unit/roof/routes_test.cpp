#include "routes.h"

#include <gtest/gtest.h>

#include "support/fake_file_system.h"
#include "support/fake_random.h"
#include "support/fake_stream.h"
#include "web/pages.h"

namespace harbinet {
namespace {

using test::FakeFileSystem;
using test::FakeRandom;
using test::FakeStream;

LocalTime FixedTime() { return {2026, 1, 5, 9, 7, 3, 42}; }
std::uint64_t FixedSeconds() { return 1'000'000; }
std::string NoDigest(std::string_view) { return {}; }

class RoutesTest : public testing::Test {
protected:
    RoutesTest() {
        random_.queued.push_back({0x40, 0xE2, 0x01, 0x00});  // the PIN 123456
        credentials_.Reset();
    }

    // The reply without its date line.
    std::string Reply(const std::string& request_line, const std::string& headers = {}) {
        FakeStream stream(request_line + " HTTP/1.1\r\n" + headers + "\r\n");
        ServeRequest(stream, "127.0.0.1", table_);
        std::string reply = stream.output;
        const std::size_t date = reply.find("Date: ");
        if (date != std::string::npos) reply.erase(date, reply.find("\r\n", date) + 2 - date);
        return reply;
    }

    std::string SessionHeader() { return "Cookie: AUTH=" + credentials_.CreateSession() + "\r\n"; }

    FakeRandom random_;
    FakeFileSystem files_;
    WebRoot web_root_{L"D:\\Share"};
    EventLog log_{FixedTime};
    ShareTable shares_{random_, NoDigest, FixedSeconds};
    Credentials credentials_{random_, FixedSeconds};
    BanTable bans_;
    LoginService login_{credentials_, bans_, log_, FixedSeconds};
    ServerStatus status_;
    RouteServices services_{
        {{files_, web_root_, log_}, shares_}, login_, credentials_, [this] { return status_; }};
    RouteTable table_ = BuildRoutes(services_);
};

TEST_F(RoutesTest, RowsStandInTheOrderOfTheComparisonsWithTheirAccess) {
    const struct {
        std::string_view method;
        PathMatch match;
        std::string_view path;
        std::size_t min_path_length;
        Access access;
    } kRows[] = {
        {"GET", PathMatch::kPrefix, "/s/", 3, Access::kPublic},
        {"GET", PathMatch::kExact, "/api/status", 0, Access::kPublic},
        {"GET", PathMatch::kExact, "/", 0, Access::kPublic},
        {"POST", PathMatch::kExact, "/api/login", 0, Access::kPublic},
        {"GET", PathMatch::kPrefix, "/d/", 3, Access::kPublic},
        {"POST", PathMatch::kPrefix, "/d/", 4, Access::kPublic},
        {"GET", PathMatch::kExact, "/auto", 0, Access::kPublic},
        {"GET", PathMatch::kExact, "/api/share", 0, Access::kSession},
        {"GET", PathMatch::kExact, "/api/list", 0, Access::kSession},
        {"GET", PathMatch::kExact, "/download", 0, Access::kSession},
        {"POST", PathMatch::kExact, "/upload", 0, Access::kSession},
        {"POST", PathMatch::kExact, "/api/mkdir", 0, Access::kSession},
        {"POST", PathMatch::kExact, "/api/rmdir", 0, Access::kSession},
        {"POST", PathMatch::kExact, "/api/delete", 0, Access::kSession},
        {"POST", PathMatch::kExact, "/api/delete_many", 0, Access::kSession},
        {"POST", PathMatch::kExact, "/api/zip", 0, Access::kSession},
    };
    ASSERT_EQ(table_.routes.size(), std::size(kRows));
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        SCOPED_TRACE(kRows[i].path);
        EXPECT_EQ(table_.routes[i].method, kRows[i].method);
        EXPECT_EQ(table_.routes[i].match, kRows[i].match);
        EXPECT_EQ(table_.routes[i].path, kRows[i].path);
        EXPECT_EQ(table_.routes[i].min_path_length, kRows[i].min_path_length);
        EXPECT_EQ(table_.routes[i].access, kRows[i].access);
    }
}

TEST_F(RoutesTest, StatusTellsWhetherTheServerRunsAndItsPort) {
    EXPECT_EQ(Reply("GET /api/status"),
              "HTTP/1.1 200 OK\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
              "Content-Type: application/json; charset=utf-8\r\nContent-Length: 26\r\n\r\n"
              "{\"running\":false,\"port\":0}");
    status_ = {true, 8443};
    EXPECT_EQ(Reply("GET /api/status"),
              "HTTP/1.1 200 OK\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
              "Content-Type: application/json; charset=utf-8\r\nContent-Length: 28\r\n\r\n"
              "{\"running\":true,\"port\":8443}");
}

TEST_F(RoutesTest, StartPageIsTheLoginPageWithoutASessionAndTheFileManagerWithOne) {
    const std::string without = Reply("GET /?x=1");
    EXPECT_TRUE(without.starts_with("HTTP/1.1 200 OK\r\n"));
    EXPECT_TRUE(without.ends_with(kLoginPage));
    EXPECT_NE(without.find("Content-Type: text/html; charset=utf-8\r\n"), std::string::npos);
    EXPECT_TRUE(Reply("GET /", SessionHeader()).ends_with(kFileManagerPage));
    EXPECT_TRUE(Reply("GET /", "Cookie: AUTH=0123\r\n").ends_with(kLoginPage));
}

TEST_F(RoutesTest, SessionRowsAreRefusedWithoutASessionBeforeTheirHandlerRuns) {
    for (const char* line :
         {"GET /api/share", "GET /api/list", "GET /download", "POST /upload", "POST /api/mkdir",
          "POST /api/rmdir", "POST /api/delete", "POST /api/delete_many", "POST /api/zip",
          "GET /nowhere", "PUT /", "GET /API/LIST", "POST /d/"}) {
        EXPECT_TRUE(Reply(line).starts_with("HTTP/1.1 401 Unauthorized\r\n")) << line;
        EXPECT_TRUE(Reply(line).ends_with("\r\n\r\nUnauthorized")) << line;
    }
}

TEST_F(RoutesTest, UnknownRoutesAreNotFoundWithASession) {
    for (const char* line : {"GET /nowhere", "GET /upload", "POST /", "GET /API/LIST", "POST /d/",
                             "get /", "POST /api/status"}) {
        EXPECT_TRUE(Reply(line, SessionHeader()).starts_with("HTTP/1.1 404 Not Found\r\n")) << line;
    }
}

TEST_F(RoutesTest, EveryMethodOnLoginPassesTheGateAndEndsNotFound) {
    EXPECT_TRUE(Reply("PUT /api/login").starts_with("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_TRUE(Reply("GET /api/login").starts_with("HTTP/1.1 404 Not Found\r\n"));
}

TEST_F(RoutesTest, ShareLinksNeedNoSession) {
    EXPECT_TRUE(Reply("GET /s/short").starts_with("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_TRUE(Reply("GET /d/").starts_with("HTTP/1.1 410 Gone\r\n"));
    EXPECT_TRUE(Reply("POST /d/x/upload").starts_with("HTTP/1.1 410 Gone\r\n"));
}

TEST_F(RoutesTest, AutoLoginTakesTheCurrentPin) {
    const std::string reply = Reply("GET /auto?pin=123456");
    EXPECT_TRUE(reply.starts_with("HTTP/1.1 200 OK\r\n"));
    EXPECT_NE(reply.find("\r\nSet-Cookie: AUTH="), std::string::npos);
    EXPECT_TRUE(Reply("GET /auto?pin=000000").starts_with("HTTP/1.1 401 Error\r\n"));
}

TEST_F(RoutesTest, ListingReachesTheWebRoot) {
    files_.AddFolder(L"D:\\Share");
    EXPECT_TRUE(Reply("GET /api/list", SessionHeader()).ends_with(R"({"ok":true,"items":[]})"));
}

}  // namespace
}  // namespace harbinet
