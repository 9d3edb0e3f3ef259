// Counts wrong PINs per client address. The third one bans the address from PIN checks for
// kBanSeconds; nothing else is refused to it. Thread-safe. Times are whole wall-clock seconds,
// passed in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "app/guarded.h"

namespace harbinet {

inline constexpr std::int32_t kFailuresBeforeBan = 3;
inline constexpr std::uint64_t kBanSeconds = 120;
inline constexpr std::uint64_t kForgetSeconds = 900;

class BanTable {
public:
    struct Failure {
        bool started_ban = false;
        std::uint64_t banned_until = 0;  // 0 while no ban runs
    };

    // The seconds that are left while `ip` is banned, else nothing.
    std::optional<std::uint64_t> IsBanned(std::string_view ip, std::uint64_t now);

    // Counts one wrong PIN. While a ban runs it changes nothing.
    Failure RecordFailure(std::string_view ip, std::uint64_t now);

    // Forgets the address: its PIN was right.
    void ClearFailures(std::string_view ip);

private:
    // FNV-1a, 64 bits, over the bytes of the address.
    struct AddressHash {
        std::size_t operator()(const std::string& ip) const;
    };
    struct Entry {
        std::int32_t failures = 0;
        std::uint64_t banned_until = 0;
        std::uint64_t last_failure = 0;  // 0 = none
    };
    using Table = std::unordered_map<std::string, Entry, AddressHash>;
    static void Purge(Table& table, std::uint64_t now);

    Guarded<Table> entries_;
};

}  // namespace harbinet
