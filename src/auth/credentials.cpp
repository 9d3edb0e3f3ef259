#include "auth/credentials.h"

#include <openssl/crypto.h>

#include <utility>

namespace harbinet {
namespace {

constexpr std::size_t kTokenBytes = 16;
constexpr int kTokenTries = 8;
constexpr std::size_t kLongTokenBytes = 32;

// An empty PIN is none: nothing equals it.
bool EqualsPin(std::string_view code, std::string_view pin) {
    return !pin.empty() && code.size() == pin.size() &&
           CRYPTO_memcmp(code.data(), pin.data(), pin.size()) == 0;
}

}  // namespace

bool Credentials::TokensEqual::operator()(const std::string& a, const std::string& b) const {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

void Credentials::Reset() {
    std::string pin = RandomPin(random_);
    state_.With([&pin](State& state) {
        state.current_pin = std::move(pin);
        state.session_expiry.clear();
        state.last_purge = 0;
    });
}

std::string Credentials::CurrentPin() const {
    return state_.With([](const State& state) { return state.current_pin; });
}

std::string Credentials::MasterPin() const {
    return state_.With([](const State& state) { return state.master_pin; });
}

void Credentials::SetMasterPin(std::string pin) {
    state_.With([&pin](State& state) { state.master_pin = std::move(pin); });
}

bool Credentials::AcceptsPin(std::string_view code) const {
    const auto [current, master] = state_.With(
        [](const State& state) { return std::pair(state.current_pin, state.master_pin); });
    // Both are always compared: the time tells nothing about which one was near.
    const bool is_current = EqualsPin(code, current);
    const bool is_master = EqualsPin(code, master);
    return is_current || is_master;
}

std::string Credentials::CreateSession() {
    const std::uint64_t now = clock_();
    const std::uint64_t expiry = now + kSessionSeconds;
    state_.With([now](State& state) { PurgeIfDue(state, now); });
    for (int i = 0; i < kTokenTries; ++i) {
        std::string token = RandomHexToken(random_, kTokenBytes);
        const bool is_new = state_.With(
            [&](State& state) { return state.session_expiry.try_emplace(token, expiry).second; });
        if (is_new) return token;
    }
    std::string token = RandomHexToken(random_, kLongTokenBytes);
    state_.With([&](State& state) { state.session_expiry.insert_or_assign(token, expiry); });
    return token;
}

bool Credentials::IsSessionValid(HeaderList headers) {
    const std::uint64_t now = clock_();
    state_.With([now](State& state) { PurgeIfDue(state, now); });
    const std::string token(GetCookieValue(GetHeader(headers, "cookie"), "AUTH"));
    if (token.empty()) return false;
    return state_.With([&](const State& state) {
        const auto found = state.session_expiry.find(token);
        return found != state.session_expiry.end() && now < found->second;
    });
}

void Credentials::PurgeIfDue(State& state, std::uint64_t now) {
    if (state.last_purge != 0 && now < state.last_purge + kSessionPurgeSeconds) return;
    std::erase_if(state.session_expiry, [now](const auto& item) { return item.second <= now; });
    state.last_purge = now;
}

std::string_view GetCookieValue(std::string_view cookie_header, std::string_view name) {
    while (true) {
        const std::size_t begin = cookie_header.find_first_not_of(" ;");
        if (begin == std::string_view::npos) return {};
        cookie_header.remove_prefix(begin);
        std::string_view item = cookie_header.substr(0, cookie_header.find(';'));
        cookie_header.remove_prefix(item.size());
        if (!item.starts_with(name)) continue;
        item.remove_prefix(name.size());
        if (item.starts_with('=')) return item.substr(1);
    }
}

}  // namespace harbinet
