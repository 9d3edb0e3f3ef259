#include "auth/login.h"

#include "app/ascii.h"
#include "app/master_pin.h"
#include "http/json.h"
#include "http/response.h"
#include "net/timeouts.h"

namespace harbinet {
namespace {

constexpr std::string_view kPageTitle = "Harbinet PRO";
constexpr std::string_view kRedirectPage =
    "<!doctype html><html><head><meta charset='utf-8'/>"
    "<meta http-equiv='refresh' content='0; url=/'/></head><body></body></html>";

ExtraHeaders SessionCookie(const std::string& token) {
    return {{"Set-Cookie", "AUTH=" + token +
                               "; Path=/; Max-Age=" + std::to_string(kSessionSeconds) +
                               "; SameSite=Lax; Secure; HttpOnly"}};
}

std::string BanMessage(std::uint64_t seconds) {
    return "Too many attempts. IP blocked for " + std::to_string(seconds) + " seconds.";
}

// The end of the log lines about a ban that begins.
std::wstring BanNotice(const std::wstring& ip) {
    static_assert(kBanSeconds % 60 == 0, "the log tells the ban in minutes");
    return L"failed " + std::to_wstring(kFailuresBeforeBan) + L"x => IP banned " +
           std::to_wstring(kBanSeconds / 60) + L" min: " + ip;
}

std::wstring SecondsRemaining(std::uint64_t seconds) {
    return L" (" + std::to_wstring(seconds) + L"s remaining)";
}

// The member "code" of the body; empty when the body promises more than a login may hold.
std::string ReadCode(Exchange& exchange) {
    HttpRequest& request = exchange.request;
    if (ContentLength(request.headers) > kMaxLoginBodyBytes) return {};
    ReadBody(exchange.stream, request, kMaxLoginBodyBytes, kSmallBodyLimits);
    return JsonGetString(request.body, "code");
}

}  // namespace

void LoginService::Login(Exchange& exchange) {
    // Who asks whether to send the body is told so at once; from others it is taken first.
    if (AsksToContinue(exchange.request) && IsBlocked(exchange.client_ip, clock_())) return;
    const std::string code = ReadCode(exchange);
    const std::wstring ip = WidenAscii(exchange.client_ip);
    const std::uint64_t now = clock_();
    // No reply: a banned browser sees a dropped connection.
    if (IsBlocked(exchange.client_ip, now)) return;
    if (!IsSixDigits(code)) {
        SendJsonError(exchange.stream, 400, JsonError("Code must be 6 digits"));
        return;
    }
    switch (CheckPin(code, exchange.client_ip, now)) {
        case PinCheck::kWrongAndBanned:
            log_.Log(L"AUTH    >>>>>>  ALERT <<<<<<<  " + BanNotice(ip));
            SendJsonError(exchange.stream, 429, JsonError(BanMessage(kBanSeconds)));
            break;
        case PinCheck::kWrong:
            log_.Log(L"AUTH    failed login from " + ip);
            SendJsonError(exchange.stream, 401, JsonError("Wrong code"));
            break;
        case PinCheck::kAccepted:
            const ExtraHeaders cookie = SessionCookie(credentials_.CreateSession());
            log_.Log(L"AUTH    success from " + ip + L" (session issued)");
            SendOkBytes(exchange.stream, kJsonType, JsonOk(), cookie);
            break;
    }
}

void LoginService::AutoLogin(Exchange& exchange) {
    const std::wstring ip = WidenAscii(exchange.client_ip);
    log_.Log(L"AUTH    request FROM " + ip);
    const std::uint64_t now = clock_();
    if (const auto seconds = bans_.IsBanned(exchange.client_ip, now)) {
        log_.Log(L"AUTH    /auto blocked IP " + ip + SecondsRemaining(*seconds));
        SendHtmlError(exchange.stream, 429, BuildErrorPage(kPageTitle, BanMessage(*seconds)));
        return;
    }
    const std::string code = UrlDecode(GetQueryParam(exchange.request.query, "pin"));
    switch (CheckPin(code, exchange.client_ip, now)) {
        case PinCheck::kWrongAndBanned:
            // Spaced unlike the line of Login. That is meant.
            log_.Log(L"AUTH  >>>>>>  ALERT <<<<<<< /auto " + BanNotice(ip));
            SendHtmlError(exchange.stream, 429,
                          BuildErrorPage(kPageTitle, BanMessage(kBanSeconds)));
            break;
        case PinCheck::kWrong:
            log_.Log(L"AUTH    /auto wrong PIN from " + ip);
            SendHtmlError(exchange.stream, 401, BuildErrorPage(kPageTitle, "Invalid PIN."));
            break;
        case PinCheck::kAccepted:
            SendOkBytes(exchange.stream, kHtmlType, kRedirectPage,
                        SessionCookie(credentials_.CreateSession()));
            break;
    }
}

bool LoginService::IsBlocked(const std::string& client_ip, std::uint64_t now) {
    const auto seconds = bans_.IsBanned(client_ip, now);
    if (!seconds) return false;
    log_.Log(L"AUTH    blocked IP " + WidenAscii(client_ip) + SecondsRemaining(*seconds));
    return true;
}

LoginService::PinCheck LoginService::CheckPin(std::string_view code, const std::string& client_ip,
                                              std::uint64_t now) {
    if (credentials_.AcceptsPin(code)) {
        bans_.ClearFailures(client_ip);
        return PinCheck::kAccepted;
    }
    const BanTable::Failure failure = bans_.RecordFailure(client_ip, now);
    return failure.started_ban ? PinCheck::kWrongAndBanned : PinCheck::kWrong;
}

}  // namespace harbinet
