#include "net/openssl_errors.h"

#include <openssl/err.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "app/encoding.h"

namespace harbinet {
namespace {

// What a visitor causes without harm; see LogHandshakeErrors.
constexpr std::array<std::string_view, 2> kHarmless = {
    "alert certificate unknown",
    "unexpected eof while reading",
};

std::string NextErrorText() {
    const unsigned long code = ERR_get_error();
    if (code == 0) return {};
    char text[256] = "";
    ERR_error_string_n(code, text, sizeof text);
    return text;
}

void LogErrorText(EventLog& log, std::string_view text) { log.Log(L"TLS: " + AnsiToWide(text)); }

bool IsHarmless(std::string_view text) {
    return std::any_of(kHarmless.begin(), kHarmless.end(), [text](std::string_view part) {
        return text.find(part) != std::string_view::npos;
    });
}

}  // namespace

void LogOpenSslErrors(EventLog& log) {
    for (std::string text = NextErrorText(); !text.empty(); text = NextErrorText()) {
        LogErrorText(log, text);
    }
}

bool LogHandshakeErrors(EventLog& log) {
    bool logged = false;
    for (std::string text = NextErrorText(); !text.empty(); text = NextErrorText()) {
        if (IsHarmless(text)) continue;
        LogErrorText(log, text);
        logged = true;
    }
    return logged;
}

}  // namespace harbinet
