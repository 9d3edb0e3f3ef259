#include "files/folder_changes.h"

#include "files/service_fixture.h"

namespace harbinet {
namespace {

using test::FileCall;
using Lines = std::vector<std::wstring>;

class FolderChangesTest : public test::FileServiceTest {
protected:
    FolderChangesTest() {
        files.AddFolder(L"D:\\Share\\docs");
        files.AddFile(L"D:\\Share\\docs\\a.txt", "a");
        files.AddFolder(L"D:\\Share\\docs\\empty");
    }

    static std::string Error(std::string_view message) {
        return Json("400 Error", R"({"ok":false,"error":")" + std::string(message) + "\"}");
    }

    const std::string kOk = Json("200 OK", R"({"ok":true})");
};

TEST_F(FolderChangesTest, TheThreeSingleEntryEndpointsRefuseInTheSameOrder) {
    const struct {
        const char* body;
        const char* message;
    } kCases[] = {
        {"", "Missing name"},
        {"{}", "Missing name"},
        {R"({"path":".."})", "Missing name"},
        {R"({"path":"..","name":""})", "Missing name"},
        {R"({"path":"","name":5})", "Missing name"},
        {R"({"path":"..","name":"a/b"})", "Invalid path"},
        {R"({"path":"../x","name":"a"})", "Invalid path"},
        {R"({"path":"docs","name":"a/b"})", "Invalid name"},
        {R"({"path":"docs","name":"a\\b"})", "Invalid name"},
        {R"({"path":"docs","name":".."})", "Invalid name"},
        {R"({"path":"docs","name":"a..b"})", "Invalid name"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", c.body), Error(c.message)) << c.body;
        EXPECT_EQ(Post(ServeRemoveFolder, "/api/rmdir", c.body), Error(c.message)) << c.body;
        EXPECT_EQ(Post(ServeDelete, "/api/delete", c.body), Error(c.message)) << c.body;
    }
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(FolderChangesTest, AFolderIsMadeInTheGivenFolderOrTheRoot) {
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", R"({"path":"docs","name":"new"})"), kOk);
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", R"({"path":"","name":"\u00FC"})"), kOk);
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", "{\"name\":\"\xC3\xBC\"}"), kOk);
    EXPECT_EQ(files.Kind(L"D:\\Share\\docs\\new"), PathKind::kFolder);
    EXPECT_EQ(files.Kind(L"D:\\Share\\\u00FC"), PathKind::kFolder);
    EXPECT_EQ(Logged(), (Lines{L"MKDIR   D:\\Share\\docs\\new", L"MKDIR   D:\\Share\\u00FC",
                               L"MKDIR   D:\\Share\\\u00FC"}));
}

TEST_F(FolderChangesTest, MakingAFolderNeverFails) {
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", R"({"path":"docs","name":"empty"})"), kOk);
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", R"({"path":"docs","name":"a.txt"})"), kOk);
    files.FailOnce(FileCall::kCreateFolders);
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", R"({"path":"docs","name":"a?b"})"), kOk);
    EXPECT_FALSE(files.Exists(L"D:\\Share\\docs\\a?b"));
    EXPECT_EQ(files.Content(L"D:\\Share\\docs\\a.txt"), "a");
    EXPECT_EQ(Logged(), (Lines{L"MKDIR   D:\\Share\\docs\\empty", L"MKDIR   D:\\Share\\docs\\a.txt",
                               L"MKDIR   D:\\Share\\docs\\a?b"}));
}

TEST_F(FolderChangesTest, OnlyAnEmptyFolderIsRemoved) {
    const std::string kFailed = Error("Failed (folder must be empty)");
    EXPECT_EQ(Post(ServeRemoveFolder, "/api/rmdir", R"({"path":"","name":"docs"})"), kFailed);
    EXPECT_EQ(Post(ServeRemoveFolder, "/api/rmdir", R"({"path":"","name":"gone"})"), kFailed);
    EXPECT_EQ(Post(ServeRemoveFolder, "/api/rmdir", R"({"path":"docs","name":"a.txt"})"), kFailed);
    EXPECT_EQ(Logged(), Lines{});
    EXPECT_EQ(Post(ServeRemoveFolder, "/api/rmdir", R"({"path":"docs","name":"empty"})"), kOk);
    EXPECT_FALSE(files.Exists(L"D:\\Share\\docs\\empty"));
    EXPECT_EQ(Logged(), Lines{L"RMDIR   D:\\Share\\docs\\empty"});
}

TEST_F(FolderChangesTest, DeletingTakesOneFileOrEmptyFolder) {
    const std::string kFailed = Error("Failed to delete");
    EXPECT_EQ(Post(ServeDelete, "/api/delete", R"({"path":"","name":"docs"})"), kFailed);
    EXPECT_EQ(Post(ServeDelete, "/api/delete", R"({"path":"docs","name":"gone"})"), kFailed);
    EXPECT_EQ(Logged(), Lines{});
    EXPECT_EQ(Post(ServeDelete, "/api/delete", R"({"path":"docs","name":"empty"})"), kOk);
    EXPECT_EQ(Post(ServeDelete, "/api/delete", R"({"path":"docs","name":"a.txt"})"), kOk);
    EXPECT_FALSE(files.Exists(L"D:\\Share\\docs\\empty"));
    EXPECT_FALSE(files.Exists(L"D:\\Share\\docs\\a.txt"));
    EXPECT_EQ(Logged(),
              (Lines{L"DELETE  D:\\Share\\docs\\empty", L"DELETE  D:\\Share\\docs\\a.txt"}));
}

TEST_F(FolderChangesTest, WhatTheSystemKeepsIsReportedAsNotDeleted) {
    const std::string kBody = R"({"path":"docs","name":"a.txt"})";
    files.At(L"D:\\Share\\docs\\a.txt").is_read_only = true;
    EXPECT_EQ(Post(ServeDelete, "/api/delete", kBody), Error("Failed to delete"));
    files.At(L"D:\\Share\\docs\\a.txt").is_read_only = false;
    for (const FileCall call : {FileCall::kKind, FileCall::kRemoveFile}) {
        files.FailOnce(call);
        EXPECT_EQ(Post(ServeDelete, "/api/delete", kBody), Error("Failed to delete"));
    }
    files.FailOnce(FileCall::kRemoveFolder);
    EXPECT_EQ(Post(ServeDelete, "/api/delete", R"({"path":"docs","name":"empty"})"),
              Error("Failed to delete"));
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(FolderChangesTest, DeleteManyRefusesInOrder) {
    for (const char* body : {"", "{}", R"({"names":[]})", R"({"names":"a"})", R"({"names":[1]})",
                             R"({"path":"..","names":[]})",
                             R"({"names":["a")"
                             R"( x])"}) {
        EXPECT_EQ(Post(ServeDeleteMany, "/api/delete_many", body), Error("Missing names[]"))
            << body;
    }
    EXPECT_EQ(Post(ServeDeleteMany, "/api/delete_many", R"({"path":"..","names":["a"]})"),
              Error("Invalid path"));
}

TEST_F(FolderChangesTest, DeleteManyCountsWhatItDeletedAndWhatNot) {
    EXPECT_EQ(Post(ServeDeleteMany, "/api/delete_many",
                   R"({"path":"docs","names":["a.txt","..","empty"]})"),
              Json("200 OK", R"({"ok":true,"deleted":1,"failed":2})"));
    EXPECT_TRUE(files.Exists(L"D:\\Share\\docs\\empty"));
    EXPECT_EQ(Logged(), Lines{L"DELETE  D:\\Share\\docs\\a.txt"});
}

TEST_F(FolderChangesTest, DeleteManySucceedsEvenWhenEveryNameFails) {
    files.At(L"D:\\Share\\docs\\a.txt").is_read_only = true;
    EXPECT_EQ(Post(ServeDeleteMany, "/api/delete_many",
                   R"({"path":"docs","names":["","a/b","a\\b","a..b","gone","a.txt"]})"),
              Json("200 OK", R"({"ok":true,"deleted":0,"failed":6})"));
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(FolderChangesTest, DeleteManyGoesOnAfterAFailureAndKeepsTheOrder) {
    files.AddFile(L"D:\\Share\\docs\\b", "b");
    files.AddFile(L"D:\\Share\\docs\\c", "c");
    files.FailOnce(FileCall::kRemoveFile, 1);
    EXPECT_EQ(Post(ServeDeleteMany, "/api/delete_many",
                   R"({"path":"\\docs\\","names":["c","b","a.txt","c"]})"),
              Json("200 OK", R"({"ok":true,"deleted":2,"failed":2})"));
    EXPECT_EQ(Logged(), (Lines{L"DELETE  D:\\Share\\docs\\c", L"DELETE  D:\\Share\\docs\\a.txt"}));
}

TEST_F(FolderChangesTest, EnsuringAFolderMakesItsParentsAndLeavesWhatExists) {
    EnsureDirectory(files, L"D:\\Share\\x\\y");
    EXPECT_EQ(files.Kind(L"D:\\Share\\x"), PathKind::kFolder);
    EXPECT_EQ(files.Kind(L"D:\\Share\\x\\y"), PathKind::kFolder);
    EnsureDirectory(files, L"D:\\Share\\docs\\a.txt");
    EXPECT_EQ(files.Kind(L"D:\\Share\\docs\\a.txt"), PathKind::kFile);
}

}  // namespace
}  // namespace harbinet
