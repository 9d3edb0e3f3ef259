#include "files/checked_files.h"

#include <string>
#include <vector>

#include "files/service_fixture.h"

namespace harbinet {
namespace {

// Holds everything it is asked for and keeps every path that reaches it.
class EverythingExists final : public FileSystem {
public:
    PathKind Kind(const std::wstring& path) override {
        paths.push_back(path);
        return path.find(L"missing") == std::wstring::npos ? PathKind::kFolder : PathKind::kMissing;
    }
    std::optional<FileInfo> Info(const std::wstring& path) override {
        paths.push_back(path);
        return FileInfo{};
    }
    std::wstring FullPath(const std::wstring& path) override { return path; }
    bool List(const std::wstring& folder,
              const std::function<void(const DirectoryEntry&)>&) override {
        paths.push_back(folder);
        return true;
    }
    std::unique_ptr<ReadableFile> OpenForReading(const std::wstring& path) override {
        paths.push_back(path);
        return inner_.OpenForReading(L"D:\\a");
    }
    std::unique_ptr<WritableFile> CreateForWriting(const std::wstring& path) override {
        paths.push_back(path);
        return inner_.CreateForWriting(L"D:\\a");
    }
    bool RemoveFile(const std::wstring& path) override {
        paths.push_back(path);
        return true;
    }
    bool RemoveFolder(const std::wstring& path) override {
        paths.push_back(path);
        return true;
    }
    void CreateFolders(const std::wstring& path) override { created.push_back(path); }

    EverythingExists() {
        inner_.AddFolder(L"D:");
        inner_.AddFile(L"D:\\a", "x");
    }

    std::vector<std::wstring> paths;
    std::vector<std::wstring> created;

private:
    test::FakeFileSystem inner_;
};

using Paths = std::vector<std::wstring>;

TEST(CheckedFilesTest, NoCallReachesTheSystemWithAPathThatIsNoFile) {
    EverythingExists system;
    CheckedFiles files(system);
    for (const std::wstring path :
         {L"D:\\a.txt:stream", L"D:\\NUL", L"D:\\COM3.txt", L"\\\\.\\C:\\x", L""}) {
        EXPECT_EQ(files.Kind(path), PathKind::kMissing);
        EXPECT_FALSE(files.Info(path).has_value());
        EXPECT_FALSE(files.List(path, [](const DirectoryEntry&) {}));
        EXPECT_EQ(files.OpenForReading(path), nullptr);
        EXPECT_EQ(files.CreateForWriting(path), nullptr);
        EXPECT_FALSE(files.RemoveFile(path));
        EXPECT_FALSE(files.RemoveFolder(path));
        files.CreateFolders(path);
    }
    EXPECT_EQ(system.paths, Paths{});
    EXPECT_EQ(system.created, Paths{});
}

TEST(CheckedFilesTest, EveryCallForAFileReachesTheSystem) {
    EverythingExists system;
    CheckedFiles files(system);
    const std::wstring path = L"D:\\a";
    EXPECT_EQ(files.FullPath(L"D:\\a:b"), L"D:\\a:b");
    EXPECT_EQ(files.Kind(path), PathKind::kFolder);
    EXPECT_TRUE(files.Info(path).has_value());
    EXPECT_TRUE(files.List(path, [](const DirectoryEntry&) {}));
    EXPECT_NE(files.OpenForReading(path), nullptr);
    EXPECT_NE(files.CreateForWriting(path), nullptr);
    EXPECT_TRUE(files.RemoveFile(path));
    EXPECT_TRUE(files.RemoveFolder(path));
    EXPECT_EQ(system.paths, Paths(7, path));
    files.CreateFolders(path);
    EXPECT_EQ(system.created, Paths{path});
}

TEST(CheckedFilesTest, NoParentIsMadeUnderADevicesName) {
    EverythingExists system;
    CheckedFiles files(system);
    for (const std::wstring path :
         {L"D:\\COM3\\missing", L"D:\\missing\\NUL.d\\missing\\missing"}) {
        files.CreateFolders(path);
    }
    EXPECT_EQ(system.created, Paths{});
    EXPECT_EQ(system.paths, Paths{L"D:\\missing\\NUL.d\\missing"});
}

TEST(CheckedFilesTest, FoldersAreMadeBelowWhatExistsWhateverItsName) {
    EverythingExists system;
    CheckedFiles files(system);
    const Paths kPaths = {L"D:\\con.stantin\\files\\missing\\missing", L"D:\\missing\\missing",
                          L"missing", L"\\missing\\missing"};
    for (const std::wstring& path : kPaths) files.CreateFolders(path);
    EXPECT_EQ(system.created, kPaths);
}

// Every endpoint, asked for what the file system in memory holds under names that Windows would
// read as a stream and as a device.
class OddNamesTest : public test::FileServiceTest {
protected:
    OddNamesTest() {
        for (const wchar_t* path : {L"D:\\Share\\a.pdf:Zone.Identifier", L"D:\\Share\\COM3"}) {
            files.AddFile(path, "secret");
        }
    }
    static constexpr const char* kNames[] = {"a.pdf:Zone.Identifier", "COM3"};

    static std::string Failed(std::string_view status, std::string_view message) {
        return Json(status, R"({"ok":false,"error":")" + std::string(message) + "\"}");
    }
    std::string PathBody(const std::string& name) const {
        return R"({"path":"","name":")" + name + R"(","names":[")" + name + "\"]}";
    }
};

TEST_F(OddNamesTest, AreMissingForEveryEndpoint) {
    for (const std::string name : kNames) {
        EXPECT_EQ(Serve(ServeDownload, "/download?path=" + name),
                  Text("404 Not Found", "Not Found"));
        EXPECT_EQ(Serve(ServeListing, "/api/list?path=" + name),
                  Failed("404 Error", "Directory not found"));
        EXPECT_EQ(Post(ServeDelete, "/api/delete", PathBody(name)),
                  Failed("400 Error", "Failed to delete"));
        EXPECT_EQ(Post(ServeRemoveFolder, "/api/rmdir", PathBody(name)),
                  Failed("400 Error", "Failed (folder must be empty)"));
        EXPECT_EQ(Post(ServeDeleteMany, "/api/delete_many", PathBody(name)),
                  Json("200 OK", R"({"ok":true,"deleted":0,"failed":1})"));
    }
    EXPECT_EQ(files.Content(L"D:\\Share\\a.pdf:Zone.Identifier"), "secret");
    EXPECT_EQ(files.Content(L"D:\\Share\\COM3"), "secret");
}

TEST_F(OddNamesTest, AreNeverMade) {
    for (const std::string name : {"b:c", "NUL", "lpt1.d"}) {
        // A folder that cannot be made is answered like every other.
        EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", PathBody(name)),
                  Json("200 OK", R"({"ok":true})"));
        EXPECT_FALSE(files.Exists(L"D:\\Share\\" + std::wstring(name.begin(), name.end())));
    }
    const std::string body =
        "--B\r\nContent-Disposition: form-data; filename=\"NUL.txt\"\r\n\r\nx\r\n--B--";
    EXPECT_EQ(Serve(ServeUpload, "/upload?path=",
                    {{"content-type", "multipart/form-data; boundary=B"},
                     {"content-length", std::to_string(body.size())}},
                    body),
              Failed("400 Error", "Failed to write file"));
    EXPECT_FALSE(files.Exists(L"D:\\Share\\NUL.txt"));
}

}  // namespace
}  // namespace harbinet
