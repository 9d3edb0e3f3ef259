#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/unique_handle_win.h"
#include "files/file_system.h"
#include "files/names.h"

namespace harbinet {
namespace {

// A folder of its own below the temporary folder; the tests leave it empty.
class FileSystemWinTest : public ::testing::Test {
protected:
    FileSystemWinTest() {
        wchar_t temp[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH, temp);
        static int number = 0;
        root_ = JoinDirName(temp, L"harbinet_files_" + std::to_wstring(GetCurrentProcessId()) +
                                      L"_" + std::to_wstring(++number));
        CreateDirectoryW(root_.c_str(), nullptr);
    }
    ~FileSystemWinTest() override {
        for (const std::wstring& name : Names(root_)) {
            const std::wstring path = Path(name);
            SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            if (!DeleteFileW(path.c_str())) RemoveDirectoryW(path.c_str());
        }
        EXPECT_TRUE(RemoveDirectoryW(root_.c_str()));
    }

    std::wstring Path(const std::wstring& name) const { return JoinDirName(root_, name); }

    bool Put(const std::wstring& path, std::string_view content) {
        const auto file = files_.CreateForWriting(path);
        return file && file->Write(content);
    }
    std::string Get(const std::wstring& path) {
        const auto file = files_.OpenForReading(path);
        if (!file) return "(cannot open)";
        std::string content(static_cast<std::size_t>(file->Size().value_or(0)) + 1, '\0');
        std::size_t filled = 0;
        while (const std::size_t count =
                   file->Read(std::span(content).subspan(filled)).value_or(0)) {
            filled += count;
        }
        content.resize(filled);
        return content;
    }
    std::vector<std::wstring> Names(const std::wstring& folder) {
        std::vector<std::wstring> names;
        files_.List(folder,
                    [&names](const DirectoryEntry& entry) { names.emplace_back(entry.name); });
        return names;
    }

