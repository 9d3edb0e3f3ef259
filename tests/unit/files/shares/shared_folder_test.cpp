#include "files/shares/share_fixture.h"

namespace harbinet {
namespace {

using test::FakeStream;
using test::FileCall;
using test::wall_seconds;
using Lines = std::vector<std::wstring>;

class SharedFolderTest : public test::ShareServiceTest {
protected:
    SharedFolderTest() {
        files.AddFolder(L"D:\\Share\\docs");
        files.AddFile(L"D:\\Share\\docs\\a.txt", "text");
        files.AddFolder(L"D:\\Share\\docs\\sub");
        files.AddFile(L"D:\\Share\\secret", "no");
        link_ = "/d/" + shares.CreateShareLink(L"docs", true);
    }

    std::string Get(const std::string& target) {
        return Serve(WithLinks([](const ShareServices& s, Exchange& e) {
                         ServeFolderLinkGet(s, "<page>", e);
                     }),
                     target);
    }
    std::string Delete(std::string body) {
        return Post(WithLinks(ServeFolderLinkPost), link_ + "/api/delete", std::move(body));
    }
    std::string Upload(test::HeaderText headers, const std::string& body = {}) {
        return Serve(WithLinks(ServeFolderLinkPost), link_ + "/upload", std::move(headers), body);
    }
    std::string UploadForm(const std::string& body) {
        return Upload({{"content-type", "multipart/form-data; boundary=B"},
                       {"content-length", std::to_string(body.size())}},
                      body);
    }

