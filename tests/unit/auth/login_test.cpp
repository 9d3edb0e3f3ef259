#include "auth/login.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/response.h"
#include "support/fake_random.h"
#include "support/fake_stream.h"
#include "support/header_text.h"
#include "support/log_text.h"
#include "support/reply_text.h"
#include "support/test_clock.h"

namespace harbinet {
namespace {

using test::FakeRandom;
using test::FakeStream;
using test::ReplyText;
using test::TestWallSeconds;
using test::WithoutDate;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kNow = 1'767'344'823;
constexpr const char* kToken = "00112233445566778899aabbccddeeff";
constexpr const char* kCookieLine =
    "Set-Cookie: AUTH=00112233445566778899aabbccddeeff; Path=/; Max-Age=28800; SameSite=Lax; "
    "Secure; HttpOnly\r\n";

std::string Json(const char* status, const char* length, const char* body, const char* extra = "") {
    return ReplyText(status, "application/json; charset=utf-8", length, body, extra);
}

const std::string kWrongFormat =
    Json("400 Error", "44", R"({"ok":false,"error":"Code must be 6 digits"})");
const std::string kWrongCode = Json("401 Error", "33", R"({"ok":false,"error":"Wrong code"})");
const std::string kBanStarted = Json(
    "429 Error", "69", R"({"ok":false,"error":"Too many attempts. IP blocked for 120 seconds."})");
const std::string kLoggedIn = Json("200 OK", "11", R"({"ok":true})", kCookieLine);
const std::string kRedirect = ReplyText(
    "200 OK", "text/html; charset=utf-8", "124",
    "<!doctype html><html><head><meta charset='utf-8'/><meta http-equiv='refresh' content='0; "
    "url=/'/></head><body></body></html>",
    kCookieLine);

std::string Card(const char* status, const char* length, const std::string& message) {
    return ReplyText(
        status, "text/html; charset=utf-8", length,
        "<!doctype html><html><head><meta charset='utf-8'/><meta name='viewport' "
        "content='width=device-width, initial-scale=1'/><title>Harbinet PRO</title><style>body{"
        "font-family:Segoe UI,system-ui,sans-serif;padding:22px;background:#fff;color:#111}"
        ".card{max-width:520px;border:1px solid #ddd;border-radius:12px;padding:16px}"
        ".err{color:#b00020;font-weight:600}a{color:#0066cc;text-decoration:none} "
        "a:hover{text-decoration:underline}</style></head><body><div class='card'><h2 "
        "style='margin:0 0 10px 0;'>Harbinet PRO</h2><div class='err'>" +
            message +
            "</div><div style='margin-top:12px;'><a href='/'>Back to login</a></div></div></body>"
            "</html>");
}

// Login and auto-login behind a route table, as in the program: current PIN 123456, Master PIN
// 654321.
class LoginTest : public testing::Test {
protected:
    LoginTest() {
        test::wall_seconds = kNow;
        random_.queued.push_back({0x40, 0xE2, 0x01, 0x00});
        credentials_.Reset();
        credentials_.SetMasterPin("654321");
        QueueToken();
    }

    // So that the same token can be given once more.
    void EndSessions() {
        random_.queued.assign(1, {0x40, 0xE2, 0x01, 0x00});
        credentials_.Reset();
        QueueToken();
    }

    // The next session's token is kToken.
    void QueueToken() {
        random_.queued.assign(1, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA,
                                  0xBB, 0xCC, 0xDD, 0xEE, 0xFF});
    }

    std::string Serve(const std::string& request, const std::string& ip = "10.0.0.7",
                      std::size_t bytes_per_read = SIZE_MAX) {
        FakeStream stream(request, bytes_per_read);
        ServeRequest(stream, ip, table_);
        unread_ = stream.Unread().size();
        return stream.output.empty() ? "" : WithoutDate(stream.output);
    }

