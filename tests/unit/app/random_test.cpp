#include "app/random.h"

#include <gtest/gtest.h>

#include "support/fake_random.h"

namespace harbinet {
namespace {

using test::FakeRandom;

std::vector<std::uint8_t> LittleEndian(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

TEST(RandomPinTest, IsTheValueModuloAMillionWithLeadingZeros) {
    const struct {
        std::uint32_t value;
        const char* pin;
    } kCases[] = {{0, "000000"},         {123, "000123"},       {999'999, "999999"},
                  {1'000'000, "000000"}, {1'000'001, "000001"}, {4'294'967'295, "967295"}};
    for (const auto& c : kCases) {
        FakeRandom random;
        random.queued.push_back(LittleEndian(c.value));
        EXPECT_EQ(RandomPin(random), c.pin) << c.value;
    }
}

TEST(RandomPinTest, FailingSourceGivesZeros) {
    FakeRandom random;
    random.fails = true;
    EXPECT_EQ(RandomPin(random), "000000");
}

TEST(RandomHexTokenTest, WritesBytesInOrderHighNibbleFirstInLowerCase) {
    FakeRandom random;
    random.queued.push_back({0x01, 0xAB, 0xF0, 0x9C});
    EXPECT_EQ(RandomHexToken(random, 4), "01abf09c");
}

TEST(RandomHexTokenTest, HasTwoDigitsForEachByte) {
    FakeRandom random;
    EXPECT_EQ(RandomHexToken(random, 0), "");
    EXPECT_EQ(RandomHexToken(random, 16), "0102030405060708090a0b0c0d0e0f10");
    EXPECT_EQ(RandomHexToken(random, 32).size(), 64u);
}

TEST(RandomHexTokenTest, FailingSourceFallsBackToTheTickCountReadForEveryByte) {
    FakeRandom random;
    random.fails = true;
    random.tick_count = 0x1FE;
    // Ticks 1fe, 1ff, 200, 201 plus the index 0, 1, 2, 3: low bytes fe, 00, 02, 04.
    EXPECT_EQ(RandomHexToken(random, 4), "fe000204");
}

}  // namespace
}  // namespace harbinet
