#include "ui/qr_pixels.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace harbinet {
namespace {

constexpr std::uint32_t kBlack = 0xFF000000;
constexpr std::uint32_t kWhite = 0xFFFFFFFF;

std::uint32_t PixelAt(const QrPixelRows& pixels, int side, int x, int y) {
    return pixels.at(static_cast<std::size_t>(y * side + x));
}

TEST(QrPixelsTest, ASideIsFourPixelsAModuleAndThirtyTwoMore) {
    EXPECT_EQ(QrSide(21), 116);
    EXPECT_EQ(QrSide(33), 164);
    EXPECT_EQ(QrSide(1), 36);
}

TEST(QrPixelsTest, AModuleIsFourByFourPixelsInsideTheQuietZone) {
    const unsigned char matrix[] = {1};
    const QrPixelRows pixels = QrPixels(matrix, 1);
    ASSERT_EQ(pixels.size(), 36U * 36U);
    for (int y = 0; y < 36; ++y) {
        for (int x = 0; x < 36; ++x) {
            const bool dark = x >= 16 && x <= 19 && y >= 16 && y <= 19;
            EXPECT_EQ(PixelAt(pixels, 36, x, y), dark ? kBlack : kWhite) << x << ", " << y;
        }
    }
}

TEST(QrPixelsTest, RowsOfTheMatrixAreRowsOfThePicture) {
    const unsigned char matrix[] = {0, 1, 0, 0, 0, 0, 1, 0, 0};
    const QrPixelRows pixels = QrPixels(matrix, 3);
    EXPECT_EQ(PixelAt(pixels, 44, 20, 16), kBlack);  // second of the first row
    EXPECT_EQ(PixelAt(pixels, 44, 19, 16), kWhite);
    EXPECT_EQ(PixelAt(pixels, 44, 24, 16), kWhite);
    EXPECT_EQ(PixelAt(pixels, 44, 16, 24), kBlack);  // first of the last row
    EXPECT_EQ(PixelAt(pixels, 44, 16, 23), kWhite);
    EXPECT_EQ(PixelAt(pixels, 44, 16, 28), kWhite);
    EXPECT_EQ(std::ranges::count(pixels, kBlack), 32);
}

TEST(QrPixelsTest, OnlyTheLowestBitSaysDark) {
    const unsigned char matrix[] = {0xFE, 0x81, 0x02, 0x03};
    const QrPixelRows pixels = QrPixels(matrix, 2);
    EXPECT_EQ(PixelAt(pixels, 40, 16, 16), kWhite);
    EXPECT_EQ(PixelAt(pixels, 40, 20, 16), kBlack);
    EXPECT_EQ(PixelAt(pixels, 40, 16, 20), kWhite);
    EXPECT_EQ(PixelAt(pixels, 40, 20, 20), kBlack);
}

}  // namespace
}  // namespace harbinet
