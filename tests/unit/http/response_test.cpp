#include "http/response.h"

#include <gtest/gtest.h>

#include "app/clock.h"
#include "support/fake_stream.h"
#include "support/reply_text.h"

namespace harbinet {
namespace {

using namespace std::string_view_literals;

using test::FakeStream;
using test::ReplyText;
using test::WithoutDate;

TEST(HttpDateTest, WritesEveryWeekdayAndMonthInEnglish) {
    const struct {
        std::uint64_t seconds;
        const char* date;
    } kCases[] = {
        {0, "Thu, 01 Jan 1970 00:00:00 GMT"},
        {951825600, "Tue, 29 Feb 2000 12:00:00 GMT"},
        {1709251199, "Thu, 29 Feb 2024 23:59:59 GMT"},
        {1709251200, "Fri, 01 Mar 2024 00:00:00 GMT"},
        {1767344823, "Fri, 02 Jan 2026 09:07:03 GMT"},
        {1774918923, "Tue, 31 Mar 2026 01:02:03 GMT"},
        {1775384430, "Sun, 05 Apr 2026 10:20:30 GMT"},
        {1777852801, "Mon, 04 May 2026 00:00:01 GMT"},
        {1782860400, "Tue, 30 Jun 2026 23:00:00 GMT"},
        {1784091905, "Wed, 15 Jul 2026 05:05:05 GMT"},
        {1788029940, "Sat, 29 Aug 2026 18:59:00 GMT"},
        {1788944949, "Wed, 09 Sep 2026 09:09:09 GMT"},
        {1791627010, "Sat, 10 Oct 2026 10:10:10 GMT"},
        {1795210200, "Fri, 20 Nov 2026 21:30:00 GMT"},
        {1798761599, "Thu, 31 Dec 2026 23:59:59 GMT"},
        {2147483648, "Tue, 19 Jan 2038 03:14:08 GMT"},
        {4107542399, "Sun, 28 Feb 2100 23:59:59 GMT"},
        {4107542400, "Mon, 01 Mar 2100 00:00:00 GMT"},
        {253402300799, "Fri, 31 Dec 9999 23:59:59 GMT"},
    };
    for (const auto& c : kCases) EXPECT_EQ(HttpDate(c.seconds), c.date) << c.seconds;
}

TEST(BuildHeadTest, WritesTheFixedHeadersThenTheExtraOnesThenAnEmptyLine) {
    EXPECT_EQ(WithoutDate(BuildHead(200, "OK", "a/b", 0)),
              "HTTP/1.1 200 OK\r\n"
              "Server: HTTPHarbinet\r\n"
              "Connection: close\r\n"
              "Content-Type: a/b\r\n"
              "Content-Length: 0\r\n"
              "\r\n");
    EXPECT_EQ(WithoutDate(BuildHead(411, "Length Required", kZipType, 18'446'744'073'709'551'615U,
                                    {{"Set-Cookie", "a=b; Path=/"}, {"B", ""}, {"A", "x: y"}})),
              "HTTP/1.1 411 Length Required\r\n"
              "Server: HTTPHarbinet\r\n"
              "Connection: close\r\n"
              "Content-Type: application/zip\r\n"
              "Content-Length: 18446744073709551615\r\n"
              "Set-Cookie: a=b; Path=/\r\n"
              "B: \r\n"
              "A: x: y\r\n"
              "\r\n");
}

TEST(BuildHeadTest, DatesTheReplyWithTheCurrentSecond) {
    const std::uint64_t before = WallSeconds();
    const std::string head = BuildHead(200, "OK", "a/b", 5);
    const std::uint64_t after = WallSeconds();
    const std::string date = head.substr(23, 29);
    EXPECT_EQ(head.substr(15, 8), "\r\nDate: ");
    bool found = false;
    for (std::uint64_t second = before; second <= after; ++second) {
        found |= date == HttpDate(second);
    }
    EXPECT_TRUE(found) << date;
}

TEST(SendResponseTest, WritesHeadAndBodyApart) {
    FakeStream stream;
    SendResponse(stream, 410, "Gone", kTextType, "Link expired or invalid", {{"X", "1"}});
    EXPECT_EQ(stream.writes, 2);
    EXPECT_EQ(WithoutDate(stream.output),
              "HTTP/1.1 410 Gone\r\n"
              "Server: HTTPHarbinet\r\n"
              "Connection: close\r\n"
              "Content-Type: text/plain; charset=utf-8\r\n"
              "Content-Length: 23\r\n"
              "X: 1\r\n"
              "\r\n"
              "Link expired or invalid");
}

TEST(SendResponseTest, WritesNoEmptyBody) {
    FakeStream stream;
    SendResponse(stream, 200, "OK", kBinaryType, "");
    EXPECT_EQ(stream.writes, 1);
    EXPECT_EQ(WithoutDate(stream.output), ReplyText("200 OK", "application/octet-stream", "0", ""));
}

TEST(SendResponseTest, TriesTheBodyAlsoAfterAFailedHead) {
    FakeStream stream;
    stream.fails_after_bytes = 10;
    SendResponse(stream, 200, "OK", kTextType, "body");
    EXPECT_EQ(stream.writes, 2);
    EXPECT_EQ(stream.output, "body");
}

TEST(SendResponseTest, SurvivesAClientThatTakesNothing) {
    FakeStream stream;
    stream.fails_after_bytes = 0;
    SendResponse(stream, 200, "OK", kTextType, "body");
    EXPECT_EQ(stream.writes, 2);
    EXPECT_EQ(stream.output, "");
}

TEST(SendResponseTest, HandsLargeBodiesOverInOneCall) {
    FakeStream stream;
    const std::string body(3'000'000, 'z');
    SendResponse(stream, 200, "OK", kBinaryType, body);
    EXPECT_EQ(stream.writes, 2);
    EXPECT_EQ(WithoutDate(stream.output),
              ReplyText("200 OK", "application/octet-stream", "3000000", body));
}

TEST(SendOkBytesTest, Is200OkWithEveryByte) {
    FakeStream stream;
    SendOkBytes(stream, kHtmlType, "a\0\xFF"sv, {{"A", "b"}});
    EXPECT_EQ(WithoutDate(stream.output),
              ReplyText("200 OK", "text/html; charset=utf-8", "3", "a\0\xFF"sv, "A: b\r\n"));
}

TEST(SendJsonErrorTest, HasTheReasonOkOnlyFor200) {
    const struct {
        int status;
        const char* status_text;
    } kCases[] = {{200, "200 OK"},    {201, "201 Error"}, {400, "400 Error"},
                  {404, "404 Error"}, {429, "429 Error"}, {500, "500 Error"}};
    for (const auto& c : kCases) {
        FakeStream stream;
        SendJsonError(stream, c.status, "{}");
        EXPECT_EQ(WithoutDate(stream.output),
                  ReplyText(c.status_text, "application/json; charset=utf-8", "2", "{}"));
    }
}

TEST(SendHtmlErrorTest, AlwaysHasTheReasonError) {
    for (const int status : {200, 401, 429}) {
        FakeStream stream;
        SendHtmlError(stream, status, "<p>");
        EXPECT_EQ(WithoutDate(stream.output), ReplyText(std::to_string(status) + " Error",
                                                        "text/html; charset=utf-8", "3", "<p>"));
    }
}

TEST(SendPlainErrorTest, RepeatsTheReasonAsBody) {
    FakeStream stream;
    SendPlainError(stream, 404, "Not Found");
    EXPECT_EQ(WithoutDate(stream.output),
              ReplyText("404 Not Found", "text/plain; charset=utf-8", "9", "Not Found"));
}

TEST(BuildErrorPageTest, IsTheCardPageWithTitleTwiceAndMessageUnescaped) {
    EXPECT_EQ(BuildErrorPage("T&T", "<b>no</b>"),
              "<!doctype html><html><head><meta charset='utf-8'/><meta name='viewport' "
              "content='width=device-width, initial-scale=1'/><title>T&T</title><style>body{"
              "font-family:Segoe UI,system-ui,sans-serif;padding:22px;background:#fff;color:#111}"
              ".card{max-width:520px;border:1px solid #ddd;border-radius:12px;padding:16px}"
              ".err{color:#b00020;font-weight:600}a{color:#0066cc;text-decoration:none} "
              "a:hover{text-decoration:underline}</style></head><body><div class='card'><h2 "
              "style='margin:0 0 10px 0;'>T&T</h2><div class='err'><b>no</b></div><div "
              "style='margin-top:12px;'><a href='/'>Back to login</a></div></div></body></html>");
}

}  // namespace
}  // namespace harbinet
