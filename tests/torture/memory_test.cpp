// What requests of a stranger or of a session's holder take from the heap, and what happens when it
// gives no more.
#include "auth/ban_table.h"
#include "auth/credentials.h"
#include "failing_memory.h"
#include "files/shares/share_fixture.h"
#include "files/zip/zip_download.h"

namespace harbinet {
namespace {

using Lines = std::vector<std::wstring>;

constexpr std::size_t kMiB = 1024 * 1024;

class MemoryTest : public test::ShareServiceTest {
protected:
    ~MemoryTest() override { test::SetLargestBlock(SIZE_MAX); }

    // Serves a POST and gives the most bytes that it held at a time, the connection's own input
    // left out.
    template <typename Handler>
    std::size_t PeakOf(Handler handler, std::string body, std::string& reply) {
        test::FakeStream stream(std::move(body));
        const test::HeaderText headers{{"content-length", std::to_string(stream.Unread().size())}};
        const std::size_t before = test::LiveBytes();
        test::ResetPeakBytes();
        reply = Serve(handler, "/api/x", headers, stream);
        return test::PeakBytes() - before;
    }

    static std::string Error(int status, std::string_view message) {
        return Json(std::to_string(status) + " Error",
                    R"({"ok":false,"error":")" + std::string(message) + "\"}");
    }
};

std::string Repeated(std::string_view text, std::size_t times) {
    std::string all;
    all.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
}

TEST_F(MemoryTest, FourMillionEmptyNamesCostAtMostFourTimesTheirText) {
    const std::string names = R"({"path":"","names":[)" + Repeated("\"\",", 4'000'000) + "\"\"]}";
    std::string reply;
    EXPECT_LE(PeakOf(ServeZip, names, reply), 4 * names.size());
    EXPECT_EQ(reply, Error(400, "No readable files to zip."));
    EXPECT_EQ(Logged(), Lines{L"ZIP     precheck ok total=0 bytes"});

    EXPECT_LE(PeakOf(ServeDeleteMany, names, reply), 4 * names.size());
    EXPECT_EQ(reply, Json("200 OK", R"({"ok":true,"deleted":0,"failed":4000001})"));
}

TEST_F(MemoryTest, EmptyNamesAreCountedInTheLogAllTheSame) {
    files.AddFile(L"D:\\Share\\r.txt", "root");
    Post(ServeZip, "/api/zip", R"({"path":"","names":["","r.txt","",""]})");
    EXPECT_EQ(Logged(), (Lines{L"ZIP     precheck ok total=4 bytes",
                               L"ZIP     created (112 bytes) for 4 file(s)"}));
}

TEST_F(MemoryTest, AMillionNamesOfNothingCostAtMostFourTimesTheirText) {
    const std::string names = R"({"path":"","names":[)" + Repeated("\"a\",", 1'000'000) + "\"a\"]}";
    std::string reply;
    EXPECT_LE(PeakOf(ServeZip, names, reply), 4 * names.size());
    EXPECT_EQ(reply, Error(400, "No readable files to zip."));
}

TEST_F(MemoryTest, ANameLongerThanAnyPathCostsAtMostFourTimesItsText) {
    const std::string names =
        R"({"path":"","names":["gone",")" + std::string(20'000'000, 'n') + "\"]}";
    std::string reply;
    EXPECT_LE(PeakOf(ServeZip, names, reply), 4 * names.size());
    EXPECT_EQ(reply, Error(400, "No readable files to zip."));
    EXPECT_LE(PeakOf(ServeDeleteMany, names, reply), 4 * names.size());
    EXPECT_EQ(reply, Json("200 OK", R"({"ok":true,"deleted":0,"failed":2})"));
}

TEST_F(MemoryTest, AnArchiveThatMemoryRefusesIsAnsweredWith413) {
    files.AddFile(L"D:\\Share\\big", std::string(3 * kMiB, 'b'));
    files.AddFile(L"D:\\Share\\small", "s");
    test::SetLargestBlock(2 * kMiB);
    EXPECT_EQ(Post(ServeZip, "/api/zip", R"({"path":"","names":["small","big"]})"),
              Error(413, "Not enough memory for the ZIP. Please reduce selection."));
    EXPECT_EQ(Logged(), Lines{L"ZIP     precheck ok total=3145729 bytes"});
    EXPECT_EQ(files.open_files, 0);

    // A smaller selection is served.
    EXPECT_TRUE(Post(ServeZip, "/api/zip", R"({"path":"","names":["small"]})")
                    .starts_with("HTTP/1.1 200 OK\r\n"));
}