    const std::string kGone = Text("410 Gone", "Link expired or invalid");
    const std::string kNotFound = Text("404 Not Found", "Not Found");
    const std::string kOk = Json("200 OK", R"({"ok":true})");
    std::string link_;
};

TEST_F(SharedFolderTest, TheLinkItselfIsThePage) {
    const std::string kPage = Reply("200 OK", "text/html; charset=utf-8", "<page>");
    EXPECT_EQ(Get(link_), kPage);
    EXPECT_EQ(Get(link_ + "/"), kPage);
    EXPECT_EQ(Get(link_ + "?x=1"), kPage);
}

TEST_F(SharedFolderTest, OtherSubPathsAreNotFound) {
    for (const char* sub_path : {"//", "/x", "/api", "/api/list/", "/API/LIST", "/upload",
                                 "/api/delete", "/download/a.txt"}) {
        EXPECT_EQ(Get(link_ + sub_path), kNotFound) << sub_path;
    }
    for (const char* sub_path : {"", "/", "/api/list", "/download", "/upload/", "/x"}) {
        EXPECT_EQ(Post(WithLinks(ServeFolderLinkPost), link_ + sub_path, ""), kNotFound)
            << sub_path;
    }
}

TEST_F(SharedFolderTest, TheTokenIsTestedBeforeTheSubPath) {
    const std::string file_link = "/d/" + shares.CreateShareLink(L"docs/a.txt", false);
    for (const std::string& link : {std::string("/d/"), std::string("/d/unknown"), file_link,
                                    link_ + "0", std::string("/d//") + link_.substr(3)}) {
        for (const char* sub_path : {"", "/", "/api/list", "/download?name=a.txt", "/x"}) {
            EXPECT_EQ(Get(link + sub_path), kGone) << link << sub_path;
        }
        for (const char* sub_path : {"/api/delete", "/upload", "/x", ""}) {
            EXPECT_EQ(Post(WithLinks(ServeFolderLinkPost), link + sub_path, ""), kGone)
                << link << sub_path;
        }
    }
}

TEST_F(SharedFolderTest, AnExpiredLinkIsGone) {
    wall_seconds += 86'399;
    EXPECT_NE(Get(link_), kGone);
    wall_seconds += 1;
    EXPECT_EQ(Get(link_), kGone);
}

TEST_F(SharedFolderTest, TheListingHoldsFilesOnly) {
    files.AddFile(L"D:\\Share\\docs\\big", "").claimed_size = 5'000'000'000;
    EXPECT_EQ(Get(link_ + "/api/list"),
              Json("200 OK", R"({"ok":true,"items":[{"name":"a.txt","size":4},)"
                             R"({"name":"big","size":5000000000}]})"));
}

TEST_F(SharedFolderTest, AListingWithoutItsFolderIsNotFound) {
    files.FailOnce(FileCall::kFullPath);
    EXPECT_EQ(Get(link_ + "/api/list"), kNotFound);
    files.FailOnce(FileCall::kKind);
    EXPECT_EQ(Get(link_ + "/api/list"),
              Json("404 Not Found", R"({"ok":false,"error":"Directory not found"})"));
}

TEST_F(SharedFolderTest, AFileOfTheFolderIsDownloadedUnderTheNameAsSent) {
    EXPECT_EQ(Get(link_ + "/download?name=A.TXT"), Attachment("A.TXT", "text"));
    EXPECT_EQ(Logged(), Lines{L"SHDIRDL D:\\Share\\docs\\A.TXT"});
    files.FailOnce(FileCall::kSize);
    log.Clear();
    EXPECT_EQ(Get(link_ + "/download?name=a.txt"), "");
    EXPECT_EQ(Logged(), (Lines{L"SHDIRDL D:\\Share\\docs\\a.txt",
                               L"SHDIRDL failed: D:\\Share\\docs\\a.txt"}));
}

TEST_F(SharedFolderTest, DownloadErrorsAreTestedInOrder) {
    const std::string kInvalid = Text("400 Bad Request", "Invalid name");
    for (const char* query : {"", "?name=", "?name=..", "?name=..%2fsecret", "?name=..%5Csecret",
                              "?name=sub/x", "?name=%2fx", "?path=a.txt"}) {
        files.FailOnce(FileCall::kFullPath);
        EXPECT_EQ(Get(link_ + "/download" + query), kInvalid) << query;
    }
    files.FailOnce(FileCall::kFullPath);
    EXPECT_EQ(Get(link_ + "/download?name=a.txt"), kNotFound);
    EXPECT_EQ(Get(link_ + "/download?name=gone"), kNotFound);
    EXPECT_EQ(Get(link_ + "/download?name=sub"), kNotFound);
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(SharedFolderTest, AFileIsDeletedAndLogged) {
    EXPECT_EQ(Delete(R"({"name":"a.txt"})"), kOk);
    EXPECT_FALSE(files.Exists(L"D:\\Share\\docs\\a.txt"));
    EXPECT_EQ(Logged(), Lines{L"SHDIRDEL D:\\Share\\docs\\a.txt"});
}

TEST_F(SharedFolderTest, DeleteErrorsAreTestedInOrder) {
    const auto error = [](std::string_view status, std::string_view message) {
        return Json(status, R"({"ok":false,"error":")" + std::string(message) + "\"}");
    };
    for (const char* body :
         {"", "{}", R"({"name":""})", R"({"name":"../secret"})", R"({"name":"..\\secret"})",
          R"({"name":"sub/x"})", R"({"name":".."})"}) {
        EXPECT_EQ(Delete(body), error("400 Bad Request", "Invalid name")) << body;
    }
    files.FailOnce(FileCall::kFullPath);
    EXPECT_EQ(Delete(R"({"name":".."})"), error("400 Bad Request", "Invalid name"));
    EXPECT_EQ(Delete(R"({"name":"gone"})"), error("400 Bad Request", "Invalid dir"));
    EXPECT_EQ(Delete(R"({"name":"gone"})"), error("404 Not Found", "Not found"));
    EXPECT_EQ(Delete(R"({"name":"sub"})"),
              error("400 Bad Request", "Directories cannot be deleted here"));
    files.FailOnce(FileCall::kRemoveFile);
    EXPECT_EQ(Delete(R"({"name":"a.txt"})"), error("400 Bad Request", "Failed to delete"));
    EXPECT_TRUE(files.Exists(L"D:\\Share\\docs\\sub"));
    EXPECT_EQ(files.Content(L"D:\\Share\\secret"), "no");
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(SharedFolderTest, FilesAreUploadedDirectlyIntoTheFolder) {
    EXPECT_EQ(UploadForm("--B\r\nx; filename=\"../up.txt\"\r\n\r\nnew\r\n--B--\r\n"), kOk);
    EXPECT_EQ(files.Content(L"D:\\Share\\docs\\.._up.txt"), "new");
    EXPECT_EQ(Logged(), Lines{L"UPLOAD  D:\\Share\\docs\\.._up.txt"});
}

TEST_F(SharedFolderTest, AFolderThatWentAwayIsMadeAgainByAnUpload) {
    for (const wchar_t* path :
         {L"D:\\Share\\docs\\a.txt", L"D:\\Share\\docs\\sub", L"D:\\Share\\docs"}) {
        files.Remove(path);
    }
    EXPECT_EQ(UploadForm("--B\r\nfilename=\"n\"\r\n\r\nnew\r\n--B--\r\n"), kOk);
    EXPECT_EQ(files.Content(L"D:\\Share\\docs\\n"), "new");
}

TEST_F(SharedFolderTest, UploadErrorsAreTestedInOrderAndArePlainText) {
    const test::HeaderText kChunked = {{"transfer-encoding", "Chunked"}};
    const test::HeaderText kBoundary = {{"content-type", "multipart/form-data; boundary=B"}};
    files.FailOnce(FileCall::kFullPath);
    EXPECT_EQ(Upload(kChunked), Text("411 Length Required", "Chunked upload not supported"));
    EXPECT_EQ(Upload({}), Text("400 Bad Request", "Invalid dir"));
    EXPECT_EQ(Upload({}), Text("400 Bad Request", "Missing multipart boundary"));
    EXPECT_EQ(Upload(kBoundary), Text("411 Length Required", "Content-Length required"));
    EXPECT_EQ(UploadForm("--B\r\nno end"), Text("400 Bad Request", "Upload aborted"));
    files.FailOnce(FileCall::kCreateForWriting);
    EXPECT_EQ(UploadForm("--B\r\nfilename=\"n\"\r\n\r\nnew\r\n--B--\r\n"),
              Text("400 Bad Request", "Failed to write file"));
    EXPECT_EQ(Logged(), Lines{});
}

// What Windows would read as a stream of a file or as a device is missing, although the file system
// in memory holds it.
TEST_F(SharedFolderTest, StreamsAndDevicesAreMissing) {
    for (const std::string name : {"a.pdf:Zone.Identifier", "COM3"}) {
        const std::wstring wide(name.begin(), name.end());
        files.AddFile(L"D:\\Share\\docs\\" + wide, "secret");
        EXPECT_EQ(Get(link_ + "/download?name=" + name), kNotFound);
        EXPECT_EQ(Delete(R"({"name":")" + name + "\"}"),
                  Json("404 Not Found", R"({"ok":false,"error":"Not found"})"));
        EXPECT_EQ(files.Content(L"D:\\Share\\docs\\" + wide), "secret");
        EXPECT_EQ(Serve(WithLinks(ServeCreateShareLink), "/api/share?path=docs/" + name),
                  Json("404 Error", R"({"ok":false,"error":"Not found"})"));
        // A link that was made some other way.
        EXPECT_EQ(
            Serve(WithLinks(ServeFileLink), "/s/" + shares.CreateShareLink(L"docs/" + wide, false)),
            Text("404 Not Found", "Not Found"));
    }
}

}  // namespace
}  // namespace harbinet
