#include "files/web_path.h"

#include <gtest/gtest.h>

#include "support/fake_file_system.h"

namespace harbinet {
namespace {

using test::FakeFileSystem;
using test::FileCall;

std::wstring Resolve(const std::wstring& root, const std::wstring& relative) {
    FakeFileSystem files;
    return ResolveWebPath(files, root, relative);
}

TEST(WebPathTest, TheEmptyPathIsTheWebRootExactlyAsStored) {
    for (const wchar_t* root : {L"D:\\Share", L"D:\\Share\\", L"d:/share/./x"}) {
        for (const wchar_t* relative : {L"", L"/", L"\\", L"///", L"\\/\\"}) {
            EXPECT_EQ(Resolve(root, relative), root);
        }
    }
}

TEST(WebPathTest, BothSeparatorsGiveTheSamePath) {
    EXPECT_EQ(Resolve(L"D:\\Share", L"docs/2024"), L"D:\\Share\\docs\\2024");
    EXPECT_EQ(Resolve(L"D:\\Share", L"\\docs\\2024"), L"D:\\Share\\docs\\2024");
    EXPECT_EQ(Resolve(L"D:\\Share\\", L"docs\\2024"), L"D:\\Share\\docs\\2024");
}

TEST(WebPathTest, TwoDotsAreRefusedWhereverTheyStand) {
    for (const wchar_t* relative : {L"..", L"../x", L"..\\x", L"a/../b", L"a..b", L"a..b.txt",
                                    L"notes../x", L"x/..", L"/..", L"...", L"a/..."}) {
        EXPECT_EQ(Resolve(L"D:\\Share", relative), L"");
    }
}

TEST(WebPathTest, SingleDotsAreNormalised) {
    EXPECT_EQ(Resolve(L"D:\\Share", L"."), L"D:\\Share");
    EXPECT_EQ(Resolve(L"D:\\Share", L"./x"), L"D:\\Share\\x");
    EXPECT_EQ(Resolve(L"D:\\Share", L"a.b/.c"), L"D:\\Share\\a.b\\.c");
}

TEST(WebPathTest, ADriveLetterIsJoinedBelowTheRoot) {
    EXPECT_EQ(Resolve(L"D:\\Share", L"C:/Windows"), L"D:\\Share\\C:\\Windows");
    EXPECT_EQ(Resolve(L"D:\\Share", L"\\\\host\\c$"), L"D:\\Share\\host\\c$");
    EXPECT_EQ(Resolve(L"D:\\Share", L"\\\\?\\C:\\x"), L"D:\\Share\\?\\C:\\x");
}

TEST(WebPathTest, TheLongestPathHas259Characters) {
    const std::wstring root = L"D:\\Share";
    EXPECT_EQ(Resolve(root, std::wstring(250, L'a')), root + L"\\" + std::wstring(250, L'a'));
    EXPECT_EQ(Resolve(root, std::wstring(251, L'a')), L"");
    EXPECT_EQ(Resolve(root, std::wstring(100'000, L'a')), L"");
}

// A file system whose full paths are what the test says.
class FixedFullPaths final : public FileSystem {
public:
    FixedFullPaths(std::wstring root, std::wstring candidate)
        : root_(std::move(root)), candidate_(std::move(candidate)) {}
    std::wstring FullPath(const std::wstring& path) override {
        return path == L"D:\\Share" ? root_ : candidate_;
    }
    PathKind Kind(const std::wstring&) override { return PathKind::kMissing; }
    std::optional<FileInfo> Info(const std::wstring&) override { return std::nullopt; }
    bool List(const std::wstring&, const std::function<void(const DirectoryEntry&)>&) override {
        return false;
    }
    std::unique_ptr<ReadableFile> OpenForReading(const std::wstring&) override { return nullptr; }
    std::unique_ptr<WritableFile> CreateForWriting(const std::wstring&) override { return nullptr; }
    bool RemoveFile(const std::wstring&) override { return false; }
    bool RemoveFolder(const std::wstring&) override { return false; }
    void CreateFolders(const std::wstring&) override {}

private:
    const std::wstring root_;
    const std::wstring candidate_;
};

TEST(WebPathTest, TheResultMustBeginWithTheRootWhateverItsCase) {
    const struct {
        const wchar_t* root;
        const wchar_t* candidate;
        const wchar_t* expected;
    } kCases[] = {
        {L"D:\\Share", L"d:\\share\\x", L"d:\\share\\x"},
        {L"d:\\SHARE", L"D:\\Share\\x", L"D:\\Share\\x"},
        {L"D:\\Share", L"D:\\Shar", L""},
        {L"D:\\Share", L"\\\\.\\NUL", L""},
        {L"D:\\Share", L"E:\\Share\\x", L""},
        {L"D:\\Share", L"", L""},
        // No boundary is demanded after the prefix.
        {L"D:\\Share", L"D:\\Share2", L"D:\\Share2"},
        {L"D:\\Share\\", L"D:\\Share", L""},
    };
    for (const auto& c : kCases) {
        FixedFullPaths files(c.root, c.candidate);
        EXPECT_EQ(ResolveWebPath(files, L"D:\\Share", L"x"), c.expected);
    }
}

TEST(WebPathTest, ARootWithoutAFullPathHoldsNothing) {
    FixedFullPaths files(L"", L"C:\\Windows");
    EXPECT_EQ(ResolveWebPath(files, L"D:\\Share", L"x"), L"");
    EXPECT_EQ(Resolve(L"", L""), L"");
}

TEST(WebPathTest, EitherFullPathMayFail) {
    for (const int successes : {0, 1}) {
        FakeFileSystem files;
        files.FailOnce(FileCall::kFullPath, successes);
        EXPECT_EQ(ResolveWebPath(files, L"D:\\Share", L"x"), L"");
    }
}

}  // namespace
}  // namespace harbinet
