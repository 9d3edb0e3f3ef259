#include "http/request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_stream.h"
#include "support/header_text.h"

namespace harbinet {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

using test::AllHeaders;
using test::FakeStream;
using test::HeaderText;
using testing::IsEmpty;
using Headers = std::vector<HeaderText::Pair>;

constexpr std::size_t kMebibyte = 1'048'576;

std::string Text(const LargeBuffer& buffer) { return {buffer.data(), buffer.size()}; }

// A head of exactly `size` bytes with its blank line.
std::string HeadOfSize(std::size_t size) {
    std::string head = "GET / HTTP/1.1\r\nX: ";
    head.append(size - head.size() - 4, 'x');
    return head + "\r\n\r\n";
}

TEST(ReadHeadTest, SplitsTheHeadFromWhatCameWithIt) {
    const struct {
        std::string input;
        std::string head;
        std::string rest;
    } kCases[] = {
        {"\r\n\r\n", "\r\n\r\n", ""},
        {"GET / HTTP/1.1\r\n\r\n", "GET / HTTP/1.1\r\n\r\n", ""},
        {"GET / HTTP/1.1\r\nA: b\r\n\r\nbody", "GET / HTTP/1.1\r\nA: b\r\n\r\n", "body"},
        {"x\r\n\r\ny\r\n\r\nz", "x\r\n\r\n", "y\r\n\r\nz"},
        {"\r\r\n\r\n", "\r\r\n\r\n", ""},
        {"\r\n\r\r\n\r\n", "\r\n\r\r\n\r\n", ""},
        {"\n\n\r\n\r\nrest", "\n\n\r\n\r\n", "rest"},
        {"a\0b\r\n\r\n\0"s, "a\0b\r\n\r\n"s, "\0"s},
    };
    for (const auto& c : kCases) {
        FakeStream stream(c.input);
        LargeBuffer head(3, 'o');
        std::string rest = "old";
        EXPECT_TRUE(ReadHead(stream, head, rest)) << c.input;
        EXPECT_EQ(Text(head), c.head);
        EXPECT_EQ(rest, c.rest);
    }
}

TEST(ReadHeadTest, FailsWhenTheClientClosesBeforeTheBlankLine) {
    for (const char* input :
         {"", "G", "\r\n\r", "GET / HTTP/1.1\r\n", "GET / HTTP/1.1\n\n", "GET / HTTP/1.1\r\n\n"}) {
        FakeStream stream(input);
        LargeBuffer head;
        std::string rest;
        EXPECT_FALSE(ReadHead(stream, head, rest)) << input;
    }
}

TEST(ReadHeadTest, AssemblesAHeadThatArrivesInPieces) {
    for (const std::size_t piece : {1u, 2u, 3u, 4u, 5u, 7u, 1000u}) {
        FakeStream stream("POST /x HTTP/1.1\r\nA: b\r\n\r\nrest of it", piece);
        LargeBuffer head;
        std::string rest;
        ASSERT_TRUE(ReadHead(stream, head, rest)) << piece;
        EXPECT_EQ(Text(head), "POST /x HTTP/1.1\r\nA: b\r\n\r\n") << piece;
        EXPECT_EQ(rest + std::string(stream.Unread()), "rest of it") << piece;
    }
}

TEST(ReadHeadTest, ReadsPiecesOf2048BytesAndNoMoreThanItNeeds) {
    const struct {
        std::size_t size;
        int reads;
    } kCases[] = {{2047, 1}, {2048, 1}, {2049, 2}, {2050, 2}, {2051, 2},
                  {2052, 2}, {4096, 2}, {4097, 3}, {8192, 4}, {8193, 5}};
    for (const auto& c : kCases) {
        FakeStream stream(HeadOfSize(c.size) + std::string(5000, 'b'));
        LargeBuffer head;
        std::string rest;
        ASSERT_TRUE(ReadHead(stream, head, rest)) << c.size;
        EXPECT_EQ(head.size(), c.size);
        EXPECT_EQ(stream.reads, c.reads) << c.size;
        EXPECT_EQ(rest.size(), static_cast<std::size_t>(c.reads) * 2048 - c.size);
    }
}

TEST(ReadHeadTest, ChecksTheLimitAfterEachPiece) {
    const struct {
        std::size_t size;
        std::size_t piece;
        bool accepted;
        const char* why;
    } kCases[] = {
        {kMebibyte - 1, 2048, true, "one byte below the limit"},
        {kMebibyte, 2048, true, "exactly the limit"},
        {kMebibyte + 1, 2048, true, "ends in the piece that passes the limit"},
        {kMebibyte + 2048, 2048, true, "the last byte of that piece"},
        {kMebibyte + 2049, 2048, false, "one byte after that piece"},
        {kMebibyte, 1, true, "exactly the limit, byte by byte"},
        {kMebibyte + 1, 1, true, "ends with the byte that passes the limit"},
        {kMebibyte + 2, 1, false, "one byte later"},
        {1'049'000, 1000, true, "the last byte of the 1,049th piece of 1,000, which passes it"},
        {1'049'001, 1000, false, "one byte after that piece"},
    };
    for (const auto& c : kCases) {
        FakeStream stream(HeadOfSize(c.size), c.piece);
        LargeBuffer head;
        std::string rest;
        const bool accepted = ReadHead(stream, head, rest);
        EXPECT_EQ(accepted, c.accepted) << c.why;
        EXPECT_TRUE(!accepted || head.size() == c.size) << c.why;
    }
}

TEST(ReadHeadTest, StopsReadingOnceTheLimitIsPassed) {
    FakeStream stream(std::string(kMebibyte + 10'000, 'x'));
    LargeBuffer head;
    std::string rest;
    EXPECT_FALSE(ReadHead(stream, head, rest));
    EXPECT_EQ(stream.reads, 513);
    EXPECT_EQ(stream.Unread().size(), 10'000u - 2048u);
}

// With a search from the front for each byte these would take hours.
TEST(ReadHeadTest, CostsLinearTimeForAMebibyteOfNearlyBlankLinesByteByByte) {
    for (const std::string_view pattern : {"\r\n\r", "\r", "\n", "\r\n"}) {
        std::string input = "x";
        while (input.size() < kMebibyte - 4) input += pattern == "\r\n" ? "\r\nx" : pattern;
        FakeStream stream(input, 1);
        LargeBuffer head;
        std::string rest;
        EXPECT_FALSE(ReadHead(stream, head, rest));
        EXPECT_TRUE(stream.Unread().empty());
    }
}

TEST(ParseHeadTest, TakesThreeWordsOfTheFirstLine) {
    const struct {
        std::string_view head;
        const char* method;
        const char* target;
        const char* version;
    } kCases[] = {
        {"GET / HTTP/1.1\r\n\r\n", "GET", "/", "HTTP/1.1"},
        {"GET / HTTP/1.1\n\n", "GET", "/", "HTTP/1.1"},
        {"  GET \t /a?b=c\v\fHTTP/1.1   \r\n\r\n", "GET", "/a?b=c", "HTTP/1.1"},
        {"get /A http/9 and more words\r\n\r\n", "get", "/A", "http/9"},
        {"GET / x\r\r\n\r\n", "GET", "/", "x"},
        {"GET\r/\rx\r\n\r\n", "GET", "/", "x"},
        {"GET / HTTP/1.1", "GET", "/", "HTTP/1.1"},
        {"\xFF\x01 \x7F\xC3\xA9 \x80\r\n\r\n", "\xFF\x01", "\x7F\xC3\xA9", "\x80"},
    };
    for (const auto& c : kCases) {
        HttpRequest request;
        EXPECT_TRUE(ParseHead(c.head, request)) << c.head;
        EXPECT_EQ(request.method, c.method);
        EXPECT_EQ(request.target, c.target);
        EXPECT_EQ(request.version, c.version);
    }
}

TEST(ParseHeadTest, FailsWithFewerThanThreeWordsInTheFirstLine) {
    for (const char* head :
         {"", "\r\n\r\n", "\n", "GET\r\n\r\n", "GET /\r\n\r\n", "GET / \t\r\n\r\n", "   \r\n\r\n",
          "\r\nGET / HTTP/1.1\r\n\r\n", "GET /\nHTTP/1.1 x y\r\n\r\n"}) {
        HttpRequest request;
        EXPECT_FALSE(ParseHead(head, request)) << head;
    }
}

TEST(ParseHeadTest, KeepsNulBytesAsPartsOfWordsAndValues) {
    const std::string_view head = "G\0T /\0 H\0\r\nA\0: \0b\r\n\r\n"sv;
    HttpRequest request;
    EXPECT_TRUE(ParseHead(head, request));
    EXPECT_EQ(request.method, "G\0T"s);
    EXPECT_EQ(request.target, "/\0"s);
    EXPECT_EQ(request.version, "H\0"s);
    EXPECT_EQ(AllHeaders(request.headers), (Headers{{"a\0"s, "\0b"s}}));
}

TEST(ParseHeadTest, ReadsHeaderLines) {
    const struct {
        std::string lines;
        Headers headers;
        const char* why;
    } kCases[] = {
        {"\r\n", {}, "no headers"},
        {"X-A:   b \r\n\r\n", {{"x-a", "b "}}, "leading blanks go, the trailing one stays"},
        {"A:\t \tb\t\r\n\r\n", {{"a", "b\t"}}, "leading tabs go, the trailing one stays"},
        {"A:b\r\n\r\n", {{"a", "b"}}, "no blank after the colon"},
        {"A:\r\n\r\n", {{"a", ""}}, "an empty value"},
        {"A:   \t\r\n\r\n", {{"a", ""}}, "a value of blanks"},
        {"A:\vb\r\n\r\n", {{"a", "\vb"}}, "a vertical tab is no blank"},
        {":b\r\n\r\n", {{"", "b"}}, "an empty name"},
        {"A : b\r\n\r\n", {{"a ", "b"}}, "a blank before the colon belongs to the name"},
        {" A: b\r\n\r\n", {{" a", "b"}}, "a leading blank belongs to the name"},
        {"A: b:c\r\n\r\n", {{"a", "b:c"}}, "the first colon counts"},
        {"no colon\r\nA: b\r\n\r\n", {{"a", "b"}}, "a line without colon is skipped"},
        {"A: 1\r\na: 2\r\nA: 3\r\n\r\n", {{"a", "1"}, {"a", "2"}, {"a", "3"}}, "duplicates stay"},
        {"HOST: Ex:1\r\n\r\n", {{"host", "Ex:1"}}, "the name is lowered, the value kept"},
        {"@[`{\xC3\x89: x\r\n\r\n", {{"@[`{\xC3\x89", "x"}}, "only ASCII letters are lowered"},
        {"A: b\nC: d\n\n", {{"a", "b"}, {"c", "d"}}, "lines may end in LF alone"},
        {"A: b\r\r\n\r\n", {{"a", "b\r"}}, "one CR is dropped, no more"},
        {"\r\r\nA: b\r\n\r\n", {{"a", "b"}}, "a line of one CR is not empty"},
        {"A: 1\n\nB: 2\r\n\r\n", {{"a", "1"}}, "an empty line ends the head, also with LF alone"},
        {"A: 1\r\nB: 2", {{"a", "1"}, {"b", "2"}}, "the last line may lack its end"},
        {"A: 1\r\nB", {{"a", "1"}}, "a last line without colon and end"},
    };
    for (const auto& c : kCases) {
        const HeaderText old{{"old", "one"}};
        const std::string head = "GET / HTTP/1.1\r\n" + c.lines;
        HttpRequest request;
        request.headers = old;
        EXPECT_TRUE(ParseHead(head, request)) << c.why;
        EXPECT_EQ(AllHeaders(request.headers), c.headers) << c.why;
    }
}

TEST(ParseHeadTest, ClearsTheHeadersAlsoWhenItFails) {
    const HeaderText old{{"old", "one"}};
    HttpRequest request;
    request.headers = old;
    EXPECT_FALSE(ParseHead("GET\r\nA: b\r\n\r\n", request));
    EXPECT_THAT(AllHeaders(request.headers), IsEmpty());
}

TEST(ParseHeadTest, KeepsTenThousandHeadersInOrder) {
    std::string head = "GET / HTTP/1.1\r\n";
    for (int i = 0; i < 10'000; ++i) {
        head.append("N").append(std::to_string(i)).append(": v\r\n");
    }
    head += "\r\n";
    HttpRequest request;
    ASSERT_TRUE(ParseHead(head, request));
    const Headers headers = AllHeaders(request.headers);
    ASSERT_EQ(headers.size(), 10'000u);
    EXPECT_EQ(headers.front().first, "n0");
    EXPECT_EQ(headers.back().first, "n9999");
}

TEST(SplitTargetTest, CutsAtTheFirstQuestionMark) {
    const struct {
        const char* target;
        const char* path;
        const char* query;
    } kCases[] = {
        {"/", "/", ""},          {"/?", "/", ""}, {"/a?b", "/a", "b"},
        {"/a?b?c", "/a", "b?c"}, {"?b", "", "b"}, {"/%3Fa", "/%3Fa", ""},
        {"/a#b?c", "/a#b", "c"}, {"??", "", "?"}, {"http://h/x?y", "http://h/x", "y"},
    };
    for (const auto& c : kCases) {
        HttpRequest request;
        request.target = c.target;
        request.path = request.query = "old";
        SplitTarget(request);
        EXPECT_EQ(request.path, c.path) << c.target;
        EXPECT_EQ(request.query, c.query) << c.target;
    }
}

TEST(GetHeaderTest, GivesTheFirstValueUnderExactlyThatName) {
    const HeaderText headers{{"A", "1"}, {"b", ""}, {"a", "2"}, {"B", "upper"}, {"ab", "3"}};
    EXPECT_EQ(GetHeader(headers, "a"), "1");
    EXPECT_EQ(GetHeader(headers, "b"), "");
    EXPECT_EQ(GetHeader(headers, "ab"), "3");
    EXPECT_EQ(GetHeader(headers, "A"), "");
    EXPECT_EQ(GetHeader(headers, "c"), "");
    EXPECT_EQ(GetHeader(HeaderList(), "a"), "");
}

TEST(GetQueryParamTest, GivesTheRawValueOfTheFirstItemWithThatName) {
    const struct {
        const char* query;
        const char* name;
        const char* value;
    } kCases[] = {
        {"a=1&ab=2", "ab", "2"},
        {"a=1&ab=2", "a", "1"},
        {"a=1&ab=2", "c", ""},
        {"", "a", ""},
        {"a", "a", ""},
        {"a&a=2", "a", "2"},
        {"a=", "a", ""},
        {"a=&a=2", "a", ""},
        {"a=1&a=2", "a", "1"},
        {"a=b=c", "a", "b=c"},
        {"&&a=1&&", "a", "1"},
        {"A=1", "a", ""},
        {"xa=1", "a", ""},
        {"a=%41+b", "a", "%41+b"},
        {"%61=1", "a", ""},
        {"a =1", "a", ""},
        {"ab=1&a=2", "a", "2"},
        {"b=a=1", "a", ""},
        {"a=1;a=2", "a", "1;a=2"},
        {"=1", "a", ""},
        {"a==", "a", "="},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(GetQueryParam(c.query, c.name), c.value) << c.query << " " << c.name;
    }
}

TEST(UrlDecodeTest, DecodesPlusAndCompleteEscapesAndCopiesTheRest) {
    const struct {
        std::string_view text;
        std::string_view decoded;
    } kCases[] = {
        {"", ""},
        {"abc", "abc"},
        {"a+b", "a b"},
        {"%41%4a%4A", "AJJ"},
        {"%2B%20+", "+  "},
        {"%4G", "%4G"},
        {"%G4", "%G4"},
        {"%4", "%4"},
        {"%", "%"},
        {"a%4", "a%4"},
        {"%%41", "%A"},
        {"%4%41", "%4A"},
        {"%%%", "%%%"},
        {"%2541", "%41"},
        {"%c3%A9", "\xC3\xA9"},
        {"%ff%FF", "\xFF\xFF"},
        {"%fg%Fg%f/%f:%f@%f`", "%fg%Fg%f/%f:%f@%f`"},
        {"%00", "\0"sv},
        {"%0x1", "%0x1"},
        {"% 1%+1", "% 1% 1"},
        {"\xC3\xA9", "\xC3\xA9"},
    };
    for (const auto& c : kCases) EXPECT_EQ(UrlDecode(c.text), c.decoded) << c.text;
}

TEST(ReadRequestTest, GivesOneRequestWithItsViewsOrNothing) {
    FakeStream stream("POST /a?b HTTP/1.1\r\nHost: h\r\n\r\nbody", 5);
    const auto first = ReadRequest(stream);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->path, "/a");
    EXPECT_EQ(first->query, "b");
    EXPECT_EQ(GetHeader(first->headers, "host"), "h");

    FakeStream gone("POST /a?b HTTP/1.1\r\n");
    EXPECT_FALSE(ReadRequest(gone));
    EXPECT_EQ(gone.writes, 0);

    FakeStream malformed("POST\r\n\r\n");
    EXPECT_FALSE(ReadRequest(malformed));
    EXPECT_TRUE(malformed.output.starts_with("HTTP/1.1 400 Bad Request\r\n")) << malformed.output;
}

TEST(ReadRequestTest, AMovedRequestKeepsItsViews) {
    FakeStream stream("GET /a HTTP/1.1\r\nHost: h\r\n\r\n");
    auto request = ReadRequest(stream);
    ASSERT_TRUE(request);
    const HttpRequest moved = std::move(*request);
    request.reset();
    EXPECT_EQ(moved.path, "/a");
    EXPECT_EQ(GetHeader(moved.headers, "host"), "h");
}

// However a head is made, what is held for it is its text: 350,000 lines are no objects.
TEST(ReadRequestTest, HoldsTheTextOfAHeadAndNoMore) {
    std::string head = "POST /api/login HTTP/1.1\r\n";
    while (head.size() < kMebibyte - 10) head += ":\n";
    FakeStream stream(head + "X:\r\n\r\n");
    const auto request = ReadRequest(stream);
    ASSERT_TRUE(request);
    EXPECT_LE(request->head.capacity(), 2 * kMebibyte + 4096);
    EXPECT_EQ(request->body, "");
}

}  // namespace
}  // namespace harbinet
