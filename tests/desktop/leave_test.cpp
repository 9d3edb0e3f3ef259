// Ending the program while clients are being served.
#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "app/encoding.h"
#include "https_client.h"
#include "net/socket_win.h"
#include "program.h"

namespace harbinet::test {
namespace {

constexpr int kRuns = 50;
constexpr int kTransfers = 6;
constexpr int kIdleConnections = 14;

UniqueSocket ConnectWithoutAWord() {
    UniqueSocket client(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(ExpectedPort()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connect(client.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return client;
}

TEST(LeaveTest, IsCleanInEveryRunWhileTwentyConnectionsAreOpen) {
    const std::filesystem::path big = std::filesystem::path(DataFolder()) / "files" / "big.bin";
    for (int run = 0; run < kRuns; ++run) {
        Program program;
        ASSERT_TRUE(program.WaitUntilListening()) << "run " << run;
        if (run == 0) std::ofstream(big, std::ios::binary) << std::string(64'000'000, 'x');
        const std::string cookie = LogIn(ExpectedPort(), WideToUtf8(program.Pin()));
        ASSERT_NE(cookie, "") << "run " << run;
        std::vector<UniqueSocket> idle;
        for (int i = 0; i < kIdleConnections; ++i) idle.push_back(ConnectWithoutAWord());
        std::vector<std::jthread> transfers;
        for (int i = 0; i < kTransfers; ++i) {
            transfers.emplace_back(
                [&cookie] { Get(ExpectedPort(), "/download?path=big.bin", cookie); });
        }
        ASSERT_TRUE(WaitUntil([&] { return program.CountLog(L"DL      " + big.wstring()) > 0; }));
        ASSERT_EQ(program.Close(), 0U) << "run " << run;
    }
    std::filesystem::remove(big);
}

}  // namespace
}  // namespace harbinet::test
