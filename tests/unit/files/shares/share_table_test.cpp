#include "files/shares/share_table.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/fake_random.h"
#include "support/test_clock.h"

namespace harbinet {
namespace {

using test::FakeRandom;
using test::TestWallSeconds;
using test::wall_seconds;

// For one thread: what was hashed last.
std::string last_hashed;
std::string RecordingSha256(std::string_view text) {
    last_hashed = text;
    return std::string("\x00\x0F\xF0\xFF", 4) + std::string(28, '\x5A');
}
std::string NoSha256(std::string_view) { return {}; }

// Distinct digests for distinct nonces, which end the text.
std::string TailSha256(std::string_view text) { return std::string(text.substr(text.size() - 32)); }

class ShareTableTest : public ::testing::Test {
protected:
    ShareTableTest() { wall_seconds = 1'767'000'000; }
    FakeRandom random;
};

TEST_F(ShareTableTest, TheTokenIsTheDigestOfTheWholeInput) {
    random.queued = {std::vector<std::uint8_t>(32, 0xA1), std::vector<std::uint8_t>(16, 0x0B)};
    ShareTable shares(random, RecordingSha256, TestWallSeconds);
    shares.Reset();
    EXPECT_EQ(shares.CreateShareLink(L"\\docs\\\u00FC", true),
              "000ff0ff5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a");
    EXPECT_EQ(last_hashed,
              "a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1"
              "|D|docs/\xC3\xBC|1767086400|0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b0b");
    shares.CreateShareLink(L"a|b", false);
    EXPECT_EQ(last_hashed,
              "a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1"
              "|F|a|b|1767086400|0102030405060708090a0b0c0d0e0f10");
}

TEST_F(ShareTableTest, SharingAPathTwiceGivesTwoIndependentLinks) {
    ShareTable shares(random, TailSha256, TestWallSeconds);
    const std::string first = shares.CreateShareLink(L"a", false);
    wall_seconds += 10;
    const std::string second = shares.CreateShareLink(L"a", false);
    EXPECT_EQ(first.size(), 64U);
    EXPECT_NE(first, second);
    wall_seconds += 86'390;
    EXPECT_EQ(shares.LookupShareLink(first), std::nullopt);
    EXPECT_TRUE(shares.LookupShareLink(second).has_value());
}

TEST_F(ShareTableTest, AnEntryHoldsTheNormalisedPathItsKindAndItsExpiry) {
    ShareTable shares(random, TailSha256, TestWallSeconds);
    const auto entry = shares.LookupShareLink(shares.CreateShareLink(L"\\\\docs\\a", true));
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->relative_path, L"docs/a");
    EXPECT_TRUE(entry->is_directory);
    EXPECT_EQ(entry->expiry, 1'767'086'400U);
    const auto file = shares.LookupShareLink(shares.CreateShareLink(L"b", false));
    ASSERT_TRUE(file.has_value());
    EXPECT_FALSE(file->is_directory);
}

TEST_F(ShareTableTest, ALinkLivesForADayToTheSecondAndIsThenForgotten) {
    ShareTable shares(random, TailSha256, TestWallSeconds);
    const std::string token = shares.CreateShareLink(L"a", false);
    wall_seconds += 86'399;
    EXPECT_TRUE(shares.LookupShareLink(token).has_value());
    wall_seconds += 1;
    EXPECT_EQ(shares.LookupShareLink(token), std::nullopt);
    wall_seconds -= 1;
    EXPECT_EQ(shares.LookupShareLink(token), std::nullopt);
}

TEST_F(ShareTableTest, TheWebRootIsNeverShared) {
    ShareTable shares(random, TailSha256, TestWallSeconds);
    for (const wchar_t* path : {L"", L"/", L"\\", L"\\/\\"}) {
        EXPECT_EQ(shares.CreateShareLink(path, true), "");
    }
}

TEST_F(ShareTableTest, WithoutADigestThereIsNoLink) {
    ShareTable shares(random, NoSha256, TestWallSeconds);
    EXPECT_EQ(shares.CreateShareLink(L"a", false), "");
    EXPECT_EQ(shares.LookupShareLink(""), std::nullopt);
}

TEST_F(ShareTableTest, UnknownTokensAreNotFound) {
    ShareTable shares(random, TailSha256, TestWallSeconds);
    std::string token = shares.CreateShareLink(L"a", false);
    EXPECT_EQ(shares.LookupShareLink(""), std::nullopt);
    EXPECT_EQ(shares.LookupShareLink(token.substr(1)), std::nullopt);
    token[0] = 'x';
    EXPECT_EQ(shares.LookupShareLink(token), std::nullopt);
}

TEST_F(ShareTableTest, ClearingAndResettingForgetEveryLink) {
    ShareTable shares(random, TailSha256, TestWallSeconds);
    const std::string first = shares.CreateShareLink(L"a", false);
    shares.ClearShareLinks();
    EXPECT_EQ(shares.LookupShareLink(first), std::nullopt);
    const std::string second = shares.CreateShareLink(L"a", false);
    shares.Reset();
    EXPECT_EQ(shares.LookupShareLink(second), std::nullopt);
}

// Every thread may draw at the same time.
class SharedRandom final : public RandomSource {
public:
    bool Fill(std::span<std::uint8_t> bytes) override {
        std::uint32_t value = next_++;
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(value);
            value >>= 8;
        }
        return true;
    }
    std::uint32_t TickCount() override { return 0; }

private:
    std::atomic<std::uint32_t> next_{1};
};

TEST_F(ShareTableTest, EightThreadsMakeLookUpAndClearAtTheSameTime) {
    SharedRandom source;
    ShareTable shares(source, TailSha256, TestWallSeconds);
    std::atomic<int> found{0};
    std::atomic<int> wrong{0};
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                const std::wstring path = L"p" + std::to_wstring(t);
                for (int i = 0; i < 2'000; ++i) {
                    const std::string token = shares.CreateShareLink(path, t % 2 == 0);
                    const auto entry = shares.LookupShareLink(token);
                    if (entry) ++found;
                    if (entry &&
                        (entry->relative_path != path || entry->is_directory != (t % 2 == 0))) {
                        ++wrong;
                    }
                    if (i % 500 == 0) shares.ClearShareLinks();
                }
            });
        }
    }
    EXPECT_EQ(wrong, 0);
    // Only a clear between the two calls can hide a link: 32 of 16,000 times at most.
    EXPECT_GE(found, 16'000 - 32 * 8);
}

}  // namespace
}  // namespace harbinet
