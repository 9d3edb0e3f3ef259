#include "files/names.h"

#include <gtest/gtest.h>

namespace harbinet {
namespace {

TEST(NamesTest, NormalizingTurnsBackslashesAndRemovesLeadingSlashes) {
    const struct {
        const wchar_t* path;
        const wchar_t* expected;
    } kCases[] = {
        {L"", L""},
        {L"/", L""},
        {L"\\", L""},
        {L"///", L""},
        {L"\\/\\", L""},
        {L"a", L"a"},
        {L"/a", L"a"},
        {L"\\docs\\2024", L"docs/2024"},
        {L"a//b\\", L"a//b/"},
        {L"C:\\x", L"C:/x"},
        {L" /a", L" /a"},
        {L"//host/x", L"host/x"},
    };
    for (const auto& c : kCases) EXPECT_EQ(NormalizeRelPath(std::wstring(c.path)), c.expected);
}

TEST(NamesTest, NormalizingWorksOnUtf8TextAsOnWideText) {
    EXPECT_EQ(NormalizeRelPath(std::string("\\d\xC3\xBC\\x\\")), "d\xC3\xBC/x/");
    EXPECT_EQ(NormalizeRelPath(std::string("/\\/")), "");
}

TEST(NamesTest, AnEntryNameHoldsNoSeparatorAndNoTwoDots) {
    const struct {
        std::wstring_view name;
        bool stays;
        bool simple;
    } kCases[] = {
        {L"", true, false},     {L"a", true, true},      {L".", true, true},
        {L"..", false, false},  {L"a..b", false, false}, {L"...", false, false},
        {L"a.b.c", true, true}, {L"/", false, false},    {L"\\", false, false},
        {L"a/b", false, false}, {L"a\\b", false, false}, {L"a:b", true, true},
        {L"a*?b", true, true},  {L". .", true, true},    {L"\u00FC \U0001F600", true, true},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(StaysInFolder(c.name), c.stays) << c.name.size();
        EXPECT_EQ(IsSimpleName(c.name), c.simple) << c.name.size();
    }
}

TEST(NamesTest, JoiningNeverDoublesTheBackslash) {
    EXPECT_EQ(JoinDirName(L"D:\\Share", L"a"), L"D:\\Share\\a");
    EXPECT_EQ(JoinDirName(L"D:\\", L"a"), L"D:\\a");
    EXPECT_EQ(JoinDirName(L"", L"a"), L"a");
    EXPECT_EQ(JoinDirName(L"D:/Share/", L"a"), L"D:/Share/\\a");
    EXPECT_EQ(JoinDirName(L"D:\\Share", L""), L"D:\\Share\\");
}

TEST(NamesTest, TheBaseNameFollowsTheLastSeparatorOfEitherKind) {
    EXPECT_EQ(FileBaseName(L"a/b\\c.txt"), L"c.txt");
    EXPECT_EQ(FileBaseName(L"a\\b/c.txt"), L"c.txt");
    EXPECT_EQ(FileBaseName(L"c.txt"), L"c.txt");
    EXPECT_EQ(FileBaseName(L"a\\"), L"");
    EXPECT_EQ(FileBaseName(L""), L"");
}

}  // namespace
}  // namespace harbinet