    std::string PostBody(const std::string& body, const std::string& ip = "10.0.0.7",
                         std::size_t bytes_per_read = SIZE_MAX) {
        return Serve("POST /api/login HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                         "\r\n\r\n" + body,
                     ip, bytes_per_read);
    }

    std::string Post(const std::string& code, const std::string& ip = "10.0.0.7") {
        return PostBody("{\"code\":\"" + code + "\"}", ip);
    }

    std::string Auto(const std::string& query, const std::string& ip = "10.0.0.7") {
        return Serve("GET /auto" + query + " HTTP/1.1\r\n\r\n", ip);
    }

    // The log without its time stamps, since the last call.
    std::vector<std::wstring> TakeLog() {
        std::vector<std::wstring> messages = test::Messages(log_);
        log_.Clear();
        return messages;
    }

    FakeRandom random_;
    Credentials credentials_{random_, TestWallSeconds};
    BanTable bans_;
    EventLog log_;
    LoginService login_{credentials_, bans_, log_, TestWallSeconds};
    const RouteTable table_{
        {{"POST", PathMatch::kExact, "/api/login", 0, Access::kPublic,
          [this](Exchange& exchange) { login_.Login(exchange); }},
         {"GET", PathMatch::kExact, "/auto", 0, Access::kPublic,
          [this](Exchange& exchange) { login_.AutoLogin(exchange); }},
         {"GET", PathMatch::kExact, "/inside", 0, Access::kSession,
          [](Exchange& exchange) { SendOkBytes(exchange.stream, kTextType, "in"); }}},
        {"/api/login"},
        [this](HeaderList headers) { return credentials_.IsSessionValid(headers); }};
    std::size_t unread_ = 0;
};

TEST_F(LoginTest, RightCodeGivesASessionThatOpensTheGate) {
    const std::string inside = "GET /inside HTTP/1.1\r\nCookie: AUTH=" + std::string(kToken);
    const std::string granted = ReplyText("200 OK", "text/plain; charset=utf-8", "2", "in");
    const std::string refused =
        ReplyText("401 Unauthorized", "text/plain; charset=utf-8", "12", "Unauthorized");
    EXPECT_EQ(Serve(inside + "\r\n\r\n"), refused);
    EXPECT_EQ(Post("123456"), kLoggedIn);
    EXPECT_THAT(TakeLog(), ElementsAre(L"AUTH    success from 10.0.0.7 (session issued)"));
    EXPECT_EQ(Serve(inside + "\r\n\r\n"), granted);
    test::wall_seconds = kNow + 28'799;
    EXPECT_EQ(Serve(inside + "\r\n\r\n"), granted);
    test::wall_seconds = kNow + 28'800;
    EXPECT_EQ(Serve(inside + "\r\n\r\n"), refused);
}

TEST_F(LoginTest, MasterPinLogsInToo) {
    EXPECT_EQ(Post("654321", "fe80::1"), kLoggedIn);
    EXPECT_THAT(TakeLog(), ElementsAre(L"AUTH    success from fe80::1 (session issued)"));
}

TEST_F(LoginTest, CodeThatIsNotSixDigitsIsRefusedWithoutCounting) {
    for (const char* body :
         {"", "{}", R"({"code":123456})", R"({"code":""})", R"({"code":"12345"})",
          R"({"code":"1234567"})", R"({"code":"12345a"})", R"({"code":" 12345"})",
          R"({"code":"12345 "})", R"({"code":"-12345"})", R"({"code":"12\u00346"})",
          R"({"code":"12345/"})", R"({"code":"12345:"})", "123456", "code=123456",
          "{\"code\":\"\xD9\xA1\xD9\xA2\xD9\xA3\"}"}) {
        EXPECT_EQ(PostBody(body), kWrongFormat) << body;
    }
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(Post("000000"), kWrongCode);
    EXPECT_EQ(Post("000000"), kWrongCode);
}

TEST_F(LoginTest, ThirdWrongCodeBansAndTheNextRequestGetsNoReply) {
    EXPECT_EQ(Post("111111"), kWrongCode);
    EXPECT_EQ(Post("222222"), kWrongCode);
    EXPECT_EQ(Post("333333"), kBanStarted);
    EXPECT_THAT(
        TakeLog(),
        ElementsAre(L"AUTH    failed login from 10.0.0.7", L"AUTH    failed login from 10.0.0.7",
                    L"AUTH    >>>>>>  ALERT <<<<<<<  failed 3x => IP banned 2 min: "
                    L"10.0.0.7"));
    EXPECT_EQ(Post("123456"), "");
    test::wall_seconds = kNow + 119;
    EXPECT_EQ(Post("123456"), "");
    EXPECT_THAT(TakeLog(), ElementsAre(L"AUTH    blocked IP 10.0.0.7 (120s remaining)",
                                       L"AUTH    blocked IP 10.0.0.7 (1s remaining)"));
    test::wall_seconds = kNow + 120;
    EXPECT_EQ(Post("123456"), kLoggedIn);
}

TEST_F(LoginTest, BanIsFoundAfterTheBodyAndBeforeTheFormat) {
    for (int i = 0; i < 3; ++i) Post("000000");
    TakeLog();
    for (const char* body : {"", "nonsense", R"({"code":"1"})", R"({"code":"123456"})"}) {
        EXPECT_EQ(PostBody(body), "") << body;
        EXPECT_EQ(unread_, 0u);
    }
    EXPECT_EQ(Serve("POST /api/login HTTP/1.1\r\nContent-Length: 10737418240\r\n\r\n"), "");
    EXPECT_EQ(TakeLog().size(), 5u);
}

TEST_F(LoginTest, OtherAddressesAreNotBanned) {
    for (int i = 0; i < 3; ++i) Post("000000", "10.0.0.7");
    EXPECT_EQ(Post("000000", "10.0.0.8"), kWrongCode);
    EXPECT_EQ(Post("123456", "10.0.0.8"), kLoggedIn);
    EXPECT_EQ(Post("123456", "10.0.0.7"), "");
}

TEST_F(LoginTest, BanRefusesNothingButPinChecks) {
    Post("123456");
    for (int i = 0; i < 3; ++i) Post("000000");
    EXPECT_EQ(Serve("GET /inside HTTP/1.1\r\nCookie: AUTH=" + std::string(kToken) + "\r\n\r\n"),
              ReplyText("200 OK", "text/plain; charset=utf-8", "2", "in"));
    EXPECT_EQ(Serve("GET /x HTTP/1.1\r\n\r\n"),
              ReplyText("401 Unauthorized", "text/plain; charset=utf-8", "12", "Unauthorized"));
}

TEST_F(LoginTest, RightCodeClearsTheCount) {
    Post("000000");
    Post("000000");
    EXPECT_EQ(Post("123456"), kLoggedIn);
    EXPECT_EQ(Post("000000"), kWrongCode);
    EXPECT_EQ(Post("000000"), kWrongCode);
    EXPECT_EQ(Post("000000"), kBanStarted);
}

TEST_F(LoginTest, PausesDecideWhetherTheThirdFailureBans) {
    const struct {
        std::uint64_t pause;
        std::string third;
    } kCases[] = {{600, kBanStarted}, {900, kBanStarted}, {901, kWrongCode}};
    for (const auto& c : kCases) {
        const std::string ip = "10.0.0." + std::to_string(c.pause);
        test::wall_seconds = kNow;
        Post("000000", ip);
        Post("000000", ip);
        test::wall_seconds = kNow + c.pause;
        EXPECT_EQ(Post("000000", ip), c.third) << c.pause;
    }
}

TEST_F(LoginTest, BodyMayHold64KibibytesAndNoMore) {
    const std::string member = R"({"code":"000000"})";
    const struct {
        std::size_t size;
        std::string reply;
        std::size_t unread_at_least;
    } kCases[] = {{65'535, kWrongCode, 0}, {65'536, kWrongCode, 0}, {65'537, kWrongFormat, 60'000}};
    for (const auto& c : kCases) {
        const std::string body = member + std::string(c.size - member.size(), ' ');
        EXPECT_EQ(PostBody(body), c.reply) << c.size;
        EXPECT_GE(unread_, c.unread_at_least) << c.size;
        EXPECT_TRUE(c.unread_at_least > 0 || unread_ == 0) << c.size;
    }
}

TEST_F(LoginTest, ContentLengthDecidesWhatIsRead) {
    const std::string body = R"({"code":"000000"})";
    const struct {
        const char* header;
        std::string reply;
        const char* why;
    } kCases[] = {
        {"Content-Length: 10737418240\r\n", kWrongFormat, "10 GiB"},
        {"Content-Length: -1\r\n", kWrongFormat, "a negative length is a huge one"},
        {"Content-Length: 18446744073709551616\r\n", kWrongFormat, "2^64"},
        {"Content-Length: 60000\r\n", kWrongCode, "the client sends less than promised"},
    };
    int number = 0;
    for (const auto& c : kCases) {
        EXPECT_EQ(Serve("POST /api/login HTTP/1.1\r\n" + std::string(c.header) + "\r\n" + body,
                        "10.1.0." + std::to_string(++number)),
                  c.reply)
            << c.why;
    }
    // What arrived with the head counts whatever the length says; what did not is not waited for.
    for (const char* header : {"", "Content-Length: \r\n", "Content-Length: abc\r\n",
                               "Content-Length: 0\r\n", "Content-Length: 3\r\n"}) {
        const std::string head = "POST /api/login HTTP/1.1\r\n" + std::string(header) + "\r\n";
        const std::string ip = "10.2.0." + std::to_string(++number);
        EXPECT_EQ(Serve(head + body, ip), kWrongCode) << header;
        EXPECT_EQ(Serve(head + body, ip, 1), kWrongFormat) << header;
    }
}

TEST_F(LoginTest, RequestInPiecesGivesTheSameReply) {
    for (const std::size_t piece : {1u, 7u, 1000u}) {
        EndSessions();
        const std::string ip = "10.0.1." + std::to_string(piece);
        EXPECT_EQ(PostBody(R"({"code":"654321"})", ip, piece), kLoggedIn) << piece;
        EXPECT_EQ(PostBody(R"({"code":"000000"})", ip, piece), kWrongCode) << piece;
        EXPECT_EQ(PostBody(R"({"code":"0"})", ip, piece), kWrongFormat) << piece;
    }
}

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

TEST_F(LoginTest, ABodyThatIsAskedForIsToldToComeAndThenAnswered) {
    const std::string head =
        "POST /api/login HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 17\r\n\r\n";
    // Read by itself, so that no body byte comes with it.
    FakeStream stream(head + R"({"code":"123456"})", head.size());
    ServeRequest(stream, "10.0.0.7", table_);
    ASSERT_TRUE(stream.output.starts_with(kContinue)) << stream.output;
    EXPECT_EQ(stream.reads_at_first_write, 1);
    EXPECT_EQ(WithoutDate(stream.output.substr(kContinue.size())), kLoggedIn);
    EXPECT_EQ(stream.limits.total, std::chrono::seconds(30));
}

TEST_F(LoginTest, ABodyThatWouldBeRefusedIsNotAskedFor) {
    const auto ask = [this](const std::string& length) {
        FakeStream stream("POST /api/login HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: " +
                          length + "\r\n\r\n");
        ServeRequest(stream, "10.0.0.7", table_);
        EXPECT_EQ(stream.reads, 1);
        return stream.output.empty() ? "" : WithoutDate(stream.output);
    };
    EXPECT_EQ(ask("65537"), kWrongFormat);
    for (int i = 0; i < 3; ++i) Post("000000");
    TakeLog();
    // A banned client gets no reply at all, at once.
    EXPECT_EQ(ask("17"), "");
    EXPECT_THAT(TakeLog(), ElementsAre(L"AUTH    blocked IP 10.0.0.7 (120s remaining)"));
}

TEST_F(LoginTest, AutoLoginAnswersTheRightPinWithCookieAndRedirect) {
    EXPECT_EQ(Auto("?pin=123456"), kRedirect);
    EXPECT_THAT(TakeLog(), ElementsAre(L"AUTH    request FROM 10.0.0.7"));
    EXPECT_TRUE(
        credentials_.IsSessionValid(test::HeaderText{{"cookie", "AUTH=" + std::string(kToken)}}));
}

TEST_F(LoginTest, AutoLoginDecodesThePin) {
    for (const char* query :
         {"?pin=%31%32%33%34%35%36", "?pin=654321", "?a=b&pin=12345%36&pin=0"}) {
        EndSessions();
        EXPECT_EQ(Auto(query), kRedirect) << query;
    }
}

TEST_F(LoginTest, AutoLoginCountsEveryMismatch) {
    const std::string wrong = Card("401 Error", "630", "Invalid PIN.");
    int number = 0;
    for (const char* query :
         {"", "?", "?pin", "?pin=", "?pin=12345", "?pin=1234567", "?PIN=123456", "?pin=123456+",
          "?pin=+123456", "?pin=%00123456", "?pin=a&pin=123456", "?xpin=123456", "?pin=12345%3"}) {
        const std::string ip = "10.3.0." + std::to_string(++number);
        EXPECT_EQ(Auto(query, ip), wrong) << query;
        EXPECT_EQ(Auto(query, ip), wrong) << query;
        EXPECT_EQ(Auto(query, ip),
                  Card("429 Error", "664", "Too many attempts. IP blocked for 120 seconds."))
            << query;
    }
}

TEST_F(LoginTest, AutoLoginTellsABannedClientTheSecondsLeft) {
    Auto("?pin=0");
    Auto("?pin=0");
    Auto("?pin=0");
    EXPECT_THAT(
        TakeLog(),
        ElementsAre(L"AUTH    request FROM 10.0.0.7", L"AUTH    /auto wrong PIN from 10.0.0.7",
                    L"AUTH    request FROM 10.0.0.7", L"AUTH    /auto wrong PIN from 10.0.0.7",
                    L"AUTH    request FROM 10.0.0.7",
                    L"AUTH  >>>>>>  ALERT <<<<<<< /auto failed 3x => IP banned 2 min: 10.0.0.7"));
    test::wall_seconds = kNow + 113;
    EXPECT_EQ(Auto("?pin=123456"),
              Card("429 Error", "662", "Too many attempts. IP blocked for 7 seconds."));
    EXPECT_THAT(TakeLog(), ElementsAre(L"AUTH    request FROM 10.0.0.7",
                                       L"AUTH    /auto blocked IP 10.0.0.7 (7s remaining)"));
    test::wall_seconds = kNow + 120;
    EXPECT_EQ(Auto("?pin=123456"), kRedirect);
}

TEST_F(LoginTest, BothWaysInShareOneCount) {
    EXPECT_EQ(Post("000000"), kWrongCode);
    Auto("?pin=0");
    EXPECT_EQ(Post("000000"), kBanStarted);
    EXPECT_EQ(Auto("?pin=123456"),
              Card("429 Error", "664", "Too many attempts. IP blocked for 120 seconds."));
    EXPECT_EQ(Post("123456"), "");
}

TEST_F(LoginTest, AutoLoginClearsTheCount) {
    Post("000000");
    Post("000000");
    EXPECT_EQ(Auto("?pin=654321"), kRedirect);
    EXPECT_EQ(Post("000000"), kWrongCode);
}

}  // namespace
}  // namespace harbinet
