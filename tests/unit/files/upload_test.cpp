#include "files/upload.h"

#include "files/service_fixture.h"

namespace harbinet {
namespace {

using test::FakeStream;
using test::FileCall;
using Lines = std::vector<std::wstring>;

std::string Part(std::string_view name, std::string_view content) {
    std::string part = "--B\r\nContent-Disposition: form-data; name=\"f\"; filename=\"";
    return part.append(name).append("\"\r\n\r\n").append(content).append("\r\n");
}

class UploadTest : public test::FileServiceTest {
protected:
    static test::HeaderText Headers(std::size_t length,
                                    std::string type = "multipart/form-data; boundary=B") {
        return {{"content-type", std::move(type)}, {"content-length", std::to_string(length)}};
    }

    std::string Upload(const std::string& body, std::string_view query = "",
                       std::size_t bytes_per_read = SIZE_MAX) {
        return Serve(ServeUpload, "/upload" + std::string(query), Headers(body.size()), body,
                     bytes_per_read);
    }

    static std::string Error(int status, std::string_view message) {
        return Json(std::to_string(status) + " Error",
                    R"({"ok":false,"error":")" + std::string(message) + "\"}");
    }

    const std::string kOk = Json("200 OK", R"({"ok":true})");
    const std::string kAborted = Error(400, "Upload aborted");
};

TEST_F(UploadTest, TwoFilesGiveTwoFilesAndTwoLogLines) {
    const std::string body = Part("a.txt", "one") +
                             "--B\r\nContent-Disposition: form-data; name=\"t\"\r\n\r\ntext\r\n" +
                             Part("b.txt", "two") + "--B--\r\n";
    for (const std::size_t size : {1U, 7U, 65'536U}) {
        log.Clear();
        EXPECT_EQ(Upload(body, "", size), kOk);
        EXPECT_EQ(files.Content(L"D:\\Share\\a.txt"), "one");
        EXPECT_EQ(files.Content(L"D:\\Share\\b.txt"), "two");
        EXPECT_EQ(Logged(), (Lines{L"UPLOAD  D:\\Share\\a.txt", L"UPLOAD  D:\\Share\\b.txt"}));
        EXPECT_EQ(files.open_files, 0);
    }
}

TEST_F(UploadTest, ErrorsAreTestedInOrder) {
    const std::string kBoundary = "multipart/form-data; boundary=B";
    const struct {
        const char* query;
        test::HeaderText headers;
        int status;
        const char* message;
    } kCases[] = {
        {"?path=..",
         {{"transfer-encoding", "gzip, Chunked"}},
         411,
         "Chunked upload not supported (needs Content-Length)"},
        {"",
         {{"transfer-encoding", "chunked"}, {"content-type", kBoundary}, {"content-length", "5"}},
         411,
         "Chunked upload not supported (needs Content-Length)"},
        {"?path=..", {}, 400, "Invalid path"},
        {"?path=..", {{"content-type", kBoundary}}, 400, "Invalid path"},
        {"", {}, 400, "Missing multipart boundary"},
        {"",
         {{"content-type", "multipart/form-data"}, {"content-length", "5"}},
         400,
         "Missing multipart boundary"},
        {"",
         {{"transfer-encoding", "gzip"}, {"content-type", kBoundary}},
         411,
         "Content-Length required"},
        {"", {{"content-type", kBoundary}, {"content-length", ""}}, 411, "Content-Length required"},
        {"", {{"content-type", kBoundary}, {"content-length", "0"}}, 400, "Upload aborted"},
        {"", {{"content-type", kBoundary}, {"content-length", "text"}}, 400, "Upload aborted"},
    };
    for (const auto& c : kCases) {
        FakeStream stream("--B--\r\n");
        EXPECT_EQ(Serve(ServeUpload, "/upload" + std::string(c.query), c.headers, stream),
                  Error(c.status, c.message));
        EXPECT_EQ(stream.reads, 0) << c.message;
    }
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(UploadTest, ABodyIsAskedForOnlyWhenNothingButTheBodyCanRefuseTheUpload) {
    constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    const std::string body = "--B--\r\n";
    const std::string length = std::to_string(body.size());
    const struct {
        const char* query;
        test::HeaderText headers;
        bool is_asked_for;
    } kCases[] = {
        {"",
         {{"expect", "100-continue"},
          {"content-type", "multipart/form-data; boundary=B"},
          {"content-length", length}},
         true},
        {"?path=..",
         {{"expect", "100-continue"},
          {"content-type", "multipart/form-data; boundary=B"},
          {"content-length", length}},
         false},
        {"", {{"expect", "100-continue"}, {"content-length", length}}, false},
        {"", {{"expect", "100-continue"}, {"transfer-encoding", "chunked"}}, false},
    };
    for (const auto& c : kCases) {
        FakeStream stream(body);
        HttpRequest request;
        request.version = "HTTP/1.1";
        request.headers = c.headers;
        const std::string query = c.query;
        request.target = query;
        SplitTarget(request);
        const std::string client_ip;
        Exchange exchange{stream, request, client_ip};
        ServeUpload(services, exchange);
        EXPECT_EQ(stream.output.starts_with(kContinue), c.is_asked_for) << stream.output;
        EXPECT_EQ(stream.reads, c.is_asked_for ? 1 : 0);
        EXPECT_EQ(stream.limits.total, std::nullopt);
    }
}

TEST_F(UploadTest, TheBoundaryIsWhatFollowsTheParameterNameLessOnePairOfQuotes) {
    const struct {
        const char* content_type;
        const char* boundary;
    } kCases[] = {
        {"multipart/form-data; boundary=MiXeD", "MiXeD"},
        {"multipart/form-data; BOUNDARY=MiXeD", "MiXeD"},
        {"multipart/form-data; boundary=\"quoted x\"", "quoted x"},
        {"multipart/form-data; boundary=\"half", "half"},
        {"multipart/form-data; boundary=half\"", "half"},
        {"multipart/form-data; boundary=a; charset=utf-8", "a; charset=utf-8"},
        {"multipart/form-data; boundary=", ""},
        {"multipart/form-data; boundary=\"", ""},
        {"multipart/form-data; boundary=\"\"", ""},
    };
    for (const auto& c : kCases) {
        const std::string delimiter = "--" + std::string(c.boundary);
        const std::string body =
            delimiter + "\r\nx: filename=\"a\"\r\n\r\ndata\r\n" + delimiter + "--\r\n";
        files.Remove(L"D:\\Share\\a");
        EXPECT_EQ(Serve(ServeUpload, "/upload", Headers(body.size(), c.content_type), body), kOk);
        EXPECT_EQ(files.Content(L"D:\\Share\\a"), "data") << c.content_type;
    }
}

TEST_F(UploadTest, TheTargetFolderIsMadeWhenItIsMissing) {
    EXPECT_EQ(Upload(Part("a", "x") + "--B--\r\n", "?path=new/deep+er"), kOk);
    EXPECT_EQ(files.Content(L"D:\\Share\\new\\deep er\\a"), "x");
}

TEST_F(UploadTest, AnExistingFileIsReplaced) {
    files.AddFile(L"D:\\Share\\a", "a longer old content");
    EXPECT_EQ(Upload(Part("A", "new") + "--B--\r\n"), kOk);
    EXPECT_EQ(files.Content(L"D:\\Share\\a"), "new");
}

TEST_F(UploadTest, AFileThatCannotBeCreatedEndsTheUploadAfterTheFinishedOnes) {
    files.AddFile(L"D:\\Share\\locked", "old").is_read_only = true;
    const std::string body = Part("a", "1") + Part("locked", "2") + Part("c", "3") + "--B--\r\n";
    EXPECT_EQ(Upload(body), Error(400, "Failed to write file"));
    EXPECT_EQ(files.Content(L"D:\\Share\\a"), "1");
    EXPECT_EQ(files.Content(L"D:\\Share\\locked"), "old");
    EXPECT_FALSE(files.Exists(L"D:\\Share\\c"));
    EXPECT_EQ(Logged(), Lines{L"UPLOAD  D:\\Share\\a"});

    files.FailOnce(FileCall::kCreateFolders);
    EXPECT_EQ(Upload(Part("a", "1") + "--B--\r\n", "?path=never"),
              Error(400, "Failed to write file"));
}

TEST_F(UploadTest, FailingWritesAreNotReported) {
    files.FailOnce(FileCall::kWrite);
    EXPECT_EQ(Upload(Part("a", "lost") + Part("b", "kept") + "--B--\r\n"), kOk);
    EXPECT_EQ(files.Content(L"D:\\Share\\a"), "");
    EXPECT_EQ(files.Content(L"D:\\Share\\b"), "kept");
}

TEST_F(UploadTest, AClosedConnectionAbortsAndLeavesThePartialFile) {
    const std::string body = Part("a", "whole") + Part("b", std::string(1000, 'd')) + "--B--\r\n";
    const std::string sent = body.substr(0, body.size() - 9);
    EXPECT_EQ(Serve(ServeUpload, "/upload", Headers(body.size()), sent), kAborted);
    EXPECT_EQ(files.Content(L"D:\\Share\\a"), "whole");
    EXPECT_EQ(files.Content(L"D:\\Share\\b"), std::string(987, 'd'));
    EXPECT_EQ(files.open_files, 0);
}

TEST_F(UploadTest, BodiesThatCannotEndAreAbortedAtOnce) {
    const std::string kBodies[] = {
        "no delimiter anywhere in here",
        "\r\n" + Part("a", "x") + "--B--\r\n",
        Part("a", "x"),
        Part("a", "x") + "--B",
        "--B\r\nContent-Disposition: form-data\r\n",
        "-",
        "",
    };
    for (const std::string& body : kBodies) {
        for (const std::size_t size : {1U, 7U, 65'536U}) {
            EXPECT_EQ(Upload(body, "", size), kAborted) << body;
        }
    }
    EXPECT_EQ(files.open_files, 0);
}

TEST_F(UploadTest, TheReplyGoesOutAtTheClosingDelimiter) {
    const std::string body = Part("a", "x") + "--B--";
    FakeStream stream(body + "\r\nmore that nobody reads", 1);
    EXPECT_EQ(Serve(ServeUpload, "/upload", Headers(1'000'000), stream), kOk);
    EXPECT_EQ(stream.Unread(), "\r\nmore that nobody reads");
}

TEST_F(UploadTest, NothingBeyondTheContentLengthIsRead) {
    const std::string body = Part("a", "x") + "--B--\r\n";
    FakeStream stream(body + "next");
    EXPECT_EQ(Serve(ServeUpload, "/upload", Headers(body.size() - 7), stream), kAborted);
    EXPECT_EQ(stream.Unread(), "--B--\r\nnext");
}

TEST_F(UploadTest, BytesThatCameWithTheHeadCount) {
    const std::string body = Part("a", "content") + "--B--\r\n";
    for (std::size_t buffered = 0; buffered <= body.size(); ++buffered) {
        FakeStream stream(body.substr(buffered));
        files.Remove(L"D:\\Share\\a");
        EXPECT_EQ(ReceiveMultipartUpload(services, stream, body.substr(0, buffered), L"D:\\Share",
                                         "B", body.size()),
                  "");
        EXPECT_EQ(files.Content(L"D:\\Share\\a"), "content") << buffered;
    }
    // More may have come than the length says.
    FakeStream stream;
    EXPECT_EQ(ReceiveMultipartUpload(services, stream, body, L"D:\\Share", "B", 3), "");
    EXPECT_EQ(ReceiveMultipartUpload(services, stream, Part("a", "x"), L"D:\\Share", "B", 3),
              "Upload aborted");
}

// Remembers the largest buffer it was asked to fill.
class EndlessStream final : public Stream {
public:
    std::size_t ReadSome(std::span<char> buffer) override {
        largest_read = std::max(largest_read, buffer.size());
        std::fill(buffer.begin(), buffer.end(), 'd');
        return reads++ < 100 ? buffer.size() : 0;
    }
    bool WriteAll(std::string_view) override { return true; }
    void BeginBody(const BodyLimits&) override {}
    std::size_t largest_read = 0;
    int reads = 0;
};

TEST_F(UploadTest, ReadsAreOfAtMost64KiB) {
    EndlessStream stream;
    EXPECT_EQ(ReceiveMultipartUpload(services, stream, "--B\r\nfilename=\"a\"\r\n\r\n",
                                     L"D:\\Share", "B", UINT64_MAX),
              "Upload aborted");
    EXPECT_EQ(stream.largest_read, 65'536U);
    EXPECT_EQ(files.Content(L"D:\\Share\\a").size(), 6'553'600U - 13);
}

TEST(StoredFileNameTest, CharactersThatCannotBeInAFileNameBecomeUnderscores) {
    const struct {
        const char* name;
        const wchar_t* stored;
    } kCases[] = {
        {"a.txt", L"a.txt"},
        {"C:\\x\\a.txt", L"C__x_a.txt"},
        {"\"*/:<>?\\|", L"_________"},
        {"../up", L".._up"},
        {"..", L".."},
        {"\xC3\xBC \xF0\x9F\x98\x80", L"\u00FC \U0001F600"},
        {"bad\xFF", L"bad\uFFFD"},
        {"tab\t\x01", L"tab\t\x01"},
        {"", L"file.bin"},
    };
    for (const auto& c : kCases) EXPECT_EQ(StoredFileName(c.name), c.stored) << c.name;
}

}  // namespace
}  // namespace harbinet
