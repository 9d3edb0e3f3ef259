#include "files/zip/zip_download.h"

#include "files/service_fixture.h"
#include "files/zip/archive.h"

namespace harbinet {
namespace {

using test::FileCall;
using Lines = std::vector<std::wstring>;

class ZipDownloadTest : public test::FileServiceTest {
protected:
    ZipDownloadTest() {
        files.AddFolder(L"D:\\Share\\docs");
        files.AddFolder(L"D:\\Share\\docs\\2024");
        files.AddFile(L"D:\\Share\\docs\\2024\\a.pdf", "PDF");
        files.AddFile(L"D:\\Share\\r.txt", "root");
    }

    std::string Zip(std::string body) { return Post(ServeZip, "/api/zip", std::move(body)); }

    static std::string Error(int status, std::string_view message) {
        return Json(std::to_string(status) + " Error",
                    R"({"ok":false,"error":")" + std::string(message) + "\"}");
    }

    // The names in the central directory of the archive that `reply` holds.
    static std::vector<std::string> EntryNames(const std::string& reply) {
        std::vector<std::string> names;
        const std::string kSignature = "PK\x01\x02";
        for (std::size_t at = reply.find(kSignature); at != std::string::npos;
             at = reply.find(kSignature, at + 1)) {
            const auto length = static_cast<unsigned char>(reply[at + 28]);
            names.push_back(reply.substr(at + 46, length));
        }
        return names;
    }
};

using Names = std::vector<std::string>;

TEST_F(ZipDownloadTest, TheArchiveIsAnAttachmentCalledDownloadZip) {
    const std::string reply = Zip(R"({"path":"","names":["r.txt"]})");
    EXPECT_EQ(reply.substr(0, reply.find("\r\n\r\n") + 8),
              "HTTP/1.1 200 OK\r\nServer: HTTPHarbinet\r\nConnection: close\r\n"
              "Content-Type: application/zip\r\nContent-Length: 112\r\n"
              "Content-Disposition: attachment; filename=\"download.zip\"\r\n\r\nPK\x03\x04");
    EXPECT_EQ(reply.size() - reply.find("\r\n\r\n") - 4, 112U);
    EXPECT_EQ(Logged(), (Lines{L"ZIP     precheck ok total=4 bytes",
                               L"ZIP     created (112 bytes) for 1 file(s)"}));
}

TEST_F(ZipDownloadTest, ErrorsAreTestedInOrder) {
    const struct {
        const char* body;
        const char* message;
    } kCases[] = {
        {"", "Missing names[]"},
        {R"({"path":".."})", "Missing names[]"},
        {R"({"path":"..","names":[]})", "Missing names[]"},
        {R"({"path":"","names":["a",5]})", "Missing names[]"},
        {R"({"path":"..","names":["a"]})", "Invalid path"},
        {R"({"path":"a..b","names":["../x"]})", "Invalid path"},
        {R"({"path":"","names":["../x"]})", "No readable files to zip."},
        {R"({"path":"","names":["a/b","a\\b","a..b","..","gone","docs",""]})",
         "No readable files to zip."},
        {R"({"path":"gone","names":["a"]})", "No readable files to zip."},
    };
    for (const auto& c : kCases) EXPECT_EQ(Zip(c.body), Error(400, c.message)) << c.body;
}

TEST_F(ZipDownloadTest, ThePrecheckIsLoggedEvenWhenNothingCanBeRead) {
    Zip(R"({"path":"","names":["docs","docs"]})");
    EXPECT_EQ(Logged(), Lines{L"ZIP     precheck ok total=0 bytes"});
}

TEST_F(ZipDownloadTest, TheLimitsAreReportedWithoutALogLine) {
    files.AddFile(L"D:\\Share\\big", "").claimed_size = 4'294'967'297;
    files.AddFile(L"D:\\Share\\limit", "").claimed_size = 4'294'967'296;
    EXPECT_EQ(Zip(R"({"path":"","names":["big"]})"),
              Error(413, "A selected file is larger than the ZIP limit (4 GB)."));
    EXPECT_EQ(Zip(R"({"path":"","names":["limit"]})"),
              Error(413, "Selected files exceed the ZIP limit (4 GB)."));
    EXPECT_EQ(Zip(R"({"path":"","names":["r.txt","limit"]})"),
              Error(413, "Selected files exceed the ZIP limit (4 GB)."));
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(ZipDownloadTest, EntriesKeepTheFoldersPlaceInTheWebRoot) {
    EXPECT_EQ(EntryNames(Zip(R"({"path":"docs\\2024","names":["a.pdf"]})")),
              Names{"docs/2024/a.pdf"});
    EXPECT_EQ(EntryNames(Zip(R"({"path":"\\docs\\2024\\","names":["a.pdf"]})")),
              Names{"docs/2024/a.pdf"});
    EXPECT_EQ(EntryNames(Zip(R"({"path":"//docs/./2024","names":["a.pdf"]})")),
              Names{"docs/./2024/a.pdf"});
    EXPECT_EQ(EntryNames(Zip(R"({"names":["r.txt"]})")), Names{"r.txt"});
    EXPECT_EQ(EntryNames(Zip(R"({"path":"/","names":["r.txt"]})")), Names{"r.txt"});
}

TEST_F(ZipDownloadTest, NamesAreCountedAsSentAndSkippedSilently) {
    EXPECT_EQ(EntryNames(Zip(R"({"path":"","names":["gone","..","r.txt","docs","r.txt"]})")),
              (Names{"r.txt", "r.txt"}));
    EXPECT_EQ(Logged(), (Lines{L"ZIP     precheck ok total=8 bytes",
                               L"ZIP     created (202 bytes) for 5 file(s)"}));
}

TEST_F(ZipDownloadTest, EntryNamesAreTheBytesThatWereSent) {
    files.AddFile(L"D:\\Share\\\u00FC \U0001F600", "x");
    EXPECT_EQ(EntryNames(Zip("{\"names\":[\"\xC3\xBC \xF0\x9F\x98\x80\"]}")),
              Names{"\xC3\xBC \xF0\x9F\x98\x80"});
}

TEST_F(ZipDownloadTest, ABodyInPiecesIsReadToItsLength) {
    const std::string body = R"({"path":"","names":["r.txt"]})";
    for (const std::size_t size : {1U, 7U, 65'536U}) {
        const std::string reply = Serve(
            ServeZip, "/api/zip", {{"content-length", std::to_string(body.size())}}, body, size);
        EXPECT_EQ(EntryNames(reply), Names{"r.txt"});
    }
}

TEST_F(ZipDownloadTest, StreamsAndDevicesAreNoFiles) {
    files.AddFile(L"D:\\Share\\r.txt:stream", "hidden");
    files.AddFile(L"D:\\Share\\COM3", "device");
    EXPECT_EQ(EntryNames(Zip(R"({"path":"","names":["r.txt:stream","COM3","r.txt"]})")),
              Names{"r.txt"});
}

}  // namespace
}  // namespace harbinet