    FileSystem& files_ = SystemFiles();
    std::wstring root_;
};

TEST_F(FileSystemWinTest, WhatIsWrittenIsReadBack) {
    for (const std::size_t size : {0U, 1U, 65'536U, 262'143U, 262'144U, 262'145U, 1'000'000U}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 31 + i / 251);
        {
            const auto file = files_.CreateForWriting(Path(L"f"));
            ASSERT_TRUE(file);
            // Small, middle and large writes in turn.
            std::string_view rest = content;
            for (std::size_t piece = 1; !rest.empty(); piece = piece * 5 + 1) {
                EXPECT_TRUE(file->Write(rest.substr(0, piece)));
                rest.remove_prefix(std::min(piece, rest.size()));
            }
        }
        EXPECT_TRUE(Get(Path(L"f")) == content) << size;
        const auto info = files_.Info(Path(L"f"));
        ASSERT_TRUE(info.has_value());
        EXPECT_EQ(info->size, size);
        EXPECT_FALSE(info->is_directory);
    }
}

TEST_F(FileSystemWinTest, CreatingReplacesAnExistingFile) {
    EXPECT_TRUE(Put(Path(L"f"), "a long content"));
    EXPECT_TRUE(Put(Path(L"F"), "new"));
    EXPECT_EQ(Get(Path(L"f")), "new");
    EXPECT_EQ(Names(root_).size(), 1U);
}

TEST_F(FileSystemWinTest, LongNamesAndEmojiWork) {
    // Of a path of 259 characters, or of a name of 255.
    const std::size_t longest = std::min<std::size_t>(255, 259 - Path(L"").size());
    const std::wstring kNames[] = {std::wstring(longest, L'n'), L"\u00FC \u20AC \u4E2D.txt",
                                   L"\U0001F600.txt", L"a b.c.d"};
    for (const std::wstring& name : kNames) {
        EXPECT_TRUE(Put(Path(name), "x"));
        EXPECT_EQ(files_.Kind(Path(name)), PathKind::kFile);
        EXPECT_EQ(Names(root_), std::vector<std::wstring>{name});
        EXPECT_EQ(Get(Path(name)), "x");
        EXPECT_TRUE(files_.RemoveFile(Path(name)));
    }
}

// Where the path is longer than 259 characters the system decides.
TEST_F(FileSystemWinTest, ANameOf255CharactersIsKeptAsItIsOrRefused) {
    const std::wstring name(255, L'n');
    const bool created = Put(Path(name), "x");
    EXPECT_EQ(Names(root_), created ? std::vector{name} : std::vector<std::wstring>{});
    EXPECT_EQ(Get(Path(name)), created ? "x" : "(cannot open)");
    EXPECT_EQ(files_.RemoveFile(Path(name)), created);
}

// Some file systems take such names, others do not; a name that is close to it must not appear.
TEST_F(FileSystemWinTest, ANameWithAnUnpairedSurrogateIsKeptAsItIsOrRefused) {
    const std::wstring name = {static_cast<wchar_t>(0xD83D), L'x'};
    const bool created = Put(Path(name), "x");
    EXPECT_EQ(Names(root_), created ? std::vector{name} : std::vector<std::wstring>{});
    EXPECT_EQ(Get(Path(name)), created ? "x" : "(cannot open)");
    EXPECT_EQ(files_.RemoveFile(Path(name)), created);
}

TEST_F(FileSystemWinTest, AListingSkipsTheDotEntriesAndTellsFoldersAndSizes) {
    files_.CreateFolders(Path(L"sub"));
    Put(Path(L"a"), "12345");
    int folders = 0;
    int plain = 0;
    EXPECT_TRUE(files_.List(root_ + L"\\", [&](const DirectoryEntry& entry) {
        if (entry.is_directory) {
            EXPECT_EQ(entry.name, L"sub");
            ++folders;
        } else {
            EXPECT_EQ(entry.name, L"a");
            EXPECT_EQ(entry.size, 5U);
            ++plain;
        }
    }));
    EXPECT_EQ(folders, 1);
    EXPECT_EQ(plain, 1);
    EXPECT_FALSE(files_.List(Path(L"gone"), [](const DirectoryEntry&) {}));
}

TEST_F(FileSystemWinTest, AFileOfMoreThan4GiBHasItsFullSize) {
    {
        UniqueFile file(CreateFileW(Path(L"big").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
        LARGE_INTEGER size{};
        size.QuadPart = 5'000'000'000;
        ASSERT_TRUE(SetFilePointerEx(file.Get(), size, nullptr, FILE_BEGIN));
        ASSERT_TRUE(SetEndOfFile(file.Get()));
    }
    EXPECT_EQ(files_.Info(Path(L"big"))->size, 5'000'000'000U);
    EXPECT_EQ(files_.OpenForReading(Path(L"big"))->Size(), 5'000'000'000U);
    std::uint64_t listed = 0;
    files_.List(root_, [&listed](const DirectoryEntry& entry) { listed = entry.size; });
    EXPECT_EQ(listed, 5'000'000'000U);
}

TEST_F(FileSystemWinTest, ReadOnlyFilesAreNotRemoved) {
    Put(Path(L"f"), "kept");
    SetFileAttributesW(Path(L"f").c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_FALSE(files_.RemoveFile(Path(L"f")));
    EXPECT_EQ(Get(Path(L"f")), "kept");
}

TEST_F(FileSystemWinTest, OnlyEmptyFoldersAreRemovedAndOnlyAsFolders) {
    files_.CreateFolders(Path(L"sub"));
    Put(Path(L"sub\\a"), "x");
    EXPECT_FALSE(files_.RemoveFolder(Path(L"sub")));
    EXPECT_FALSE(files_.RemoveFile(Path(L"sub")));
    EXPECT_FALSE(files_.RemoveFolder(Path(L"sub\\a")));
    EXPECT_TRUE(files_.RemoveFile(Path(L"sub\\a")));
    EXPECT_TRUE(files_.RemoveFolder(Path(L"sub")));
    EXPECT_EQ(files_.Kind(Path(L"sub")), PathKind::kMissing);
}

TEST_F(FileSystemWinTest, FoldersAreMadeWithTheirParents) {
    files_.CreateFolders(Path(L"a\\b\\c"));
    EXPECT_EQ(files_.Kind(Path(L"a\\b\\c")), PathKind::kFolder);
    EXPECT_TRUE(files_.Info(Path(L"a"))->is_directory);
    for (const wchar_t* path : {L"a\\b\\c", L"a\\b", L"a"}) {
        EXPECT_TRUE(files_.RemoveFolder(Path(path)));
    }
}

TEST_F(FileSystemWinTest, OthersMayReadWriteAndDeleteAFileThatIsBeingSent) {
    Put(Path(L"f"), "content");
    {
        const auto reading = files_.OpenForReading(Path(L"f"));
        ASSERT_TRUE(reading);
        EXPECT_TRUE(files_.OpenForReading(Path(L"f")));
        EXPECT_TRUE(Put(Path(L"f"), "other"));
        EXPECT_TRUE(files_.RemoveFile(Path(L"f")));
    }
    EXPECT_EQ(files_.Kind(Path(L"f")), PathKind::kMissing);
}

TEST_F(FileSystemWinTest, TwoUploadsOfOneNameWriteTheSameFile) {
    {
        const auto first = files_.CreateForWriting(Path(L"f"));
        const auto second = files_.CreateForWriting(Path(L"f"));
        ASSERT_TRUE(first);
        ASSERT_TRUE(second);
        EXPECT_TRUE(first->Write("first"));
        EXPECT_TRUE(second->Write("2nd"));
    }
    // Both wrote from the start of the file, at once.
    EXPECT_EQ(Get(Path(L"f")), "2ndst");
}

TEST_F(FileSystemWinTest, AFileThatAnotherProgramLocksCannotBeOpened) {
    Put(Path(L"f"), "x");
    const UniqueFile lock(CreateFileW(Path(L"f").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(lock);
    EXPECT_EQ(files_.OpenForReading(Path(L"f")), nullptr);
    EXPECT_EQ(files_.CreateForWriting(Path(L"f")), nullptr);
}

TEST_F(FileSystemWinTest, AFolderCannotBeOpenedAsAFile) {
    EXPECT_EQ(files_.OpenForReading(root_), nullptr);
    EXPECT_EQ(files_.CreateForWriting(root_), nullptr);
}

TEST_F(FileSystemWinTest, DevicesAreNoFiles) {
    for (const wchar_t* name : {L"NUL", L"nul.txt", L"CON", L"COM1"}) {
        EXPECT_EQ(files_.OpenForReading(Path(name)), nullptr);
    }
    EXPECT_EQ(files_.OpenForReading(L"\\\\.\\NUL"), nullptr);
    EXPECT_EQ(files_.CreateForWriting(L"\\\\.\\NUL"), nullptr);
}

// Wine would make ordinary files of such names: none appears.
TEST_F(FileSystemWinTest, StreamsAndDevicesAreNeitherMadeNorTouched) {
    Put(Path(L"a.txt"), "kept");
    for (const wchar_t* name : {L"a.txt:s", L"a.txt::$DATA", L"NUL", L"com3.txt", L"CONIN$"}) {
        const std::wstring path = Path(name);
        EXPECT_EQ(files_.Kind(path), PathKind::kMissing);
        EXPECT_EQ(files_.Info(path), std::nullopt);
        EXPECT_EQ(files_.OpenForReading(path), nullptr);
        EXPECT_EQ(files_.CreateForWriting(path), nullptr);
        EXPECT_FALSE(files_.RemoveFile(path));
        EXPECT_FALSE(files_.RemoveFolder(path));
        EXPECT_FALSE(files_.List(path, [](const DirectoryEntry&) {}));
        files_.CreateFolders(path);
        files_.CreateFolders(JoinDirName(path, L"sub"));
    }
    EXPECT_EQ(Names(root_), std::vector<std::wstring>{L"a.txt"});
    EXPECT_EQ(Get(Path(L"a.txt")), "kept");
}

TEST_F(FileSystemWinTest, HiddenAndSystemFilesAreReplacedAndStayWhatTheyAre) {
    constexpr DWORD kKept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    for (const DWORD attributes :
         {DWORD{FILE_ATTRIBUTE_HIDDEN}, DWORD{FILE_ATTRIBUTE_SYSTEM}, kKept}) {
        Put(Path(L"f"), "a long content");
        ASSERT_TRUE(SetFileAttributesW(Path(L"f").c_str(), attributes));
        const DWORD before = GetFileAttributesW(Path(L"f").c_str()) & kKept;
        EXPECT_TRUE(Put(Path(L"f"), "new"));
        EXPECT_EQ(Get(Path(L"f")), "new");
        EXPECT_EQ(GetFileAttributesW(Path(L"f").c_str()) & kKept, before);
        SetFileAttributesW(Path(L"f").c_str(), FILE_ATTRIBUTE_NORMAL);
    }
}

TEST_F(FileSystemWinTest, APathWithANulNamesNothing) {
    Put(Path(L"f"), "x");
    const std::wstring path = Path(L"f") + std::wstring(L"\0.txt", 5);
    EXPECT_EQ(files_.Kind(path), PathKind::kMissing);
    EXPECT_EQ(files_.Info(path), std::nullopt);
    EXPECT_EQ(files_.FullPath(path), L"");
    EXPECT_EQ(files_.OpenForReading(path), nullptr);
    EXPECT_EQ(files_.CreateForWriting(path), nullptr);
    EXPECT_FALSE(files_.RemoveFile(path));
    EXPECT_FALSE(files_.RemoveFolder(Path(std::wstring(L"\0", 1))));
    EXPECT_FALSE(files_.List(Path(std::wstring(L"\0", 1)), [](const DirectoryEntry&) {}));
    files_.CreateFolders(Path(std::wstring(L"sub\0", 4)));
    EXPECT_EQ(Names(root_), std::vector<std::wstring>{L"f"});
}

TEST_F(FileSystemWinTest, FullPathsHaveAtMost259Characters) {
    EXPECT_EQ(files_.FullPath(L"C:\\a/./b\\..\\c."), L"C:\\a\\c");
    EXPECT_EQ(files_.FullPath(L""), L"");
    EXPECT_EQ(files_.FullPath(L"C:\\" + std::wstring(256, L'a')),
              L"C:\\" + std::wstring(256, L'a'));
    EXPECT_EQ(files_.FullPath(L"C:\\" + std::wstring(257, L'a')), L"");
    EXPECT_EQ(files_.FullPath(L"C:\\" + std::wstring(40'000, L'a')), L"");
}

TEST_F(FileSystemWinTest, PathsOfMoreThan32767CharactersHaveNoFullPathHoweverShortThatWouldBe) {
    std::wstring path = L"C:\\";
    while (path.size() < 30'000) path += L".\\";
    EXPECT_EQ(files_.FullPath(path + L"a.txt"), L"C:\\a.txt");
    while (path.size() < 32'768) path += L".\\";
    EXPECT_EQ(files_.FullPath(path + L"a.txt"), L"");
}

TEST_F(FileSystemWinTest, TheLastWriteIsToldInLocalTime) {
    Put(Path(L"f"), "x");
    const SYSTEMTIME written{2001, 2, 0, 3, 4, 5, 6, 0};
    FILETIME local{};
    FILETIME utc{};
    ASSERT_TRUE(SystemTimeToFileTime(&written, &local));
    ASSERT_TRUE(LocalFileTimeToFileTime(&local, &utc));
    {
        const UniqueFile file(CreateFileW(Path(L"f").c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(SetFileTime(file.Get(), nullptr, nullptr, &utc));
    }
    const LocalTime time = files_.Info(Path(L"f"))->modified;
    EXPECT_EQ(time.year, 2001);
    EXPECT_EQ(time.month, 2);
    EXPECT_EQ(time.day, 3);
    EXPECT_EQ(time.hour, 4);
    EXPECT_EQ(time.minute, 5);
    EXPECT_EQ(time.second, 6);
}

TEST_F(FileSystemWinTest, NoCallLeavesAHandleOpen) {
    Put(Path(L"f"), "x");
    const auto use_everything = [this] {
        Get(Path(L"f"));
        Put(Path(L"g"), "y");
        Names(root_);
        files_.RemoveFile(Path(L"g"));
        files_.OpenForReading(L"\\\\.\\NUL");
    };
    use_everything();
    DWORD before = 0;
    DWORD after = 0;
    GetProcessHandleCount(GetCurrentProcess(), &before);
    for (int i = 0; i < 200; ++i) use_everything();
    GetProcessHandleCount(GetCurrentProcess(), &after);
    EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace harbinet
