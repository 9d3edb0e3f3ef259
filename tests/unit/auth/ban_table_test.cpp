#include "auth/ban_table.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace harbinet {
namespace {

constexpr std::uint64_t kNow = 1'767'344'823;

void Fail(BanTable& bans, std::string_view ip, std::uint64_t now, int times) {
    for (int i = 0; i < times; ++i) bans.RecordFailure(ip, now);
}

void ExpectNoBan(const BanTable::Failure& failure) {
    EXPECT_FALSE(failure.started_ban);
    EXPECT_EQ(failure.banned_until, 0u);
}

TEST(BanTableTest, ThirdFailureBansForTwoMinutes) {
    BanTable bans;
    EXPECT_EQ(bans.IsBanned("10.0.0.7", kNow), std::nullopt);
    ExpectNoBan(bans.RecordFailure("10.0.0.7", kNow));
    ExpectNoBan(bans.RecordFailure("10.0.0.7", kNow + 1));
    EXPECT_EQ(bans.IsBanned("10.0.0.7", kNow + 1), std::nullopt);
    const BanTable::Failure third = bans.RecordFailure("10.0.0.7", kNow + 2);
    EXPECT_TRUE(third.started_ban);
    EXPECT_EQ(third.banned_until, kNow + 122);
}

TEST(BanTableTest, CountsTheRemainingSecondsDown) {
    BanTable bans;
    Fail(bans, "a", kNow, 3);
    EXPECT_EQ(bans.IsBanned("a", kNow), 120u);
    EXPECT_EQ(bans.IsBanned("a", kNow + 1), 119u);
    EXPECT_EQ(bans.IsBanned("a", kNow + 119), 1u);
    EXPECT_EQ(bans.IsBanned("a", kNow + 120), std::nullopt);
    EXPECT_EQ(bans.IsBanned("a", kNow + 121), std::nullopt);
}

TEST(BanTableTest, FailureDuringABanChangesNothing) {
    BanTable bans;
    Fail(bans, "a", kNow, 3);
    for (const std::uint64_t second : {0u, 1u, 119u}) {
        const BanTable::Failure failure = bans.RecordFailure("a", kNow + second);
        EXPECT_FALSE(failure.started_ban);
        EXPECT_EQ(failure.banned_until, kNow + 120);
    }
    EXPECT_EQ(bans.IsBanned("a", kNow + 120), std::nullopt);
    // Those three failures were not counted either.
    ExpectNoBan(bans.RecordFailure("a", kNow + 120));
    ExpectNoBan(bans.RecordFailure("a", kNow + 120));
    EXPECT_TRUE(bans.RecordFailure("a", kNow + 120).started_ban);
}

TEST(BanTableTest, CountsFromZeroAfterABan) {
    BanTable bans;
    Fail(bans, "a", kNow, 3);
    ExpectNoBan(bans.RecordFailure("a", kNow + 120));
    ExpectNoBan(bans.RecordFailure("a", kNow + 121));
    EXPECT_EQ(bans.IsBanned("a", kNow + 121), std::nullopt);
    const BanTable::Failure third = bans.RecordFailure("a", kNow + 122);
    EXPECT_TRUE(third.started_ban);
    EXPECT_EQ(third.banned_until, kNow + 242);
}

TEST(BanTableTest, KeepsTheCountFor900SecondsAndForgetsItAt901) {
    const struct {
        std::uint64_t pause;
        bool third_bans;
    } kCases[] = {{0, true}, {600, true}, {899, true}, {900, true}, {901, false}, {902, false}};
    for (const auto& c : kCases) {
        BanTable bans;
        Fail(bans, "a", kNow, 2);
        EXPECT_EQ(bans.RecordFailure("a", kNow + c.pause).started_ban, c.third_bans) << c.pause;
    }
}

TEST(BanTableTest, MeasuresThePauseFromTheLastFailure) {
    BanTable bans;
    bans.RecordFailure("a", kNow);
    bans.RecordFailure("a", kNow + 900);
    EXPECT_TRUE(bans.RecordFailure("a", kNow + 1800).started_ban);
}

TEST(BanTableTest, AskingForgetsOldCountsToo) {
    BanTable bans;
    Fail(bans, "a", kNow, 2);
    EXPECT_EQ(bans.IsBanned("b", kNow + 901), std::nullopt);
    // With the clock set back the old failures would still count, had they not been forgotten.
    ExpectNoBan(bans.RecordFailure("a", kNow + 1));
}

TEST(BanTableTest, AskingWithin900SecondsKeepsTheCount) {
    BanTable bans;
    Fail(bans, "a", kNow, 2);
    EXPECT_EQ(bans.IsBanned("b", kNow + 900), std::nullopt);
    EXPECT_TRUE(bans.RecordFailure("a", kNow + 900).started_ban);
}

TEST(BanTableTest, ClockSetBackKeepsCountsAndBans) {
    BanTable bans;
    Fail(bans, "a", kNow, 2);
    EXPECT_EQ(bans.IsBanned("a", kNow - 5000), std::nullopt);
    EXPECT_TRUE(bans.RecordFailure("a", kNow - 5000).started_ban);
    EXPECT_EQ(bans.IsBanned("a", kNow - 6000), 1120u);
}

TEST(BanTableTest, FailureAtSecondZeroIsForgottenAtOnce) {
    BanTable bans;
    for (int i = 0; i < 5; ++i) ExpectNoBan(bans.RecordFailure("a", 0));
}

TEST(BanTableTest, RightPinRemovesTheEntry) {
    BanTable bans;
    Fail(bans, "a", kNow, 2);
    bans.ClearFailures("a");
    ExpectNoBan(bans.RecordFailure("a", kNow));
    ExpectNoBan(bans.RecordFailure("a", kNow));
    EXPECT_TRUE(bans.RecordFailure("a", kNow).started_ban);
    bans.ClearFailures("a");
    EXPECT_EQ(bans.IsBanned("a", kNow), std::nullopt);
    bans.ClearFailures("never seen");
}

TEST(BanTableTest, CountsEachAddressByItself) {
    BanTable bans;
    Fail(bans, "10.0.0.1", kNow, 3);
    Fail(bans, "10.0.0.10", kNow, 2);
    EXPECT_EQ(bans.IsBanned("10.0.0.1", kNow), 120u);
    EXPECT_EQ(bans.IsBanned("10.0.0.10", kNow), std::nullopt);
    EXPECT_EQ(bans.IsBanned("10.0.0.2", kNow), std::nullopt);
    EXPECT_EQ(bans.IsBanned("", kNow), std::nullopt);
}

TEST(BanTableTest, CountsTwoThousandAddressesApart) {
    BanTable bans;
    for (int i = 0; i < 2000; ++i) bans.RecordFailure("fe80::" + std::to_string(i), kNow);
    for (int i = 0; i < 2000; ++i) bans.RecordFailure("fe80::" + std::to_string(i), kNow);
    EXPECT_TRUE(bans.RecordFailure("fe80::1234", kNow).started_ban);
    EXPECT_EQ(bans.IsBanned("fe80::1235", kNow), std::nullopt);
}

TEST(BanTableTest, EightThreadsTogetherStartExactlyOneBanForAnAddress) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 300;
    BanTable bans;
    std::array<std::atomic<int>, kRounds> bans_started{};
    std::array<std::atomic<int>, kRounds> counted_only{};
    std::atomic<int> ready{0};
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (++ready; ready < kThreads;) std::this_thread::yield();
            const std::string own = "own " + std::to_string(t);
            for (int i = 0; i < kRounds; ++i) {
                const std::string shared = "shared " + std::to_string(i);
                const BanTable::Failure failure = bans.RecordFailure(shared, kNow);
                if (failure.started_ban) ++bans_started[static_cast<std::size_t>(i)];
                if (failure.banned_until == 0) ++counted_only[static_cast<std::size_t>(i)];
                ExpectNoBan(bans.RecordFailure(own, kNow));
                EXPECT_EQ(bans.IsBanned(own, kNow), std::nullopt);
                bans.ClearFailures(own);
            }
        });
    }
    threads.clear();
    for (std::size_t i = 0; i < kRounds; ++i) {
        EXPECT_EQ(bans_started[i], 1) << i;
        EXPECT_EQ(counted_only[i], 2) << i;
    }
}

}  // namespace
}  // namespace harbinet
