#include "app/ascii.h"

#include <gtest/gtest.h>

namespace harbinet {
namespace {

TEST(AsciiTest, OnlyTheTwentySixLettersHaveALowerCase) {
    EXPECT_EQ(LowerAsciiText(std::string("@AMZ[`amz{09\xC4\xFF")), "@amz[`amz{09\xC4\xFF");
    EXPECT_EQ(LowerAsciiText(std::wstring(L"@AMZ[\u00C4\u0391\uFF21")), L"@amz[\u00C4\u0391\uFF21");
}

TEST(AsciiTest, ATextIsWidenedCharacterByCharacter) {
    EXPECT_EQ(WidenAscii("10.0.0.7"), L"10.0.0.7");
    EXPECT_EQ(WidenAscii(""), L"");
}

TEST(AsciiTest, HexDigitsStandInOrderHighNibbleFirstInLowerCase) {
    const std::uint8_t kBytes[] = {0x01, 0xAB, 0xF0, 0x9C};
    EXPECT_EQ(HexDigits(kBytes), "01abf09c");
    EXPECT_EQ(HexDigits({}), "");
}

}  // namespace
}  // namespace harbinet
