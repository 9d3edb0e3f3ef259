// The two ways in: POST /api/login for the login page, GET /auto for a link or QR code. Both run on
// connection threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "app/clock.h"
#include "app/event_log.h"
#include "auth/ban_table.h"
#include "auth/credentials.h"
#include "http/router.h"

namespace harbinet {

// A login whose body promises more is refused unread.
inline constexpr std::uint64_t kMaxLoginBodyBytes = 65'536;

class LoginService {
public:
    LoginService(Credentials& credentials, BanTable& bans, EventLog& log,
                 WallClock clock = WallSeconds)
        : credentials_(credentials), bans_(bans), log_(log), clock_(clock) {}

    // Answers in JSON. A banned client gets no reply at all.
    void Login(Exchange& exchange);

    // Answers a browser's navigation: every error is an HTML page.
    void AutoLogin(Exchange& exchange);

private:
    enum class PinCheck { kAccepted, kWrong, kWrongAndBanned };

    // True, with its line in the log, while the address is banned.
    bool IsBlocked(const std::string& client_ip, std::uint64_t now);

    // Compares and keeps the address's failure count.
    PinCheck CheckPin(std::string_view code, const std::string& client_ip, std::uint64_t now);

    Credentials& credentials_;
    BanTable& bans_;
    EventLog& log_;
    const WallClock clock_;
};

}  // namespace harbinet
