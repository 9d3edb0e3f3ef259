// The two PINs and the session table, under one lock (the settings lock). Thread-safe; the lock is
// held only to copy, compare or look up. Sessions live in memory for eight hours from login,
// without renewal.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "app/clock.h"
#include "app/guarded.h"
#include "app/random.h"
#include "http/request.h"

namespace harbinet {

inline constexpr std::uint64_t kSessionSeconds = 28'800;
inline constexpr std::uint64_t kSessionPurgeSeconds = 60;

class Credentials {
public:
    explicit Credentials(RandomSource& random, WallClock clock = WallSeconds)
        : random_(random), clock_(clock) {}

    // A fresh current PIN, and no sessions. Called once, at start-up.
    void Reset();

    // Six ASCII digits, or empty before the first Reset.
    std::string CurrentPin() const;
    std::string MasterPin() const;
    void SetMasterPin(std::string pin);

    // True when `code` is the current PIN or the Master PIN (when one is set). Takes the same time
    // for every wrong code of six digits.
    bool AcceptsPin(std::string_view code) const;

    // A new session's token: 32 lower-case hex digits (64 when eight of those were taken).
    std::string CreateSession();

    // True when the cookie "AUTH" names a session that has not expired.
    bool IsSessionValid(HeaderList headers);

private:
    // Takes the same time for every token of one length.
    struct TokensEqual {
        bool operator()(const std::string& a, const std::string& b) const;
    };
    struct State {
        std::string current_pin;
        std::string master_pin;
        // By token; wall-clock seconds.
        std::unordered_map<std::string, std::uint64_t, std::hash<std::string>, TokensEqual>
            session_expiry;
        std::uint64_t last_purge = 0;  // 0 = none yet
    };
    static void PurgeIfDue(State& state, std::uint64_t now);

    RandomSource& random_;
    const WallClock clock_;
    Guarded<State> state_;
};

// The value of the cookie `name` in a Cookie header, or empty.
std::string_view GetCookieValue(std::string_view cookie_header, std::string_view name);

}  // namespace harbinet
