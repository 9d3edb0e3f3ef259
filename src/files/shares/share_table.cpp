#include "files/shares/share_table.h"

#include <span>

#include "app/ascii.h"
#include "app/encoding.h"
#include "files/names.h"

namespace harbinet {
namespace {

constexpr std::size_t kSecretBytes = 32;
constexpr std::size_t kNonceBytes = 16;

}  // namespace

void ShareTable::Reset() {
    secret_ = RandomHexToken(random_, kSecretBytes);
    ClearShareLinks();
}

std::string ShareTable::MakeShareToken(const std::wstring& path, bool is_directory,
                                       std::uint64_t expiry) const {
    std::string input = secret_;
    input += is_directory ? "|D|" : "|F|";
    input += WideToUtf8(path);
    input += '|' + std::to_string(expiry) + '|';
    // The nonce makes two links to one path independent of each other.
    input += RandomHexToken(random_, kNonceBytes);
    const std::string digest = sha256_(input);
    return HexDigits({reinterpret_cast<const std::uint8_t*>(digest.data()), digest.size()});
}

std::string ShareTable::CreateShareLink(std::wstring relative_path, bool is_directory) {
    relative_path = NormalizeRelPath(std::move(relative_path));
    if (relative_path.empty()) return {};  // the web root itself is never shared
    const std::uint64_t expiry = clock_() + kShareSeconds;
    std::string token = MakeShareToken(relative_path, is_directory, expiry);
    if (token.empty()) return {};
    ShareEntry entry{std::move(relative_path), expiry, is_directory};
    links_.With([&](auto& links) { links.insert_or_assign(token, std::move(entry)); });
    return token;
}

std::optional<ShareEntry> ShareTable::LookupShareLink(std::string_view token) {
    const std::uint64_t now = clock_();
    return links_.With([&](auto& links) -> std::optional<ShareEntry> {
        const auto found = links.find(std::string(token));
        if (found == links.end()) return std::nullopt;
        if (found->second.expiry > now) return found->second;
        links.erase(found);
        return std::nullopt;
    });
}

void ShareTable::ClearShareLinks() {
    links_.With([](auto& links) { links.clear(); });
}

}  // namespace harbinet
