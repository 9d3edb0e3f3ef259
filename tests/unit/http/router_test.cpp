#include "http/router.h"

#include <gtest/gtest.h>

#include "http/response.h"
#include "net/timeouts.h"
#include "support/fake_stream.h"
#include "support/header_text.h"
#include "support/reply_text.h"

namespace harbinet {
namespace {

using namespace std::string_literals;

using test::AllHeaders;
using test::FakeStream;
using test::ReplyText;
using test::WithoutDate;

const std::string kClient = "10.0.0.7";

// A row whose reply is its own name.
HttpRoute Row(std::string_view method, PathMatch match, std::string_view path,
              std::size_t min_path_length, Access access, std::string_view name) {
    return {method, match,
            path,   min_path_length,
            access, [name](Exchange& exchange) {
                SendOkBytes(exchange.stream, kTextType, name); }};
}

// Shaped like the program's own table; the cookie "in" is a session.
RouteTable SmallTable() {
    constexpr auto kExact = PathMatch::kExact;
    constexpr auto kPrefix = PathMatch::kPrefix;
    return {{Row("GET", kPrefix, "/s/", 3, Access::kPublic, "file link"),
             Row("GET", kExact, "/", 0, Access::kPublic, "start"),
             Row("GET", kPrefix, "/d/", 3, Access::kPublic, "folder get"),
             Row("POST", kPrefix, "/d/", 4, Access::kPublic, "folder post"),
             Row("POST", kExact, "/api/login", 0, Access::kPublic, "login"),
             Row("GET", kExact, "/api/list", 0, Access::kSession, "list"),
             Row("POST", kExact, "/api/list", 0, Access::kSession, "posted list"),
             Row("GET", kPrefix, "/api/", 0, Access::kSession, "other api"),
             Row("GET", kExact, "/api/late", 0, Access::kSession, "never reached"),
             Row("GET", kExact, "/public/late", 0, Access::kPublic, "late")},
            {},
            [](HeaderList headers) { return GetHeader(headers, "cookie") == "in"; }};
}

std::string Serve(const std::string& request, const RouteTable& table = SmallTable(),
                  std::size_t bytes_per_read = SIZE_MAX) {
    FakeStream stream(request, bytes_per_read);
    ServeRequest(stream, kClient, table);
    return stream.output.empty() ? "" : WithoutDate(stream.output);
}

std::string Ok(std::string_view body) {
    return ReplyText("200 OK", "text/plain; charset=utf-8", std::to_string(body.size()), body);
}

const std::string kUnauthorized =
    "HTTP/1.1 401 Unauthorized\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
    "Content-Type: text/plain; charset=utf-8\r\nContent-Length: 12\r\n\r\nUnauthorized";
const std::string kNotFound =
    "HTTP/1.1 404 Not Found\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
    "Content-Type: text/plain; charset=utf-8\r\nContent-Length: 9\r\n\r\nNot Found";
const std::string kBadRequest =
    "HTTP/1.1 400 Bad Request\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
    "Content-Type: text/plain; charset=utf-8\r\nContent-Length: 11\r\n\r\nBad Request";

TEST(ServeRequestTest, ServesEachRequestByTheFirstRowThatMatches) {
    const struct {
        const char* request_line;
        std::string without_session;
        std::string with_session;
    } kCases[] = {
        {"GET / HTTP/1.1", Ok("start"), Ok("start")},
        {"GET /?x=1 HTTP/1.1", Ok("start"), Ok("start")},
        {"GET /s/ HTTP/1.1", Ok("file link"), Ok("file link")},
        {"GET /s/a/b?c HTTP/1.1", Ok("file link"), Ok("file link")},
        {"GET /s HTTP/1.1", kUnauthorized, kNotFound},
        {"GET /d/ HTTP/1.1", Ok("folder get"), Ok("folder get")},
        {"POST /d/ HTTP/1.1", kUnauthorized, kNotFound},
        {"POST /d/?long=query HTTP/1.1", kUnauthorized, kNotFound},
        {"POST /d/t HTTP/1.1", Ok("folder post"), Ok("folder post")},
        {"PUT /d/token HTTP/1.1", kUnauthorized, kNotFound},
        {"POST /api/login HTTP/1.1", Ok("login"), Ok("login")},
        {"POST /api/login/ HTTP/1.1", kUnauthorized, kNotFound},
        {"GET /api/list HTTP/1.1", kUnauthorized, Ok("list")},
        {"GET /api/list?path=a HTTP/1.1", kUnauthorized, Ok("list")},
        {"POST /api/list HTTP/1.1", kUnauthorized, Ok("posted list")},
        {"GET /api/other HTTP/1.1", kUnauthorized, Ok("other api")},
        {"GET /api/late HTTP/1.1", kUnauthorized, Ok("other api")},
        {"GET /public/late HTTP/1.1", Ok("late"), Ok("late")},
        {"GET /API/LIST HTTP/1.1", kUnauthorized, kNotFound},
        {"get /api/list HTTP/1.1", kUnauthorized, kNotFound},
        {"GET /api/list%20 HTTP/1.1", kUnauthorized, Ok("other api")},
        {"GET //api/list HTTP/1.1", kUnauthorized, kNotFound},
        {"GET /unknown HTTP/1.1", kUnauthorized, kNotFound},
        {"HEAD / HTTP/1.1", kUnauthorized, kNotFound},
        {"GET ?x HTTP/1.1", kUnauthorized, kNotFound},
        {"GET /api/list anything", kUnauthorized, Ok("list")},
    };
    for (const auto& c : kCases) {
        const std::string line = c.request_line;
        EXPECT_EQ(Serve(line + "\r\n\r\n"), c.without_session) << line;
        EXPECT_EQ(Serve(line + "\r\nCookie: in\r\n\r\n"), c.with_session) << line;
    }
}

TEST(ServeRequestTest, LetsExemptedPathsPassTheGateWithoutASessionWhateverTheMethod) {
    const RouteTable table{
        {Row("GET", PathMatch::kExact, "/open", 0, Access::kSession, "open"),
         Row("GET", PathMatch::kExact, "/closed", 0, Access::kSession, "closed")},
        {"/open", "/nothing"},
        [](HeaderList) { return false; }};
    const struct {
        const char* request_line;
        std::string reply;
    } kCases[] = {
        {"GET /open HTTP/1.1", Ok("open")},       {"GET /open?pin=1 HTTP/1.1", Ok("open")},
        {"POST /open HTTP/1.1", kNotFound},       {"GET /nothing HTTP/1.1", kNotFound},
        {"DELETE /nothing HTTP/1.1", kNotFound},  {"GET /nothing/ HTTP/1.1", kUnauthorized},
        {"GET /Open HTTP/1.1", kUnauthorized},    {"GET /closed HTTP/1.1", kUnauthorized},
        {"GET /unknown HTTP/1.1", kUnauthorized},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(Serve(std::string(c.request_line) + "\r\n\r\n", table), c.reply)
            << c.request_line;
    }
}

TEST(ServeRequestTest, StillHasTheGateWhenNoRowNeedsASession) {
    const RouteTable table{{Row("GET", PathMatch::kExact, "/", 0, Access::kPublic, "start")},
                           {},
                           [](HeaderList headers) { return TakeHeader(headers).has_value(); }};
    EXPECT_EQ(Serve("GET / HTTP/1.1\r\n\r\n", table), Ok("start"));
    EXPECT_EQ(Serve("GET /x HTTP/1.1\r\n\r\n", table), kUnauthorized);
    EXPECT_EQ(Serve("GET /x HTTP/1.1\r\nA: b\r\n\r\n", table), kNotFound);
}

TEST(ServeRequestTest, AsksForTheSessionOnlyAtTheGate) {
    int asked = 0;
    RouteTable table = SmallTable();
    table.is_session_valid = [&asked](HeaderList) { return ++asked > 0; };
    Serve("GET / HTTP/1.1\r\n\r\n", table);
    EXPECT_EQ(asked, 0);
    Serve("GET /api/list HTTP/1.1\r\n\r\n", table);
    EXPECT_EQ(asked, 1);
}

TEST(ServeRequestTest, RefusesARequestLineOfFewerThanThreeWords) {
    for (const char* request :
         {"GET\r\n\r\n", "GET /\r\n\r\n", "\r\n\r\n", "GET /api/list\r\nCookie: in\r\n\r\n"}) {
        EXPECT_EQ(Serve(request), kBadRequest) << request;
    }
}

TEST(ServeRequestTest, IsSilentWhenTheHeadDoesNotEnd) {
    for (const std::string& request :
         {std::string(), std::string("GET / HTTP/1.1\r\n"), std::string("GET\r\n"),
          "GET / HTTP/1.1\r\nX: " + std::string(1'060'000, 'x') + "\r\n\r\n"}) {
        FakeStream stream(request);
        ServeRequest(stream, kClient, SmallTable());
        EXPECT_EQ(stream.writes, 0);
        EXPECT_FALSE(stream.body_begun);
    }
}

TEST(ServeRequestTest, ServesAHeadOfAMebibyte) {
    std::string request = "GET / HTTP/1.1\r\nX: ";
    request.append(1'048'576 - request.size() - 4, 'x');
    EXPECT_EQ(Serve(request + "\r\n\r\n"), Ok("start"));
}

TEST(ServeRequestTest, HandsTheHandlerTheWholeRequestHoweverItIsCut) {
    for (const std::size_t piece :
         {std::size_t{1}, std::size_t{7}, std::size_t{1000}, std::size_t{SIZE_MAX}}) {
        FakeStream stream(
            "POST /p/a%20b?q=1?2 HTTP/1.0\r\nHost: h\r\nContent-Length: 11\r\n\r\nhello worldX",
            piece);
        bool served = false;
        const RouteTable table{{{"POST", PathMatch::kPrefix, "/p/", 3, Access::kPublic,
                                 [&](Exchange& exchange) {
                                     served = true;
                                     EXPECT_EQ(&exchange.stream, &stream);
                                     EXPECT_EQ(exchange.client_ip, "10.0.0.7");
                                     HttpRequest& request = exchange.request;
                                     EXPECT_EQ(request.method, "POST");
                                     EXPECT_EQ(request.target, "/p/a%20b?q=1?2");
                                     EXPECT_EQ(request.version, "HTTP/1.0");
                                     EXPECT_EQ(request.path, "/p/a%20b");
                                     EXPECT_EQ(request.query, "q=1?2");
                                     EXPECT_EQ(AllHeaders(request.headers),
                                               (std::vector<test::HeaderText::Pair>{
                                                   {"host", "h"}, {"content-length", "11"}}));
                                     ReadBody(exchange.stream, request, 1000, kSmallBodyLimits);
                                     EXPECT_EQ(request.body.substr(0, 11), "hello world");
                                 }}},
                               {},
                               [](HeaderList) { return false; }};
        ServeRequest(stream, kClient, table);
        EXPECT_TRUE(served) << piece;
    }
}

TEST(ServeRequestTest, GivesTheSameRepliesForRequestsInPieces) {
    const struct {
        const char* request;
        std::string reply;
    } kCases[] = {
        {"GET / HTTP/1.1\r\nHost: x\r\n\r\n", Ok("start")},
        {"GET /api/list HTTP/1.1\r\nCookie: in\r\n\r\n", Ok("list")},
        {"GET /nothing HTTP/1.1\r\nCookie: in\r\n\r\n", kNotFound},
        {"GET /api/list HTTP/1.1\r\nCookie: out\r\n\r\n", kUnauthorized},
        {"nonsense\r\n\r\n", kBadRequest},
        {"GET / HTTP/1.1\r\n", ""},
    };
    for (const auto& c : kCases) {
        for (const std::size_t piece : {1u, 7u, 1000u}) {
            EXPECT_EQ(Serve(c.request, SmallTable(), piece), c.reply) << c.request << piece;
        }
    }
}

TEST(ServeRequestTest, SurvivesControlBytesAndTenThousandHeaders) {
    std::string request = "GET\0 /\x01\x7F\xFF HTTP\x02/1.1\r\n\0:\0\r\n\x1B\r\n"s;
    for (int i = 0; i < 10'000; ++i) request += "a:\r\n";
    EXPECT_EQ(Serve(request + "\r\n"), kUnauthorized);
    EXPECT_EQ(Serve(request + "Cookie: in\r\n\r\n"), kNotFound);
}

TEST(ServeRequestTest, LetsAHandlersExceptionThrough) {
    const RouteTable table{{{"GET", PathMatch::kExact, "/", 0, Access::kPublic,
                             [](Exchange&) { throw std::bad_alloc(); }}},
                           {},
                           [](HeaderList) { return false; }};
    FakeStream stream("GET / HTTP/1.1\r\n\r\n");
    EXPECT_THROW(ServeRequest(stream, kClient, table), std::bad_alloc);
}

}  // namespace
}  // namespace harbinet
