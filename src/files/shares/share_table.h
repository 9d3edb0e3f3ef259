// The share links that are alive: token to path, for 24 hours, in memory. Thread-safe; one lock
// guards the table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "app/clock.h"
#include "app/guarded.h"
#include "app/random.h"

namespace harbinet {

inline constexpr std::uint64_t kShareSeconds = 86'400;

struct ShareEntry {
    std::wstring relative_path;  // below the web root, as NormalizeRelPath gives it; never empty
    std::uint64_t expiry = 0;    // wall-clock seconds
    bool is_directory = false;
};

// The SHA-256 digest of `text`, 32 bytes; empty when the system refuses.
using Sha256Function = std::string (*)(std::string_view text);

// Over the system's cryptography (CNG).
std::string SystemSha256(std::string_view text);

class ShareTable {
public:
    explicit ShareTable(RandomSource& random, Sha256Function sha256 = SystemSha256,
                        WallClock clock = WallSeconds)
        : random_(random), sha256_(sha256), clock_(clock) {}

    // Makes a new secret (64 hex digits) and empties the table. Called once, at start-up, before
    // any other thread exists.
    void Reset();

    // A token of 64 lower-case hex digits, or empty: for the web root itself, and when no digest
    // can be made.
    std::string CreateShareLink(std::wstring relative_path, bool is_directory);

    // The entry while it has not expired. An expired one is forgotten.
    std::optional<ShareEntry> LookupShareLink(std::string_view token);

    void ClearShareLinks();

private:
    std::string MakeShareToken(const std::wstring& path, bool is_directory,
                               std::uint64_t expiry) const;

    RandomSource& random_;
    const Sha256Function sha256_;
    const WallClock clock_;
    std::string secret_;  // constant after Reset
    Guarded<std::unordered_map<std::string, ShareEntry>> links_;
};

}  // namespace harbinet