TEST_F(MemoryTest, NamesOf20MegabytesAreNotKept) {
    const std::string body =
        R"({"path":"","name":")" + std::string(20'000'000, 'n') + "\",\"names\":[]}";
    const std::size_t before = test::LiveBytes();
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", body), Error(400, "Missing name"));
    }
    EXPECT_LE(test::LiveBytes() - before, 10 * kMiB);
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(MemoryTest, ABodyForOneEntryHasAtMost64KiB) {
    const auto body = [](std::size_t size) {
        const std::string begin = R"({"path":"","name":")";
        return begin + std::string(size - begin.size() - 2, 'n') + "\"}";
    };
    files.AddFolder(L"D:\\Share\\docs");
    const std::string link = "/d/" + shares.CreateShareLink(L"docs", true) + "/api/delete";
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", body(65'536)), Json("200 OK", R"({"ok":true})"));
    EXPECT_EQ(Post(ServeMakeFolder, "/api/mkdir", body(65'537)), Error(400, "Missing name"));
    EXPECT_EQ(Post(ServeRemoveFolder, "/api/rmdir", body(65'537)), Error(400, "Missing name"));
    EXPECT_EQ(Post(ServeDelete, "/api/delete", body(65'537)), Error(400, "Missing name"));
    EXPECT_EQ(Post(WithLinks(ServeFolderLinkPost), link, body(65'536)),
              Json("404 Not Found", R"({"ok":false,"error":"Not found"})"));
    EXPECT_EQ(Post(WithLinks(ServeFolderLinkPost), link, body(65'537)),
              Json("400 Bad Request", R"({"ok":false,"error":"Invalid name"})"));
    EXPECT_EQ(Logged().size(), 1U);
}

// No two of its tokens are alike.
class CountingRandom final : public RandomSource {
public:
    bool Fill(std::span<std::uint8_t> bytes) override {
        const std::string digits = std::to_string(++fills_);
        std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
        std::copy_n(digits.begin(), std::min(digits.size(), bytes.size()), bytes.begin());
        return true;
    }
    std::uint32_t TickCount() override { return 0; }

private:
    std::uint64_t fills_ = 0;
};

TEST(HeldMemoryTest, ALoginCosts200Bytes) {
    constexpr std::size_t kLogins = 20'000;
    CountingRandom distinct;
    Credentials credentials(distinct, test::TestWallSeconds);
    const std::size_t before = test::LiveBytes();
    for (std::size_t i = 0; i < kLogins; ++i) credentials.CreateSession();
    const std::size_t held = test::LiveBytes() - before;
    EXPECT_GT(held, kLogins * 32) << "they are not all there";
    EXPECT_LE(held, kLogins * 200);
}

TEST(HeldMemoryTest, AShareLinkCosts300BytesAndItsPath) {
    constexpr std::size_t kLinks = 20'000;
    CountingRandom distinct;
    ShareTable links(distinct, test::FakeSha256, test::TestWallSeconds);
    const std::size_t before = test::LiveBytes();
    for (std::size_t i = 0; i < kLinks; ++i) links.CreateShareLink(L"docs/a.txt", false);
    const std::size_t held = test::LiveBytes() - before;
    EXPECT_GT(held, kLinks * 64) << "they are not all there";
    EXPECT_LE(held, kLinks * 300);

    const std::wstring path(30'000, L'p');
    const std::size_t before_long = test::LiveBytes();
    for (int i = 0; i < 100; ++i) links.CreateShareLink(path, false);
    EXPECT_LE(test::LiveBytes() - before_long, 100 * (path.size() * sizeof(wchar_t) + 300));

    links.ClearShareLinks();
    EXPECT_LE(test::LiveBytes() - before, kLinks * 32) << "more than the table's own room";
}

TEST(HeldMemoryTest, WrongPinsCost200BytesForEachAddressAndAreForgottenAfter15Minutes) {
    constexpr std::size_t kAddresses = 5'000;
    constexpr std::uint64_t kNow = 1'000'000;
    BanTable bans;
    const std::size_t before = test::LiveBytes();
    const auto held = [&] { return test::LiveBytes() - before; };
    const auto address = [](std::size_t i) {
        return "2001:0db8:1111:2222:3333:4444:5555:" + std::to_string(10'000 + i);
    };
    for (std::size_t i = 0; i < kAddresses; ++i) bans.RecordFailure(address(i), kNow);
    const std::size_t once = held();
    EXPECT_GT(once, kAddresses * 64) << "they are not all there";
    EXPECT_LE(once, kAddresses * 200);

    // Further attempts, blocked ones among them, cost nothing.
    for (int attempt = 0; attempt < 1000; ++attempt) {
        bans.RecordFailure(address(7), kNow);
        bans.IsBanned(address(7), kNow);
    }
    EXPECT_EQ(held(), once);

    bans.IsBanned("192.0.2.1", kNow + kForgetSeconds + 1);
    EXPECT_LE(held(), kAddresses * 32) << "more than the table's own room";
}

}  // namespace
}  // namespace harbinet
