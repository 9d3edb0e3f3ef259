#include "routes.h"

#include <gtest/gtest.h>

#include "support/reply_text.h"
#include "support/site.h"
#include "web/pages.h"

namespace harbinet {
namespace {

class RoutesTest : public testing::Test {
protected:
    // The reply without its date line.
    std::string Reply(const std::string& request_line, const std::string& headers = {}) {
        test::FakeStream stream(request_line + " HTTP/1.1\r\n" + headers + "\r\n");
        return test::WithoutDate(site_.Serve(stream));
    }

    std::string SessionHeader() {
        return "Cookie: AUTH=" + site_.credentials.CreateSession() + "\r\n";
    }

    test::Site site_;
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
    ASSERT_EQ(site_.table.routes.size(), std::size(kRows));
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        SCOPED_TRACE(kRows[i].path);
        EXPECT_EQ(site_.table.routes[i].method, kRows[i].method);
        EXPECT_EQ(site_.table.routes[i].match, kRows[i].match);
        EXPECT_EQ(site_.table.routes[i].path, kRows[i].path);
        EXPECT_EQ(site_.table.routes[i].min_path_length, kRows[i].min_path_length);
        EXPECT_EQ(site_.table.routes[i].access, kRows[i].access);
    }
}

TEST_F(RoutesTest, StatusTellsWhetherTheServerRunsAndItsPort) {
    site_.status = {false, 0};
    EXPECT_EQ(Reply("GET /api/status"),
              "HTTP/1.1 200 OK\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
              "Content-Type: application/json; charset=utf-8\r\nContent-Length: 26\r\n\r\n"
              "{\"running\":false,\"port\":0}");
    site_.status = {true, 8443};
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
    const std::string reply = Reply("GET /auto?pin=305985");
    EXPECT_TRUE(reply.starts_with("HTTP/1.1 200 OK\r\n"));
    EXPECT_NE(reply.find("\r\nSet-Cookie: AUTH="), std::string::npos);
    EXPECT_TRUE(Reply("GET /auto?pin=000000").starts_with("HTTP/1.1 401 Error\r\n"));
}

TEST_F(RoutesTest, ListingReachesTheWebRoot) {
    EXPECT_TRUE(Reply("GET /api/list", SessionHeader()).ends_with(R"({"ok":true,"items":[]})"));
}

}  // namespace
}  // namespace harbinet
