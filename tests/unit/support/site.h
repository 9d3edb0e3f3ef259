// The program as far as a request sees it, over a file system in memory: sessions, bans, share
// links, log, and the program's own route table. Clock and random bytes are the tests'; the current
// PIN is 305985. For one thread.
#pragma once

#include <string>
#include <string_view>

#include "files/checked_files.h"
#include "routes.h"
#include "support/fake_digest.h"
#include "support/fake_file_system.h"
#include "support/fake_random.h"
#include "support/fake_stream.h"
#include "support/test_clock.h"

namespace harbinet::test {

inline constexpr std::uint64_t kSiteStart = 1'767'344'823;  // seconds since 1970

struct Site {
    // Sets the clock to kSiteStart. The web root D:\Share exists and is empty.
    Site() {
        wall_seconds = kSiteStart;
        credentials.Reset();
        shares.Reset();
        files.AddFolder(L"D:\\Share");
    }
    Site(const Site&) = delete;
    Site& operator=(const Site&) = delete;

    // What a client at `client_ip` gets for `stream`'s input; empty when nothing was sent.
    std::string Serve(FakeStream& stream, std::string_view client_ip = "10.0.0.7") const {
        ServeRequest(stream, std::string(client_ip), table);
        return stream.output;
    }

    FakeRandom random;
    FakeRandom share_random;  // apart, so that links do not change the tokens of sessions
    FakeFileSystem files;
    CheckedFiles checked_files{files};
    WebRoot web_root{L"D:\\Share"};
    EventLog log{FixedLocalTime};
    ShareTable shares{share_random, FakeSha256, TestWallSeconds};
    Credentials credentials{random, TestWallSeconds};
    BanTable bans;
    LoginService login{credentials, bans, log, TestWallSeconds};
    ServerStatus status{true, 8443};
    const RouteServices services{
        {{checked_files, web_root, log}, shares}, login, credentials, [this] { return status; }};
    RouteTable table = BuildRoutes(services);
};

}  // namespace harbinet::test
