#include "files/listing.h"

#include "files/service_fixture.h"

namespace harbinet {
namespace {

using test::FileCall;

class ListingTest : public test::FileServiceTest {
protected:
    std::string List(std::string_view query) {
        return Serve(ServeListing, "/api/list" + std::string(query));
    }
};

TEST_F(ListingTest, FoldersHaveNoSizeAndTheSystemsOrderIsKept) {
    files.AddFolder(L"D:\\Share\\Fotos");
    files.AddFile(L"D:\\Share\\a.txt", "twelve bytes");
    files.AddFile(L"D:\\Share\\Fotos\\inner.txt", "x");
    EXPECT_EQ(
        List(""),
        "HTTP/1.1 200 OK\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
        "Content-Type: application/json; charset=utf-8\r\nContent-Length: 92\r\n\r\n"
        R"({"ok":true,"items":[{"name":"Fotos","type":"dir"},{"name":"a.txt","type":"file","size":12}]})");
    EXPECT_EQ(
        List("?path=Fotos"),
        Json("200 OK", R"({"ok":true,"items":[{"name":"inner.txt","type":"file","size":1}]})"));
}

TEST_F(ListingTest, AnEmptyFolderHasNoItems) {
    const std::string kEmpty = Json("200 OK", R"({"ok":true,"items":[]})");
    for (const char* query : {"", "?path=", "?path=/", "?path=%5C", "?other=x"}) {
        EXPECT_EQ(List(query), kEmpty) << query;
    }
}

TEST_F(ListingTest, ARefusedPathIsInvalid) {
    const std::string kInvalid = Json("400 Error", R"({"ok":false,"error":"Invalid path"})");
    EXPECT_EQ(List("?path=.."), kInvalid);
    EXPECT_EQ(List("?path=%2e%2e%5cx"), kInvalid);
    EXPECT_EQ(List("?path=" + std::string(260, 'a')), kInvalid);
}

TEST_F(ListingTest, AMissingFolderAndAFileAreNotFound) {
    files.AddFile(L"D:\\Share\\a.txt", "x");
    const std::string kMissing = Json("404 Error", R"({"ok":false,"error":"Directory not found"})");
    EXPECT_EQ(List("?path=gone"), kMissing);
    EXPECT_EQ(List("?path=a.txt"), kMissing);
}

TEST_F(ListingTest, TheQueryIsDecodedWithPlusAsABlank) {
    files.AddFolder(L"D:\\Share\\my f\u00FCr");
    EXPECT_EQ(List("?path=my+f%C3%BCr"), Json("200 OK", R"({"ok":true,"items":[]})"));
    EXPECT_EQ(List("?path=my%20f%c3%bcr"), Json("200 OK", R"({"ok":true,"items":[]})"));
}

TEST_F(ListingTest, SizesHave64Bits) {
    files.AddFile(L"D:\\Share\\big", "").claimed_size = 5'000'000'000;
    files.AddFile(L"D:\\Share\\limit", "").claimed_size = 4'294'967'296;
    EXPECT_EQ(List(""), Json("200 OK", R"({"ok":true,"items":[)"
                                       R"({"name":"big","type":"file","size":5000000000},)"
                                       R"({"name":"limit","type":"file","size":4294967296}]})"));
}

TEST_F(ListingTest, NamesAreUtf8AndEscaped) {
    files.AddFile(L"D:\\Share\\\u00FC.txt", "");
    files.AddFile(L"D:\\Share\\q\"\t\x01.txt", "");
    files.AddFile(L"D:\\Share\\\uD7FF", "");
    EXPECT_EQ(List(""), Json("200 OK",
                             "{\"ok\":true,\"items\":["
                             "{\"name\":\"\xC3\xBC.txt\",\"type\":\"file\",\"size\":0},"
                             "{\"name\":\"q\\\"\\t.txt\",\"type\":\"file\",\"size\":0},"
                             "{\"name\":\"\xED\x9F\xBF\",\"type\":\"file\",\"size\":0}]}"));
}

TEST_F(ListingTest, AFolderThatCannotBeOpenedIsListedAsEmpty) {
    files.AddFile(L"D:\\Share\\a.txt", "x");
    files.FailOnce(FileCall::kList);
    EXPECT_EQ(List(""), Json("200 OK", R"({"ok":true,"items":[]})"));
}

TEST_F(ListingTest, AFolderWhoseAttributesCannotBeReadIsNotFound) {
    files.FailOnce(FileCall::kKind);
    EXPECT_EQ(List(""), Json("404 Error", R"({"ok":false,"error":"Directory not found"})"));
}

TEST_F(ListingTest, FilesOnlyLeavesFoldersAndTypesOut) {
    files.AddFolder(L"D:\\Share\\sub");
    files.AddFile(L"D:\\Share\\a", "1");
    files.AddFile(L"D:\\Share\\b", "22");
    EXPECT_EQ(ListDirectoryJson(files, L"D:\\Share", ListedEntries::kFilesOnly),
              R"({"ok":true,"items":[{"name":"a","size":1},{"name":"b","size":2}]})");
    EXPECT_EQ(ListDirectoryJson(files, L"D:\\Gone", ListedEntries::kFilesOnly), std::nullopt);
}

}  // namespace
}  // namespace harbinet
