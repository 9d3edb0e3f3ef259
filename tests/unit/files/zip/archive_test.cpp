#include "files/zip/archive.h"

#include <gtest/gtest.h>

#include "support/fake_file_system.h"

namespace harbinet {
namespace {

using test::FakeFileSystem;
using test::FileCall;

constexpr std::string_view kTooLarge = "A selected file is larger than the ZIP limit (4 GB).";
constexpr std::string_view kTooMuch = "Selected files exceed the ZIP limit (4 GB).";

LocalTime FallbackTime() { return {2030, 12, 31, 23, 59, 59, 0}; }

std::string Bytes(std::initializer_list<int> values) {
    std::string bytes;
    for (const int value : values) bytes += static_cast<char>(value);
    return bytes;
}

class ZipTest : public ::testing::Test {
protected:
    ZipTest() { files.AddFolder(L"D:"); }

    void Select(const std::wstring& name, std::string entry_name) {
        items.push_back({.path = L"D:\\" + name, .entry_name = std::move(entry_name)});
    }

    std::string_view Precheck(std::uint64_t limit = kZipLimit) {
        return ZipPrecheck(files, items, limit, total);
    }

    // The archive's bytes; "(nothing)" when there is no entry.
    std::string Build() {
        EXPECT_EQ(Precheck(), "");
        ZipBuffer archive;
        const ZipResult result = BuildZipArchive(files, items, archive, FallbackTime);
        EXPECT_EQ(files.open_files, 0);
        return result == ZipResult::kBuilt ? std::string(archive.View()) : "(nothing)";
    }

