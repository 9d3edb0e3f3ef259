// Ending the program while clients are being served.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "app/encoding.h"
#include "https_client.h"
#include "net/socket_win.h"
#include "program.h"
#include "support/client_socket_win.h"

namespace harbinet::test {
namespace {

constexpr int kRuns = 50;
constexpr int kDownloads = 4;
constexpr int kUploads = 2;
constexpr int kIdleConnections = 14;
constexpr std::size_t kFileBytes = 64'000'000;

UniqueSocket ConnectWithoutAWord() {
    UniqueSocket client(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(ExpectedPort()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connect(client.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return client;
}

std::string UploadRequest(const std::string& name, const std::string& cookie) {
    const std::string body = "--x\r\nContent-Disposition: form-data; name=\"f\"; filename=\"" +
                             name + "\"\r\n\r\n" + std::string(kFileBytes, 'u') + "\r\n--x--\r\n";
    return "POST /upload?path= HTTP/1.1\r\nHost: localhost\r\nCookie: " + cookie +
           "\r\nContent-Type: multipart/form-data; boundary=x\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

TEST(LeaveTest, IsCleanInEveryRunWhileTwentyConnectionsAreOpen) {
    const std::filesystem::path folder = std::filesystem::path(DataFolder()) / "files";
    const std::filesystem::path big = folder / "big.bin";
    for (int run = 0; run < kRuns; ++run) {
        Program program;
        ASSERT_TRUE(program.WaitUntilListening()) << "run " << run;
        if (run == 0) std::ofstream(big, std::ios::binary) << std::string(kFileBytes, 'x');
        const std::string cookie = LogIn(ExpectedPort(), WideToUtf8(program.Pin()));
        ASSERT_NE(cookie, "") << "run " << run;
        std::vector<UniqueSocket> idle;
        for (int i = 0; i < kIdleConnections; ++i) idle.push_back(ConnectWithoutAWord());
        std::vector<std::jthread> transfers;
        for (int i = 0; i < kDownloads; ++i) {
            transfers.emplace_back(
                [&cookie] { Get(ExpectedPort(), "/download?path=big.bin", cookie); });
        }
        for (int i = 0; i < kUploads; ++i) {
            transfers.emplace_back([&cookie, i] {
                Exchange(ExpectedPort(), UploadRequest("up" + std::to_string(i), cookie));
            });
        }
        ASSERT_TRUE(program.WaitForLog(L"DL      " + big.wstring())) << "run " << run;
        ASSERT_TRUE(program.WaitForLog(L"UPLOAD  " + (folder / "up0").wstring())) << "run " << run;
        ASSERT_EQ(program.Close(), 0U) << "run " << run;
    }
    for (const char* name : {"big.bin", "up0", "up1"}) std::filesystem::remove(folder / name);
}

}  // namespace
}  // namespace harbinet::test
