#include "files/download.h"

#include "files/service_fixture.h"

namespace harbinet {
namespace {

using test::FakeStream;
using test::FileCall;

class DownloadTest : public test::FileServiceTest {
protected:
    std::string Download(std::string_view query) {
        return Serve(ServeDownload, "/download" + std::string(query));
    }
};

using Lines = std::vector<std::wstring>;

TEST_F(DownloadTest, AFileIsSentAsAnAttachmentAndLogged) {
    files.AddFolder(L"D:\\Share\\docs");
    files.AddFile(L"D:\\Share\\docs\\a.txt", "hello");
    EXPECT_EQ(Download("?path=docs/a.txt"),
              "HTTP/1.1 200 OK\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
              "Content-Type: application/octet-stream\r\nContent-Length: 5\r\n"
              "Content-Disposition: attachment; filename=\"a.txt\"\r\n\r\nhello");
    EXPECT_EQ(log.Snapshot(), Lines{L"2026-01-05 09:07:03.042  DL      D:\\Share\\docs\\a.txt"});
    EXPECT_EQ(files.open_files, 0);
}

TEST_F(DownloadTest, ARefusedPathIsABadRequest) {
    for (const char* query : {"?path=..", "?path=%2e%2e/x", "?path=a..b"}) {
        EXPECT_EQ(Download(query), Text("400 Bad Request", "Invalid path")) << query;
    }
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(DownloadTest, MissingFilesAndFoldersAreNotFound) {
    files.AddFolder(L"D:\\Share\\docs");
    for (const char* query : {"?path=gone", "?path=docs", "", "?path=", "?name=a"}) {
        EXPECT_EQ(Download(query), Text("404 Not Found", "Not Found")) << query;
    }
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(DownloadTest, AnEmptyFileHasAHeadOnly) {
    files.AddFile(L"D:\\Share\\e", "");
    EXPECT_EQ(Download("?path=e"), Attachment("e", ""));
    EXPECT_EQ(files.reads, 0);
    EXPECT_EQ(Logged(), Lines{L"DL      D:\\Share\\e"});
}

TEST_F(DownloadTest, TheNameStandsUnescapedAsUtf8) {
    files.AddFile(L"D:\\Share\\my \u00FC \U0001F600%41;.txt", "x");
    EXPECT_EQ(Download("?path=my+%C3%BC+%F0%9F%98%80%2541;.txt"),
              Attachment("my \xC3\xBC \xF0\x9F\x98\x80%41;.txt", "x"));
}

TEST_F(DownloadTest, WholeChunksAreReadAndEachIsWrittenBeforeTheNext) {
    for (const std::size_t size : {262'143U, 262'144U, 262'145U, 524'288U}) {
        std::string content(size, 'a');
        content.back() = 'z';
        files.AddFile(L"D:\\Share\\f", content);
        files.reads = 0;
        FakeStream stream;
        EXPECT_TRUE(StreamFileDownload(stream, files, L"D:\\Share\\f", "f"));
        EXPECT_TRUE(stream.output.ends_with("\r\n\r\n" + content));
        EXPECT_EQ(files.reads, size > 262'144 ? 2 : 1);
        EXPECT_EQ(stream.writes, files.reads + 1);
        EXPECT_LE(files.largest_read, 262'144U);
    }
}

// Counts and drops what it is given.
class CountingStream final : public Stream {
public:
    std::size_t ReadSome(std::span<char>) override { return 0; }
    bool WriteAll(std::string_view bytes) override {
        count += bytes.size();
        return true;
    }
    void BeginBody(const BodyLimits&) override {}
    std::uint64_t count = 0;
};

TEST_F(DownloadTest, AFileOfMoreThan4GiBIsSentWhole) {
    files.AddFile(L"D:\\Share\\big", "").claimed_size = 4'294'967'297;
    CountingStream stream;
    EXPECT_TRUE(StreamFileDownload(stream, files, L"D:\\Share\\big", "big"));
    const std::uint64_t head = Attachment("big", "").size() + 37 + 9;
    EXPECT_EQ(stream.count, 4'294'967'297 + head);
}

TEST_F(DownloadTest, AFileThatCannotBeOpenedOrMeasuredGetsNoReplyAtAll) {
    for (const FileCall call : {FileCall::kOpenForReading, FileCall::kSize}) {
        files.AddFile(L"D:\\Share\\locked", "secret");
        files.FailOnce(call);
        log.Clear();
        EXPECT_EQ(Download("?path=locked"), "");
        EXPECT_EQ(Logged(),
                  (Lines{L"DL      D:\\Share\\locked", L"DL      failed: D:\\Share\\locked"}));
        EXPECT_EQ(files.open_files, 0);
    }
}

TEST_F(DownloadTest, AFileThatShrinksOrFailsLeavesAShortBody) {
    const std::string content(300'000, 'c');
    const auto shrink = [this] { files.At(L"D:\\Share\\f").content.resize(262'144); };
    const auto fail = [this] { files.FailOnce(FileCall::kRead); };
    for (const bool shrinks : {true, false}) {
        files.AddFile(L"D:\\Share\\f", content);
        files.reads = 0;
        files.before_read = [&](int reads) {
            if (reads == 1) shrinks ? shrink() : fail();
        };
        log.Clear();
        const std::string reply = Download("?path=f");
        EXPECT_TRUE(reply.find("\r\nContent-Length: 300000\r\n") != std::string::npos);
        EXPECT_EQ(reply.size() - reply.find("\r\n\r\n") - 4, 262'144U);
        EXPECT_EQ(Logged(), (Lines{L"DL      D:\\Share\\f", L"DL      failed: D:\\Share\\f"}));
        EXPECT_EQ(files.open_files, 0);
    }
}

TEST_F(DownloadTest, AFileThatGrowsIsCutAtTheSizeItHad) {
    files.AddFile(L"D:\\Share\\f", "12345");
    files.before_read = [this](int) { files.At(L"D:\\Share\\f").content = "1234567890"; };
    EXPECT_EQ(Download("?path=f"), Attachment("f", "12345"));
    EXPECT_EQ(Logged(), Lines{L"DL      D:\\Share\\f"});
}

TEST_F(DownloadTest, AClientThatLeavesEndsTheDownload) {
    files.AddFile(L"D:\\Share\\f", std::string(600'000, 'c'));
    for (const std::size_t room : {0U, 1'000U, 300'000U}) {
        FakeStream stream;
        stream.fails_after_bytes = room;
        files.reads = 0;
        log.Clear();
        Serve(ServeDownload, "/download?path=f", {}, stream);
        EXPECT_LE(files.reads, 2);
        EXPECT_EQ(Logged(), (Lines{L"DL      D:\\Share\\f", L"DL      failed: D:\\Share\\f"}));
        EXPECT_EQ(files.open_files, 0);
    }
}

}  // namespace
}  // namespace harbinet
