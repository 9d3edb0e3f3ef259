#include "files/request_fields.h"

#include <gtest/gtest.h>

#include "net/timeouts.h"
#include "support/fake_stream.h"
#include "support/header_text.h"

namespace harbinet {
namespace {

using test::FakeStream;

std::string BodyAfter(FakeStream& stream, const std::string& length, std::string buffered,
                      std::uint64_t max_bytes = kMaxJsonBodyBytes) {
    HttpRequest request;
    const test::HeaderText headers{{"content-length", length}};
    request.headers = headers;
    request.body = std::move(buffered);
    const std::string client_ip;
    Exchange exchange{stream, request, client_ip};
    ReadJsonBody(exchange, max_bytes, kSmallBodyLimits);
    return request.body;
}

TEST(RequestFieldsTest, ABodyIsCompletedToItsLength) {
    FakeStream stream("23456", 1);
    EXPECT_EQ(BodyAfter(stream, "4", "1"), "1234");
    EXPECT_EQ(stream.Unread(), "56");
    EXPECT_EQ(BodyAfter(stream, "2", "abc"), "abc");
}

TEST(RequestFieldsTest, ABodyThatWasCutOffForBeingSlowIsNotUsed) {
    FakeStream slow(R"("name":"report.txt)");
    slow.is_slow = true;
    EXPECT_EQ(BodyAfter(slow, "100", "{"), "");
    FakeStream whole(R"("name":"a"})");
    whole.is_slow = true;
    EXPECT_EQ(BodyAfter(whole, "12", "{"), R"({"name":"a"})");
    // The end of the connection is no reason: nobody would read another reply.
    FakeStream gone(R"("name":"report.txt)");
    EXPECT_EQ(BodyAfter(gone, "100", "{"), R"({"name":"report.txt)");
}

TEST(RequestFieldsTest, ABodyThatIsTooLongIsNeitherReadNorUsed) {
    for (const char* length : {"67108865", "10737418240", "18446744073709551615", "-1"}) {
        FakeStream stream(R"("name":"b"})");
        EXPECT_EQ(BodyAfter(stream, length, R"({"name":"a",)"), "") << length;
        EXPECT_EQ(stream.reads, 0) << length;
    }
    FakeStream stream("b");
    EXPECT_EQ(BodyAfter(stream, "67108864", "a"), "ab");
    FakeStream entry("cd");
    EXPECT_EQ(BodyAfter(entry, "65537", "ab", kMaxEntryBodyBytes), "");
    EXPECT_EQ(BodyAfter(entry, "65536", "ab", kMaxEntryBodyBytes), "abcd");
}

TEST(RequestFieldsTest, QueryParametersAreDecodedAndConverted) {
    HttpRequest request;
    request.query = "path=a+%C3%BC%2f&x=%FF";
    EXPECT_EQ(WideQueryParam(request, "path"), L"a \u00FC/");
    EXPECT_EQ(WideQueryParam(request, "x"), L"\uFFFD");
    EXPECT_EQ(WideQueryParam(request, "none"), L"");
}

}  // namespace
}  // namespace harbinet
