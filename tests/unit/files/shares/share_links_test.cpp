#include "files/shares/share_fixture.h"

namespace harbinet {
namespace {

using test::FileCall;
using test::wall_seconds;
using Lines = std::vector<std::wstring>;

class ShareLinksTest : public test::ShareServiceTest {
protected:
    ShareLinksTest() {
        files.AddFolder(L"D:\\Share\\docs");
        files.AddFile(L"D:\\Share\\docs\\\u00FC b.txt", "text");
    }

    std::string Create(std::string_view query, test::HeaderText headers = {{"host", "pc:8443"}}) {
        return Serve(WithLinks(ServeCreateShareLink), "/api/share" + std::string(query),
                     std::move(headers));
    }
    std::string Use(const std::string& token) {
        return Serve(WithLinks(ServeFileLink), "/s/" + token);
    }

    const std::string kGone = Text("410 Gone", "Link expired or invalid");
    const std::string kNotFound = Text("404 Not Found", "Not Found");
    // The fake digest repeats the nonce's digits, which count up from 1.
    const std::string kFirstToken =
        "3031303230333034303530363037303830393061306230633064306530663130";
};

TEST_F(ShareLinksTest, ALinkIsToldWithItsPathUrlKindAndLifetime) {
    EXPECT_EQ(Create("?path=docs"),
              Json("200 OK", R"({"ok":true,"path":"/d/)" + kFirstToken +
                                 R"(","url":"https://pc:8443/d/)" + kFirstToken +
                                 R"(","kind":"dir","ttlSeconds":86400})"));
    const std::string file = Create("?path=docs/%C3%BC+b.txt");
    EXPECT_NE(file.find(R"({"ok":true,"path":"/s/)"), std::string::npos);
    EXPECT_NE(file.find(R"("url":"https://pc:8443/s/)"), std::string::npos);
    EXPECT_NE(file.find(R"(","kind":"file","ttlSeconds":86400})"), std::string::npos);
}

TEST_F(ShareLinksTest, WithoutAHostTheUrlIsEmpty) {
    for (const test::HeaderText& headers : {test::HeaderText{}, test::HeaderText{{"host", ""}}}) {
        EXPECT_NE(Create("?path=docs", headers).find(R"(","url":"","kind":"dir")"),
                  std::string::npos);
    }
}

TEST_F(ShareLinksTest, TheHostIsUsedAsSentAndEscaped) {
    EXPECT_NE(Create("?path=docs", {{"host", "a\"b\\c"}}).find(R"("url":"https://a\"b\\c/d/)"),
              std::string::npos);
}

TEST_F(ShareLinksTest, ErrorsAreTestedInOrder) {
    EXPECT_EQ(Create("?path=.."), Json("400 Error", R"({"ok":false,"error":"Invalid path"})"));
    EXPECT_EQ(Create("?path=a..b"), Json("400 Error", R"({"ok":false,"error":"Invalid path"})"));
    EXPECT_EQ(Create("?path=gone"), Json("404 Error", R"({"ok":false,"error":"Not found"})"));
    const std::string kNoToken =
        Json("500 Error", R"({"ok":false,"error":"Failed to create token"})");
    for (const char* query : {"", "?path=", "?path=/", "?path=%5C%5c"}) {
        EXPECT_EQ(Create(query), kNoToken) << query;
    }
    files.FailOnce(FileCall::kKind);
    EXPECT_EQ(Create("?path=docs"), Json("404 Error", R"({"ok":false,"error":"Not found"})"));
}

TEST_F(ShareLinksTest, AFileLinkDownloadsTheFileAndIsLogged) {
    const std::string token = shares.CreateShareLink(L"docs/\u00FC b.txt", false);
    EXPECT_EQ(Use(token), Attachment("\xC3\xBC b.txt", "text"));
    EXPECT_EQ(Logged(), Lines{L"SHAREDL D:\\Share\\docs\\\u00FC b.txt"});
    files.FailOnce(FileCall::kOpenForReading);
    log.Clear();
    EXPECT_EQ(Use(token), "");
    EXPECT_EQ(Logged(), (Lines{L"SHAREDL D:\\Share\\docs\\\u00FC b.txt",
                               L"SHAREDL failed: D:\\Share\\docs\\\u00FC b.txt"}));
}

TEST_F(ShareLinksTest, ShortTokensAreNotFoundAndUnknownOnesGone) {
    for (const std::size_t length : {0U, 1U, 31U}) {
        EXPECT_EQ(Use(std::string(length, 'a')), kNotFound) << length;
    }
    for (const std::size_t length : {32U, 63U, 64U, 1'000U}) {
        EXPECT_EQ(Use(std::string(length, 'a')), kGone) << length;
    }
}

TEST_F(ShareLinksTest, AFolderLinkIsNoFileLink) {
    EXPECT_EQ(Use(shares.CreateShareLink(L"docs", true)), kGone);
}

TEST_F(ShareLinksTest, AnExpiredOrClearedLinkIsGone) {
    const std::string token = shares.CreateShareLink(L"docs/\u00FC b.txt", false);
    wall_seconds += 86'399;
    EXPECT_EQ(Use(token), Attachment("\xC3\xBC b.txt", "text"));
    wall_seconds += 1;
    EXPECT_EQ(Use(token), kGone);
    const std::string second = shares.CreateShareLink(L"docs/\u00FC b.txt", false);
    shares.ClearShareLinks();
    EXPECT_EQ(Use(second), kGone);
}

TEST_F(ShareLinksTest, AFileThatWentAwayIsNotFoundRatherThanGone) {
    const std::string token = shares.CreateShareLink(L"docs/\u00FC b.txt", false);
    files.FailOnce(FileCall::kFullPath);
    EXPECT_EQ(Use(token), kNotFound);
    files.Remove(L"D:\\Share\\docs\\\u00FC b.txt");
    EXPECT_EQ(Use(token), kNotFound);
    files.AddFolder(L"D:\\Share\\docs\\\u00FC b.txt");
    EXPECT_EQ(Use(token), kNotFound);
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(ShareLinksTest, ALinkFollowsTheWebRootByItsRelativePath) {
    const std::string token = shares.CreateShareLink(L"a.txt", false);
    files.AddFile(L"E:\\Other\\a.txt", "other");
    web_root.Set(L"E:\\Other");
    EXPECT_EQ(Use(token), Attachment("a.txt", "other"));
}

}  // namespace
}  // namespace harbinet
