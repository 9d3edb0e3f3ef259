#include "auth/ban_table.h"

namespace harbinet {

std::optional<std::uint64_t> BanTable::IsBanned(std::string_view ip, std::uint64_t now) {
    return entries_.With([&](Table& table) -> std::optional<std::uint64_t> {
        Purge(table, now);
        const auto found = table.find(std::string(ip));
        if (found == table.end() || found->second.banned_until <= now) return std::nullopt;
        return found->second.banned_until - now;
    });
}

BanTable::Failure BanTable::RecordFailure(std::string_view ip, std::uint64_t now) {
    return entries_.With([&](Table& table) -> Failure {
        Purge(table, now);
        Entry& entry = table[std::string(ip)];
        if (entry.banned_until > now) return {false, entry.banned_until};
        entry.last_failure = now;
        if (++entry.failures < kFailuresBeforeBan) return {};
        entry.failures = 0;
        entry.banned_until = now + kBanSeconds;
        return {true, entry.banned_until};
    });
}

void BanTable::ClearFailures(std::string_view ip) {
    entries_.With([&](Table& table) { table.erase(std::string(ip)); });
}

std::size_t BanTable::AddressHash::operator()(const std::string& ip) const {
    std::uint64_t hash = 14'695'981'039'346'656'037U;
    for (const char c : ip) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1'099'511'628'211U;
    }
    return hash;
}

void BanTable::Purge(Table& table, std::uint64_t now) {
    std::erase_if(table, [now](const auto& item) {
        const Entry& entry = item.second;
        // Written as a sum: a clock that was set back makes no entry look old.
        const bool is_recent =
            entry.last_failure != 0 && now <= entry.last_failure + kForgetSeconds;
        return entry.banned_until <= now && !is_recent;
    });
}

}  // namespace harbinet
