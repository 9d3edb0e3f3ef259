#include <gtest/gtest.h>

#include "app/ascii.h"
#include "app/random.h"
#include "files/shares/share_table.h"

namespace harbinet {
namespace {

std::string Sha256Hex(std::string_view text) {
    const std::string digest = SystemSha256(text);
    return HexDigits({reinterpret_cast<const std::uint8_t*>(digest.data()), digest.size()});
}

TEST(SystemSha256Test, KnownTextsHaveTheirKnownDigests) {
    EXPECT_EQ(Sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(Sha256Hex(std::string(1'000'000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(SystemSha256Test, AShareTokenHas64LowerCaseHexDigits) {
    ShareTable shares(SystemRandom());
    shares.Reset();
    const std::string token = shares.CreateShareLink(L"docs", true);
    EXPECT_EQ(token.size(), 64U);
    EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_TRUE(shares.LookupShareLink(token).has_value());
}

}  // namespace
}  // namespace harbinet
