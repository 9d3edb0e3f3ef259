// What app/ asks of Windows: known folders, random bytes, time, handles.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <new>
#include <set>

#include "app/clock.h"
#include "app/large_buffer.h"
#include "app/paths_win.h"
#include "app/random.h"
#include "app/unique_handle_win.h"

namespace harbinet {
namespace {

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::wstring Variable(const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    GetEnvironmentVariableW(name, text, MAX_PATH);
    return text;
}

TEST(LargeBufferTest, MorePagesThanThereAreEndInBadAlloc) {
    EXPECT_THROW(AllocatePages(SIZE_MAX / 2), std::bad_alloc);
}

TEST(PathsTest, BaseDataFolderIsHarbinetInLocalAppDataAndExists) {
    ASSERT_FALSE(Variable(L"LOCALAPPDATA").empty());
    EXPECT_EQ(LocalAppDataFolder(), Variable(L"LOCALAPPDATA"));
    const std::wstring base = BaseDataFolder();
    EXPECT_EQ(base, Variable(L"LOCALAPPDATA") + L"\\Harbinet");
    EXPECT_TRUE(IsFolder(base));
    EXPECT_EQ(BaseDataFolder(), base);
}

TEST(PathsTest, EnsureFolderMakesEveryParentAndKeepsWhatIsThere) {
    const std::wstring top = Variable(L"TEMP") + L"\\harbinet-paths-test";
    const std::wstring deep = top + L"\\one\\two \u00E9";
    ASSERT_FALSE(IsFolder(deep));
    EnsureFolder(deep);
    EXPECT_TRUE(IsFolder(deep));
    EnsureFolder(deep);
    EXPECT_TRUE(IsFolder(deep));
    RemoveDirectoryW(deep.c_str());
    RemoveDirectoryW((top + L"\\one").c_str());
    EXPECT_TRUE(RemoveDirectoryW(top.c_str()));
}

TEST(PathsTest, EnsureFolderDoesNotMindAFileInTheWay) {
    const std::wstring file = Variable(L"TEMP") + L"\\harbinet-file-in-the-way";
    ASSERT_TRUE(UniqueFile(
        CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr)));
    EnsureFolder(file + L"\\below");
    EXPECT_FALSE(IsFolder(file + L"\\below"));
    EXPECT_TRUE(DeleteFileW(file.c_str()));
}

TEST(PathsTest, ExecutablePathNamesTheRunningProgram) {
    const std::wstring path = ExecutablePath();
    EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(path.find(L"harbinet_app_tests.exe"), std::wstring::npos);
}

TEST(SystemRandomTest, FillsEveryByteDifferently) {
    std::set<std::vector<std::uint8_t>> seen;
    std::vector<std::uint8_t> every_bit(32, 0);
    for (int i = 0; i < 64; ++i) {
        std::vector<std::uint8_t> bytes(32, 0);
        ASSERT_TRUE(SystemRandom().Fill(bytes));
        for (std::size_t k = 0; k < bytes.size(); ++k) every_bit[k] |= bytes[k];
        seen.insert(bytes);
    }
    EXPECT_EQ(seen.size(), 64u);
    // After 64 draws a byte that was never written still holds zero.
    for (const std::uint8_t byte : every_bit) EXPECT_EQ(byte, 0xFF);
}

TEST(SystemClockTest, AgreesWithTheSystem) {
    FILETIME before{};
    GetSystemTimeAsFileTime(&before);
    const std::uint64_t ticks = (std::uint64_t{before.dwHighDateTime} << 32) | before.dwLowDateTime;
    const std::uint64_t unix_seconds = ticks / 10'000'000 - 11'644'473'600;
    EXPECT_GE(WallSeconds(), unix_seconds);
    EXPECT_LE(WallSeconds(), unix_seconds + 5);

    const LocalTime now = SystemLocalTime();
    EXPECT_GE(now.year, 2024);
    EXPECT_TRUE(now.month >= 1 && now.month <= 12) << now.month;
    EXPECT_TRUE(now.day >= 1 && now.day <= 31) << now.day;
    EXPECT_TRUE(now.millisecond >= 0 && now.millisecond <= 999) << now.millisecond;
}

struct CountedTraits {
    using Handle = int;
    static Handle None() { return -1; }
    static void Close(Handle) {
        ++closed;
        SetLastError(99);
    }
    static inline int closed = 0;
};
using Counted = UniqueHandle<CountedTraits>;

class UniqueHandleTest : public testing::Test {
protected:
    void SetUp() override { CountedTraits::closed = 0; }
};

TEST_F(UniqueHandleTest, ClosesOnce) {
    {
        Counted first(7);
        EXPECT_TRUE(first);
        EXPECT_EQ(first.Get(), 7);
        Counted second(std::move(first));
        EXPECT_EQ(second.Get(), 7);
        EXPECT_EQ(CountedTraits::closed, 0);
    }
    EXPECT_EQ(CountedTraits::closed, 1);
}

TEST_F(UniqueHandleTest, NoneIsNeverClosed) {
    {
        Counted none;
        EXPECT_FALSE(none);
        none.Reset();
    }
    EXPECT_EQ(CountedTraits::closed, 0);
}

TEST_F(UniqueHandleTest, TakingAnotherClosesTheOld) {
    Counted handle(1);
    handle = Counted(2);
    EXPECT_EQ(CountedTraits::closed, 1);
    *handle.Out() = 3;
    EXPECT_EQ(CountedTraits::closed, 2);
    EXPECT_EQ(handle.Release(), 3);
    EXPECT_FALSE(handle);
    EXPECT_EQ(CountedTraits::closed, 2);
}

TEST_F(UniqueHandleTest, ClosingKeepsTheLastError) {
    Counted handle(1);
    SetLastError(ERROR_FILE_NOT_FOUND);
    handle.Reset();
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

}  // namespace
}  // namespace harbinet
