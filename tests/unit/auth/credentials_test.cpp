#include "auth/credentials.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "support/fake_random.h"
#include "support/header_text.h"
#include "support/test_clock.h"

namespace harbinet {
namespace {

using test::FakeRandom;
using test::TestWallSeconds;

constexpr std::uint64_t kNow = 1'767'344'823;

test::HeaderText Cookie(const std::string& value) { return {{"cookie", value}}; }

class CredentialsTest : public testing::Test {
protected:
    CredentialsTest() {
        test::wall_seconds = kNow;
        random_.queued.push_back({0x40, 0xE2, 0x01, 0x00});  // 123456
        credentials_.Reset();
    }

    bool IsValid(const std::string& token) {
        return credentials_.IsSessionValid(Cookie("AUTH=" + token));
    }

    FakeRandom random_;
    Credentials credentials_{random_, TestWallSeconds};
};

TEST_F(CredentialsTest, ResetMakesAPinAndEndsTheSessions) {
    EXPECT_EQ(credentials_.CurrentPin(), "123456");
    credentials_.SetMasterPin("654321");
    const std::string token = credentials_.CreateSession();
    EXPECT_TRUE(IsValid(token));
    random_.queued.push_back({0x07, 0x00, 0x00, 0x00});
    credentials_.Reset();
    EXPECT_EQ(credentials_.CurrentPin(), "000007");
    EXPECT_EQ(credentials_.MasterPin(), "654321");
    EXPECT_FALSE(IsValid(token));
}

TEST_F(CredentialsTest, AcceptsTheCurrentPinAndTheMasterPinWhenOneIsSet) {
    EXPECT_EQ(credentials_.MasterPin(), "");
    EXPECT_TRUE(credentials_.AcceptsPin("123456"));
    EXPECT_FALSE(credentials_.AcceptsPin("654321"));
    EXPECT_FALSE(credentials_.AcceptsPin(""));
    credentials_.SetMasterPin("654321");
    EXPECT_EQ(credentials_.MasterPin(), "654321");
    EXPECT_TRUE(credentials_.AcceptsPin("123456"));
    EXPECT_TRUE(credentials_.AcceptsPin("654321"));
    credentials_.SetMasterPin("123456");
    EXPECT_TRUE(credentials_.AcceptsPin("123456"));
    EXPECT_FALSE(credentials_.AcceptsPin("654321"));
    credentials_.SetMasterPin("");
    EXPECT_TRUE(credentials_.AcceptsPin("123456"));
    EXPECT_FALSE(credentials_.AcceptsPin(""));
}

TEST_F(CredentialsTest, RefusesEveryOtherCode) {
    credentials_.SetMasterPin("654321");
    for (const std::string& code :
         {std::string(), std::string("0"), std::string("12345"), std::string("1234567"),
          std::string("023456"), std::string("123457"), std::string("12345\0", 6),
          std::string("123456\0", 7), std::string(" 123456"), std::string("123456 "),
          std::string("123456654321"), std::string(100'000, '1')}) {
        EXPECT_FALSE(credentials_.AcceptsPin(code)) << code.substr(0, 20);
    }
}

TEST(CredentialsBeforeResetTest, AcceptNoPin) {
    FakeRandom random;
    const Credentials credentials(random, TestWallSeconds);
    EXPECT_EQ(credentials.CurrentPin(), "");
    EXPECT_FALSE(credentials.AcceptsPin(""));
    EXPECT_FALSE(credentials.AcceptsPin("000000"));
}

TEST_F(CredentialsTest, TokenIs16RandomBytesInLowerCaseHex) {
    random_.queued.push_back({0xAB, 0xCD, 0xEF, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xFE, 0xFF});
    EXPECT_EQ(credentials_.CreateSession(), "abcdef000102030405060708090afeff");
    EXPECT_TRUE(IsValid("abcdef000102030405060708090afeff"));
}

TEST_F(CredentialsTest, SessionLastsExactly28800Seconds) {
    const std::string token = credentials_.CreateSession();
    const struct {
        std::uint64_t age;
        bool valid;
    } kCases[] = {{0, true}, {28'799, true}, {28'800, false}, {28'801, false}};
    for (const auto& c : kCases) {
        test::wall_seconds = kNow + c.age;
        EXPECT_EQ(IsValid(token), c.valid) << c.age;
    }
}

TEST_F(CredentialsTest, UseDoesNotRenewASession) {
    const std::string token = credentials_.CreateSession();
    for (std::uint64_t age = 0; age < 28'800; age += 3600) {
        test::wall_seconds = kNow + age;
        EXPECT_TRUE(IsValid(token));
    }
    test::wall_seconds = kNow + 28'800;
    EXPECT_FALSE(IsValid(token));
}

TEST_F(CredentialsTest, ExpiredSessionIsInvalidAlsoWhileNoPurgeIsDue) {
    const std::string token = credentials_.CreateSession();
    test::wall_seconds = kNow + 28'790;
    EXPECT_TRUE(IsValid(token));  // purges; the next one is due at 28,850
    test::wall_seconds = kNow + 28'800;
    EXPECT_FALSE(IsValid(token));
    // Still stored: with the clock set back it is valid again.
    test::wall_seconds = kNow + 28'799;
    EXPECT_TRUE(IsValid(token));
}

TEST_F(CredentialsTest, PurgeRemovesExpiredSessionsOnceAMinuteHasPassed) {
    const struct {
        std::uint64_t seconds_after_purge;
        bool still_stored;
    } kCases[] = {{59, true}, {60, false}, {61, false}};
    for (const auto& c : kCases) {
        FakeRandom random;
        Credentials credentials(random, TestWallSeconds);
        test::wall_seconds = kNow;
        const test::HeaderText cookie = Cookie("AUTH=" + credentials.CreateSession());
        test::wall_seconds = kNow + 28'799;
        EXPECT_TRUE(credentials.IsSessionValid(cookie));  // purges
        test::wall_seconds = kNow + 28'799 + c.seconds_after_purge;
        EXPECT_FALSE(credentials.IsSessionValid({}));
        // The clock set back shows whether the entry is still there.
        test::wall_seconds = kNow;
        EXPECT_EQ(credentials.IsSessionValid(cookie), c.still_stored) << c.seconds_after_purge;
    }
}

TEST_F(CredentialsTest, CreatingASessionPurgesToo) {
    const std::string old_token = credentials_.CreateSession();
    test::wall_seconds = kNow + 28'800;
    const std::string new_token = credentials_.CreateSession();
    test::wall_seconds = kNow;
    EXPECT_FALSE(IsValid(old_token));
    EXPECT_TRUE(IsValid(new_token));
}

TEST_F(CredentialsTest, TriesEightTokensThenTakesALongOne) {
    const std::vector<std::uint8_t> taken(16, 0x11);
    random_.queued.push_back(taken);
    const std::string first = credentials_.CreateSession();
    EXPECT_EQ(first, "11111111111111111111111111111111");

    for (int i = 0; i < 7; ++i) random_.queued.push_back(taken);
    random_.queued.push_back(std::vector<std::uint8_t>(16, 0x22));
    EXPECT_EQ(credentials_.CreateSession(), "22222222222222222222222222222222");

    for (int i = 0; i < 8; ++i) random_.queued.push_back(taken);
    random_.queued.push_back(std::vector<std::uint8_t>(32, 0x33));
    const std::string long_token = credentials_.CreateSession();
    EXPECT_EQ(long_token, "3333333333333333333333333333333333333333333333333333333333333333");
    EXPECT_TRUE(IsValid(long_token));
    EXPECT_TRUE(IsValid(first));
    EXPECT_TRUE(random_.queued.empty());
}

TEST_F(CredentialsTest, LongTokenIsStoredWithoutAFurtherCheck) {
    const std::vector<std::uint8_t> taken(16, 0x11);
    random_.queued.push_back(taken);
    credentials_.CreateSession();
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 8; ++i) random_.queued.push_back(taken);
        random_.queued.push_back(std::vector<std::uint8_t>(32, 0x33));
        test::wall_seconds = kNow + static_cast<std::uint64_t>(round) * 100;
        EXPECT_EQ(credentials_.CreateSession().size(), 64u);
    }
    test::wall_seconds = kNow + 28'899;
    EXPECT_TRUE(IsValid(std::string(64, '3')));
    test::wall_seconds = kNow + 28'900;
    EXPECT_FALSE(IsValid(std::string(64, '3')));
}

TEST_F(CredentialsTest, SessionIsNamedByTheFirstCookieHeaderExactly) {
    const std::string token = credentials_.CreateSession();
    const std::string other(32, 'f');
    const struct {
        test::HeaderText headers;
        bool valid;
        const char* why;
    } cases[] = {
        {{}, false, "no cookie"},
        {Cookie(""), false, "an empty cookie header"},
        {Cookie("AUTH="), false, "an empty token"},
        {Cookie("AUTH=;AUTH=" + token), false, "the first item counts, also when it is empty"},
        {Cookie("AUTH=" + token), true, "the token"},
        {Cookie("a=b; AUTH=" + token + "; c=d"), true, "the token among others"},
        {Cookie("AUTH=" + token + " "), false, "a trailing blank belongs to the value"},
        {Cookie("AUTH=" + token + "0"), false, "one digit too many"},
        {Cookie("AUTH=" + token.substr(0, 31)), false, "one digit too few"},
        {Cookie("AUTH=" + other), false, "an unknown token"},
        {Cookie("auth=" + token), false, "the name in lower case"},
        {Cookie("XAUTH=" + token), false, "another name"},
        {Cookie("AUTH=\"" + token + "\""), false, "a quoted value"},
        {{{"Cookie", "AUTH=" + token}}, true, "the header's name in another case"},
        {{{"cookie", "a=b"}, {"cookie", "AUTH=" + token}}, false, "only the first cookie header"},
        {{{"x", "y"}, {"cookie", "AUTH=" + token}}, true, "other headers before it"},
    };
    for (const auto& c : cases) EXPECT_EQ(credentials_.IsSessionValid(c.headers), c.valid) << c.why;
}

TEST(GetCookieValueTest, TakesTheFirstItemThatBeginsWithNameAndEqualsSign) {
    const struct {
        const char* header;
        const char* value;
    } kCases[] = {
        {"", ""},
        {"AUTH=abc", "abc"},
        {"foo=1; AUTH=abc", "abc"},
        {"foo=1;AUTH=abc;bar=2", "abc"},
        {"XAUTH=abc", ""},
        {"XAUTH=abc; AUTH=def", "def"},
        {"AUTHX=abc; AUTH=def", "def"},
        {"AUTH; AUTH=def", "def"},
        {"AUTH=; AUTH=def", ""},
        {"AUTH=a; AUTH=b", "a"},
        {"AUTH=a=b", "a=b"},
        {"AUTH=a b ", "a b "},
        {"AUTH= a", " a"},
        {"AUTH =a", ""},
        {" ; ;; AUTH=abc", "abc"},
        {"\tAUTH=abc", ""},
        {";", ""},
        {"   ", ""},
        {"auth=abc", ""},
        {"a=AUTH=abc", ""},
        {"AUTH=abc;", "abc"},
        {"AUTH", ""},
        {"AUT", ""},
        {"=AUTH=abc", ""},
    };
    for (const auto& c : kCases) EXPECT_EQ(GetCookieValue(c.header, "AUTH"), c.value) << c.header;
}

// Gives each caller other bytes.
class CountingRandom final : public RandomSource {
public:
    bool Fill(std::span<std::uint8_t> bytes) override {
        const std::uint64_t value = ++count_;
        std::memcpy(bytes.data(), &value, std::min(bytes.size(), sizeof value));
        return true;
    }
    std::uint32_t TickCount() override { return 0; }

private:
    std::atomic<std::uint64_t> count_{0};
};

TEST(CredentialsThreadsTest, EightThreadsLogInLookUpAndChangeTheMasterPin) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 300;
    test::wall_seconds = kNow;
    CountingRandom random;
    Credentials credentials(random, TestWallSeconds);
    credentials.Reset();
    const std::string pin = credentials.CurrentPin();
    std::vector<std::set<std::string>> tokens(kThreads);
    {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < kRounds; ++i) {
                    test::wall_seconds += 1;
                    const std::string token = credentials.CreateSession();
                    tokens[t].insert(token);
                    EXPECT_TRUE(credentials.IsSessionValid(Cookie("AUTH=" + token)));
                    EXPECT_FALSE(credentials.IsSessionValid(Cookie("AUTH=none")));
                    credentials.SetMasterPin(i % 2 == 0 ? "222222" : "333333");
                    EXPECT_TRUE(credentials.AcceptsPin(pin));
                    EXPECT_FALSE(credentials.AcceptsPin("444444"));
                    const std::string master = credentials.MasterPin();
                    EXPECT_TRUE(master == "222222" || master == "333333") << master;
                }
            });
        }
    }
    std::set<std::string> all;
    for (const auto& own : tokens) all.insert(own.begin(), own.end());
    EXPECT_EQ(all.size(), 2400u);
    for (const std::string& token : all) {
        EXPECT_TRUE(credentials.IsSessionValid(Cookie("AUTH=" + token)));
    }
}

}  // namespace
}  // namespace harbinet
