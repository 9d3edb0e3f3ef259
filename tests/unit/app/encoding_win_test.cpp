#include <gtest/gtest.h>

#include "app/encoding.h"

namespace harbinet {
namespace {

TEST(EncodingTest, ConvertsBothWays) {
    const struct {
        std::string utf8;
        std::wstring wide;
    } kCases[] = {
        {"", L""},
        {"plain", L"plain"},
        {"M\xC3\xBCller", L"M\u00FCller"},
        {"\xE2\x82\xAC", L"\u20AC"},
        {"\xE4\xB8\xAD\xE6\x96\x87", L"\u4E2D\u6587"},
        {"\xF0\x9F\x98\x80", L"\xD83D\xDE00"},
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(Utf8ToWide(c.utf8), c.wide);
        EXPECT_EQ(WideToUtf8(c.wide), c.utf8);
    }
}

TEST(EncodingTest, ReplacesInvalidUtf8) {
    // How many replacement characters stand for a broken sequence is the system's affair.
    for (const char* broken : {"\xFF", "\x80", "\xC3", "\xE2\x82", "\xC0\xAF", "\xED\xA0\x80"}) {
        const std::wstring wide = Utf8ToWide(std::string("a") + broken + "z");
        ASSERT_GE(wide.size(), 3u);
        EXPECT_EQ(wide.front(), L'a');
        EXPECT_EQ(wide.back(), L'z');
        EXPECT_EQ(wide.substr(1, wide.size() - 2).find_first_not_of(L'\uFFFD'), std::wstring::npos);
    }
}

TEST(EncodingTest, ReplacesUnpairedSurrogates) {
    EXPECT_EQ(WideToUtf8(L"a\xD800z"), "a\xEF\xBF\xBDz");
    EXPECT_EQ(WideToUtf8(L"a\xDC00z"), "a\xEF\xBF\xBDz");
}

}  // namespace
}  // namespace harbinet
