// The bodies of requests: what is read of them, and what a client is told that asks first.
#include <gtest/gtest.h>

#include <limits>

#include "http/request.h"
#include "net/timeouts.h"
#include "support/fake_stream.h"
#include "support/header_text.h"

namespace harbinet {
namespace {

using namespace std::string_literals;

using test::FakeStream;
using test::HeaderText;

constexpr std::uint64_t kMax64 = std::numeric_limits<std::uint64_t>::max();

TEST(ReadExactTest, GivesTheCountOrWhatArrived) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{SIZE_MAX}}) {
        FakeStream stream("0123456789", piece);
        EXPECT_EQ(ReadExact(stream, 0), "");
        EXPECT_EQ(stream.reads, 0);
        EXPECT_EQ(ReadExact(stream, 4), "0123");
        EXPECT_EQ(stream.Unread(), "456789");
        EXPECT_EQ(ReadExact(stream, 100), "456789");
    }
}

TEST(ReadExactTest, ReadsBodiesLongerThanOnePiece) {
    FakeStream stream(std::string(40'000, 'b') + "tail");
    EXPECT_EQ(ReadExact(stream, 40'000), std::string(40'000, 'b'));
    EXPECT_EQ(stream.Unread(), "tail");
}

TEST(ReadExactTest, ReservesNothingForAnAnnouncedCount) {
    FakeStream stream("short");
    EXPECT_EQ(ReadExact(stream, kMax64), "short");
}

TEST(ContentLengthTest, ReadsTheHeaderAsStrtoullDoes) {
    const struct {
        const char* value;
        std::uint64_t length;
    } kCases[] = {
        {"0", 0},
        {"12", 12},
        {"007", 7},
        {"", 0},
        {"abc", 0},
        {"12abc", 12},
        {"12, 13", 12},
        {" \t12", 12},
        {"+12", 12},
        {"++12", 0},
        {"-1", kMax64},
        {"-12", kMax64 - 11},
        {"0x10", 0},
        {"1e3", 1},
        {"4294967295", 4'294'967'295},
        {"4294967296", 4'294'967'296},
        {"10737418240", 10'737'418'240},
        {"18446744073709551615", kMax64},
        {"18446744073709551616", kMax64},
        {"99999999999999999999999999", kMax64},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(ContentLength(HeaderText{{"content-length", c.value}}), c.length) << c.value;
    }
    EXPECT_EQ(ContentLength(HeaderList()), 0u);
    EXPECT_EQ(ContentLength(HeaderText{{"Content-Length", "5"}}), 5u);
    EXPECT_EQ(ContentLength(HeaderText{{"content-length", "5"}, {"content-length", "6"}}), 5u);
    EXPECT_EQ(ContentLength(HeaderText{{"content-length", "5\0009"s}}), 5u);
}

TEST(ReadBodyTest, AppendsWhatIsStillPromisedUpToTheLimit) {
    const struct {
        const char* content_length;
        std::uint64_t max_bytes;
        const char* body;
        const char* why;
    } kCases[] = {
        {"9", 100, "restmore!", "the difference is read"},
        {"4", 100, "rest", "all of it came with the head"},
        {"2", 100, "rest", "more came with the head than was promised"},
        {"0", 100, "rest", "nothing is promised"},
        {"100", 1000, "restmore!and", "the client stops early"},
        {"12", 9, "restmore!", "the limit stops the reading"},
        {"12", 4, "rest", "the limit is reached already"},
        {"12", 2, "rest", "the limit is passed already"},
        {"-1", 6, "restmo", "a negative length is a huge one"},
        {"x", 100, "rest", "text is no length"},
    };
    for (const auto& c : kCases) {
        FakeStream stream("more!and", 3);
        const HeaderText headers{{"content-length", c.content_length}};
        HttpRequest request;
        request.headers = headers;
        request.body = "rest";
        ReadBody(stream, request, c.max_bytes, kSmallBodyLimits);
        EXPECT_EQ(request.body, c.body) << c.why;
        EXPECT_EQ(stream.body_begun, stream.reads > 0) << c.why;
    }
}

TEST(ReadBodyTest, NothingOfTheHeadIsHeldWhileTheBodyIsAwaited) {
    const std::string head =
        "POST /x HTTP/1.1\r\nContent-Length: 3\r\nA: " + std::string(500'000, 'a') + "\r\n\r\n";
    FakeStream stream(head + "abc");
    std::optional<HttpRequest> request = ReadRequest(stream);
    ASSERT_TRUE(request);
    EXPECT_GT(request->head.capacity(), 500'000U);
    request->body.clear();
    FakeStream rest("abc");
    ReadBody(rest, *request, 100, kSmallBodyLimits);
    EXPECT_EQ(request->body, "abc");
    EXPECT_EQ(request->head.capacity(), 0U);
    EXPECT_EQ(request->path, "");
    EXPECT_EQ(GetHeader(request->headers, "content-length"), "");
}

TEST(ChunkedRequestTest, TheWordCountsAnywhereInTheHeaderInAnyCase) {
    EXPECT_TRUE(IsChunkedRequest(HeaderText{{"transfer-encoding", "chunked"}}));
    EXPECT_TRUE(IsChunkedRequest(HeaderText{{"transfer-encoding", "gzip, ChUnKeD"}}));
    EXPECT_FALSE(IsChunkedRequest(HeaderText{{"transfer-encoding", "identity"}}));
    EXPECT_FALSE(IsChunkedRequest(HeaderText{{"content-encoding", "chunked"}}));
    EXPECT_FALSE(IsChunkedRequest(HeaderList()));
}

TEST(AwaitBodyTest, TellsOnlyWhoAsksToContinueAndWaitsWithItsBody) {
    const struct {
        const char* version;
        HeaderText headers;
        const char* body;
        bool is_told;
        const char* why;
    } kCases[] = {
        {"HTTP/1.1", {{"Expect", "100-continue"}, {"Content-Length", "5"}}, "", true, "asks"},
        {"HTTP/1.1",
         {{"EXPECT", "100-Continue \t"}, {"content-length", "5"}},
         "",
         true,
         "any case"},
        {"HTTP/1.1", {{"Content-Length", "5"}}, "", false, "does not ask"},
        {"HTTP/1.0", {{"Expect", "100-continue"}, {"Content-Length", "5"}}, "", false, "1.0"},
        {"HTTP/1.1",
         {{"Expect", "100-continue"}, {"Content-Length", "5"}},
         "b",
         false,
         "has begun"},
        {"HTTP/1.1", {{"Expect", "100-continue"}, {"Content-Length", "0"}}, "", false, "no body"},
        {"HTTP/1.1", {{"Expect", "100-continue"}}, "", false, "no length"},
        {"HTTP/1.1",
         {{"Expect", "100-continued"}, {"Content-Length", "5"}},
         "",
         false,
         "other word"},
        {"HTTP/1.1", {{"Expect", ""}, {"Content-Length", "5"}}, "", false, "an empty word"},
    };
    for (const auto& c : kCases) {
        FakeStream stream;
        HttpRequest request;
        request.version = c.version;
        request.headers = c.headers;
        request.body = c.body;
        EXPECT_EQ(AsksToContinue(request), c.is_told) << c.why;
        AwaitBody(stream, request, kNamesBodyLimits);
        EXPECT_EQ(stream.output, c.is_told ? "HTTP/1.1 100 Continue\r\n\r\n" : "") << c.why;
        EXPECT_EQ(stream.limits.total, std::chrono::seconds(120)) << c.why;
    }
}

TEST(AwaitBodyTest, TheWordGoesOutBeforeTheBodyIsReadAndOnce) {
    FakeStream stream("hello", 2);
    const HeaderText headers{{"expect", "100-continue"}, {"content-length", "5"}};
    HttpRequest request;
    request.version = "HTTP/1.1";
    request.headers = headers;
    ReadBody(stream, request, 100, kSmallBodyLimits);
    EXPECT_EQ(request.body, "hello");
    EXPECT_EQ(stream.output, "HTTP/1.1 100 Continue\r\n\r\n");
    EXPECT_EQ(stream.reads_at_first_write, 0);
}

}  // namespace
}  // namespace harbinet