    FakeFileSystem files;
    std::vector<ZipItem> items;
    std::uint64_t total = 0;
};

TEST_F(ZipTest, EveryFieldOfAnArchiveOfTwoFilesIsWhereItBelongs) {
    files.AddFile(L"D:\\a", "hello").modified = {2026, 1, 2, 9, 7, 5, 0};
    files.AddFile(L"D:\\\u00FC", "").modified = {2107, 12, 31, 23, 59, 58, 0};
    Select(L"a", "docs/a");
    Select(L"\u00FC", "\xC3\xBC");
    const std::string kExpected =
        // Local header, name and data of "docs/a".
        Bytes({0x50, 0x4B, 0x03, 0x04, 0x14, 0x00, 0x00, 0x08, 0x00, 0x00,  //
               0xE2, 0x48, 0x22, 0x5C, 0x86, 0xA6, 0x10, 0x36, 0x05, 0x00,  //
               0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x06, 0x00, 0x00, 0x00}) +
        "docs/ahello" +
        // Local header and name of the empty file.
        Bytes({0x50, 0x4B, 0x03, 0x04, 0x14, 0x00, 0x00, 0x08, 0x00, 0x00,  //
               0x7D, 0xBF, 0x9F, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
               0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00}) +
        "\xC3\xBC" +
        // Central directory.
        Bytes({0x50, 0x4B, 0x01, 0x02, 0x14, 0x00, 0x14, 0x00, 0x00, 0x08, 0x00, 0x00,  //
               0xE2, 0x48, 0x22, 0x5C, 0x86, 0xA6, 0x10, 0x36, 0x05, 0x00, 0x00, 0x00,  //
               0x05, 0x00, 0x00, 0x00, 0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
               0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}) +
        "docs/a" +
        Bytes({0x50, 0x4B, 0x01, 0x02, 0x14, 0x00, 0x14, 0x00, 0x00, 0x08, 0x00, 0x00,  //
               0x7D, 0xBF, 0x9F, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
               0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
               0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x29, 0x00, 0x00, 0x00}) +
        "\xC3\xBC" +
        // End of the central directory: two entries, 100 bytes, from offset 73 on.
        Bytes({0x50, 0x4B, 0x05, 0x06, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x02,  //
               0x00, 0x64, 0x00, 0x00, 0x00, 0x49, 0x00, 0x00, 0x00, 0x00, 0x00});
    EXPECT_EQ(Build(), kExpected);
}

// DOS time and date of the first local header, as they stand in the archive.
std::string DosFields(const std::string& archive) { return archive.substr(10, 4); }

TEST_F(ZipTest, YearsBefore1980AreStoredAs1980) {
    Select(L"a", "a");
    for (const int year : {1601, 1979, 1980}) {
        files.AddFile(L"D:\\a", "x").modified = {year, 2, 3, 4, 5, 6, 0};
        EXPECT_EQ(DosFields(Build()), Bytes({0xA3, 0x20, 0x43, 0x00})) << year;
    }
    files.At(L"D:\\a").modified.year = 1981;
    EXPECT_EQ(DosFields(Build()), Bytes({0xA3, 0x20, 0x43, 0x02}));
}

TEST_F(ZipTest, TheCurrentTimeStandsInForATimeThatCannotBeRead) {
    files.AddFile(L"D:\\a", "x");
    Select(L"a", "a");
    files.FailOnce(FileCall::kInfo, 1);
    EXPECT_EQ(DosFields(Build()), Bytes({0x7D, 0xBF, 0x9F, 0x65}));
}

TEST_F(ZipTest, ThePrecheckAddsUpFilesOnly) {
    files.AddFolder(L"D:\\sub");
    files.AddFile(L"D:\\a", "12345");
    files.AddFile(L"D:\\b", "123");
    for (const wchar_t* name : {L"a", L"gone", L"sub", L"b"}) Select(name, "x");
    EXPECT_EQ(Precheck(), "");
    EXPECT_EQ(total, 8U);
    items.clear();
    EXPECT_EQ(Precheck(), "");
    EXPECT_EQ(total, 0U);
}

TEST_F(ZipTest, ThePrecheckHoldsTheLimits) {
    constexpr std::uint64_t k4GiB = 4'294'967'296;
    const struct {
        std::uint64_t first;
        std::uint64_t second;
        std::string_view message;
    } kCases[] = {
        {k4GiB - 1, 0, ""},
        {k4GiB, 0, kTooMuch},
        {k4GiB + 1, 0, kTooLarge},
        {0, k4GiB + 1, kTooLarge},
        {k4GiB - 2, 1, ""},
        {k4GiB - 1, 1, kTooMuch},
        {k4GiB, 1, kTooMuch},
        {k4GiB - 1, 2, kTooMuch},
        {k4GiB - 1, k4GiB, kTooMuch},
        {k4GiB - 1, k4GiB + 1, kTooLarge},
        {UINT64_MAX, UINT64_MAX, kTooLarge},
    };
    Select(L"a", "a");
    Select(L"b", "b");
    for (const auto& c : kCases) {
        files.AddFile(L"D:\\a", "").claimed_size = c.first;
        files.AddFile(L"D:\\b", "").claimed_size = c.second;
        EXPECT_EQ(Precheck(), c.message) << c.first << " " << c.second;
    }
}

TEST_F(ZipTest, WhatCannotBeReadIsLeftOut) {
    files.AddFolder(L"D:\\sub");
    files.AddFile(L"D:\\a", "A");
    files.AddFile(L"D:\\b", "B");
    Select(L"b", "b");
    const std::string kOnlyB = Build();
    items.clear();
    for (const wchar_t* name : {L"a", L"b"}) Select(name, std::string(1, static_cast<char>(*name)));
    for (const FileCall call :
         {FileCall::kInfo, FileCall::kKind, FileCall::kOpenForReading, FileCall::kRead}) {
        files.FailOnce(call);
        EXPECT_EQ(Build(), kOnlyB) << static_cast<int>(call);
    }
    Select(L"sub", "sub");
    Select(L"gone", "gone");
    files.FailOnce(FileCall::kOpenForReading);
    EXPECT_EQ(Build(), kOnlyB);
}

TEST_F(ZipTest, AnArchiveWithoutEntriesIsAnError) {
    EXPECT_EQ(Build(), "(nothing)");
    files.AddFolder(L"D:\\sub");
    Select(L"sub", "sub");
    Select(L"gone", "gone");
    EXPECT_EQ(Build(), "(nothing)");
}

// What an archive of the one file "a" with this content looks like.
std::string ArchiveOf(const std::string& content) {
    FakeFileSystem files;
    files.AddFile(L"D:\\a", content);
    std::vector<ZipItem> items = {{.path = L"D:\\a", .entry_name = "a"}};
    std::uint64_t total = 0;
    EXPECT_EQ(ZipPrecheck(files, items, kZipLimit, total), "");
    ZipBuffer archive;
    EXPECT_EQ(BuildZipArchive(files, items, archive), ZipResult::kBuilt);
    return std::string(archive.View());
}

TEST_F(ZipTest, AFileThatShrinksIsStoredAsItIsNow) {
    files.AddFile(L"D:\\a", "1234567890");
    Select(L"a", "a");
    files.before_read = [this](int) { files.At(L"D:\\a").content = "123"; };
    EXPECT_EQ(Build(), ArchiveOf("123"));
    files.At(L"D:\\a").content = "1234567890";
    files.before_read = [this](int) { files.At(L"D:\\a").content.clear(); };
    EXPECT_EQ(Build(), ArchiveOf(""));
}

TEST_F(ZipTest, AFileThatGrowsIsCutAtTheSizeThatItHadWhenOpened) {
    files.AddFile(L"D:\\a", "123");
    Select(L"a", "a");
    files.before_read = [this](int) { files.At(L"D:\\a").content = "1234567890"; };
    EXPECT_EQ(Build(), ArchiveOf("123"));
}

TEST_F(ZipTest, AFileThatAppearsAfterThePrecheckIsLeftOut) {
    Select(L"a", "a");
    ASSERT_EQ(Precheck(), "");
    files.AddFile(L"D:\\a", "late");
    ZipBuffer archive;
    EXPECT_EQ(BuildZipArchive(files, items, archive), ZipResult::kNothingReadable);
}

// What a symbolic link looks like: its own size is 0, the open file is what it leads to.
TEST_F(ZipTest, TheOpenFileTellsTheSizeThatCounts) {
    files.AddFile(L"D:\\a", "");
    files.AddFile(L"D:\\b", "tail");
    Select(L"a", "a");
    Select(L"b", "b");
    ASSERT_EQ(Precheck(), "");
    EXPECT_EQ(total, 4U);
    files.At(L"D:\\a").content = std::string(300'000, 'x');
    ZipBuffer archive;
    ASSERT_EQ(BuildZipArchive(files, items, archive, FallbackTime), ZipResult::kBuilt);
    EXPECT_EQ(archive.View(), Build());
}

TEST_F(ZipTest, AFileThatHasGrownBeyondAnArchiveIsRefusedUnread) {
    files.AddFile(L"D:\\a", "");
    Select(L"a", "a");
    ASSERT_EQ(Precheck(), "");
    files.At(L"D:\\a").claimed_size = 4'294'967'296;
    ZipBuffer archive;
    EXPECT_EQ(BuildZipArchive(files, items, archive), ZipResult::kTooLarge);
    EXPECT_EQ(files.reads, 0);
    EXPECT_EQ(files.open_files, 0);
}

TEST_F(ZipTest, ANameThatDoesNotFitItsLengthFieldIsLeftOut) {
    files.AddFile(L"D:\\a", "x");
    Select(L"a", std::string(65'536, 'n'));
    EXPECT_EQ(Build(), "(nothing)");
    items[0].entry_name.pop_back();
    const std::string archive = Build();
    EXPECT_EQ(archive.substr(26, 2), "\xFF\xFF");
    EXPECT_EQ(archive.size(), 30U + 65'535 + 1 + 46 + 65'535 + 22);
}

TEST_F(ZipTest, EntryCountsWrapAt65536) {
    files.AddFile(L"D:\\a", "");
    items.assign(65'535, {.path = L"D:\\a", .entry_name = "a"});
    std::string archive = Build();
    EXPECT_EQ(archive.size(), 65'535U * (31 + 47) + 22);
    EXPECT_EQ(archive.substr(archive.size() - 22, 12),
              Bytes({0x50, 0x4B, 0x05, 0x06, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
    Select(L"a", "a");
    archive = Build();
    EXPECT_EQ(archive.size(), 65'536U * (31 + 47) + 22);
    EXPECT_EQ(archive.substr(archive.size() - 22, 12),
              Bytes({0x50, 0x4B, 0x05, 0x06, 0, 0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace harbinet
