// Starts under conditions that no user wants: damaged files, an occupied port, a web root that
// cannot be.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "app/encoding.h"
#include "https_client.h"
#include "net/certificate.h"
#include "net/socket_win.h"
#include "program.h"
#include "support/client_socket_win.h"

namespace harbinet::test {
namespace {

constexpr DWORD kAbort = 3;

// The data folder as a good start leaves it; every test gets it empty and clears up behind itself.
class BadStartTest : public testing::Test {
protected:
    BadStartTest() { std::filesystem::remove_all(folder_); }
    ~BadStartTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    // Lets the program make its files.
    void StartOnce() const {
        Program program;
        program.WaitUntilListening();
        ASSERT_EQ(program.Close(), 0U);
    }

    std::filesystem::path File(const char* name) const { return folder_ / name; }

    std::string Content(const char* name) const {
        std::ifstream file(File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static void Overwrite(const std::filesystem::path& path, const std::string& content) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    }

    // The program says why, answers nobody, and ends abnormally: its server thread was never
    // joined.
    static void ExpectFailedServer(Program& program, const wchar_t* code) {
        EXPECT_TRUE(program.WaitForLog(std::wstring(L"ERROR   server failed to start (code ") +
                                       code + L")"));
        EXPECT_TRUE(WaitUntil([&] { return program.ControlText(kUrlLabel) == L"URL:     -"; }));
        EXPECT_EQ(program.CountLog(L"SERVER  listening (HTTPS) on port " +
                                   std::to_wstring(ExpectedPort())),
                  0U);
        EXPECT_EQ(program.Close(), kAbort);
    }

    const std::filesystem::path folder_ = DataFolder();
};

TEST_F(BadStartTest, AMissingDataFolderIsMadeWithItsFilesAndTheWebRoot) {
    StartOnce();
    for (const char* name : {"server.crt", "server.key", "server.ip", "files"}) {
        EXPECT_TRUE(std::filesystem::exists(File(name))) << name;
    }
    EXPECT_TRUE(std::filesystem::is_directory(File("files")));
}

TEST_F(BadStartTest, ADamagedCertificateKeepsTheServerFromStarting) {
    StartOnce();
    Overwrite(File("server.crt"), "no certificate");
    Program program;
    EXPECT_TRUE(program.WaitForLog(L"TLS     failed to load server.crt (PEM) from EXE dir"));
    ExpectFailedServer(program, L"-10");
}

TEST_F(BadStartTest, ADamagedKeyKeepsTheServerFromStarting) {
    StartOnce();
    Overwrite(File("server.key"), "no key");
    Program program;
    EXPECT_TRUE(program.WaitForLog(L"TLS     failed to load server.key (PEM) from EXE dir"));
    ExpectFailedServer(program, L"-10");
}

TEST_F(BadStartTest, TheKeyOfAnotherCertificateKeepsTheServerFromStarting) {
    StartOnce();
    ASSERT_TRUE(MakeCertificate(File("other.crt"), File("server.key"), "127.0.0.1"));
    Program program;
    EXPECT_TRUE(program.WaitForLog(L"TLS     private key does not match certificate"));
    ExpectFailedServer(program, L"-10");
}

TEST_F(BadStartTest, AnEmptyAddressFileMakesTheCertificateAnew) {
    StartOnce();
    const std::string before = Content("server.crt");
    ASSERT_NE(before, "");
    Overwrite(File("server.ip"), "");
    Program program;
    ASSERT_TRUE(program.WaitUntilListening());
    EXPECT_EQ(program.CountLog(L"TLS     generated server.crt/server.key + server.ip"), 1U);
    EXPECT_NE(Content("server.crt"), before);
}

TEST_F(BadStartTest, GoodFilesAreUsedAgainUnchanged) {
    StartOnce();
    const std::string before = Content("server.crt");
    ASSERT_NE(before, "");
    Program program;
    ASSERT_TRUE(program.WaitUntilListening());
    EXPECT_EQ(program.CountLog(L"TLS     generated server.crt/server.key + server.ip"), 0U);
    EXPECT_EQ(Content("server.crt"), before);
}

TEST_F(BadStartTest, FilesThatCannotBeWrittenShowTheFailureBoxAndEndTheProgram) {
    // A folder in a file's place: it can be neither deleted as a file nor written.
    std::filesystem::create_directories(File("server.key") / "occupied");
    DWORD id = 0;
    const UniqueKernelHandle process = StartProcess({}, id);
    const Dialog dialog(id, L"Harbinet PRO");
    ASSERT_TRUE(dialog.IsThere());
    EXPECT_EQ(dialog.Message(), L"TLS certificate generation failed.");
    EXPECT_EQ(FindTopWindow(id, L"HTTPHarbinet_Main", nullptr), nullptr);
    EXPECT_TRUE(dialog.Dismiss(IDOK));
    ASSERT_EQ(WaitForSingleObject(process.Get(), 10'000), WAIT_OBJECT_0);
    DWORD code = 1;
    GetExitCodeProcess(process.Get(), &code);
    EXPECT_EQ(code, 0U);
}

TEST_F(BadStartTest, AnOccupiedPortIsReportedAndTheWindowStillWorks) {
    const UniqueSocket occupier(socket(AF_INET6, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    any.sin6_port = htons(static_cast<u_short>(ExpectedPort()));
    ASSERT_EQ(bind(occupier.Get(), reinterpret_cast<const sockaddr*>(&any), sizeof any), 0);
    ASSERT_EQ(listen(occupier.Get(), 1), 0);
    Program program;
    ExpectFailedServer(program, L"-3");
}

TEST_F(BadStartTest, AWebRootThatCannotBeMadeLeavesAServerWithoutFiles) {
    SetRegistryValue(kSettings, L"WebRootPath", L"Q:\\nowhere\\at all");
    {
        Program program;
        ASSERT_TRUE(program.WaitUntilListening());
        EXPECT_EQ(program.CountLog(L"PATH    files=Q:\\nowhere\\at all"), 1U);
        const std::string cookie = LogIn(ExpectedPort(), WideToUtf8(program.Pin()));
        ASSERT_NE(cookie, "");
        const std::string reply = Get(ExpectedPort(), "/api/list", cookie);
        EXPECT_EQ(StatusOf(reply), "404");
        EXPECT_TRUE(reply.ends_with(R"({"ok":false,"error":"Directory not found"})")) << reply;
        EXPECT_EQ(program.Close(), 0U);
    }
    DeleteRegistryValue(kSettings, L"WebRootPath");
}

}  // namespace
}  // namespace harbinet::test
