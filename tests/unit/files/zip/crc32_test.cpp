#include "files/zip/crc32.h"

#include <gtest/gtest.h>

#include <string>

namespace harbinet {
namespace {

TEST(Crc32Test, KnownTextsHaveTheirKnownValues) {
    EXPECT_EQ(Crc32(""), 0x00000000U);
    EXPECT_EQ(Crc32("a"), 0xE8B7BE43U);
    EXPECT_EQ(Crc32("123456789"), 0xCBF43926U);
    EXPECT_EQ(Crc32("The quick brown fox jumps over the lazy dog"), 0x414FA339U);
    EXPECT_EQ(Crc32(std::string(32, '\0')), 0x190A55ADU);
    EXPECT_EQ(Crc32(std::string(32, '\xFF')), 0xFF6CAB0BU);
}

TEST(Crc32Test, ContinuesWhatCameBefore) {
    constexpr std::string_view kText = "The quick brown fox jumps over the lazy dog";
    for (std::size_t cut = 0; cut <= kText.size(); ++cut) {
        EXPECT_EQ(Crc32(kText.substr(cut), Crc32(kText.substr(0, cut))), 0x414FA339U) << cut;
    }
}

// Bit by bit, straight from the polynomial's definition.
std::uint32_t SlowCrc32(std::string_view bytes) {
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    }
    return ~crc;
}

TEST(Crc32Test, EveryLengthAndAlignmentAroundTheStepSizeGivesTheSame) {
    std::string bytes;
    for (int i = 0; i < 100; ++i) bytes += static_cast<char>(i * 37 + 200);
    for (std::size_t start = 0; start < 17; ++start) {
        for (std::size_t length = 0; length <= 70; ++length) {
            const auto piece = std::string_view(bytes).substr(start, length);
            ASSERT_EQ(Crc32(piece), SlowCrc32(piece)) << start << " " << length;
        }
    }
}

}  // namespace
}  // namespace harbinet
