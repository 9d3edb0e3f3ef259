// The share links' endpoints over a file system in memory, as the file endpoints are tested.
#pragma once

#include "files/service_fixture.h"
#include "files/shares/share_service.h"
#include "support/fake_digest.h"
#include "support/fake_random.h"
#include "support/test_clock.h"

namespace harbinet::test {

class ShareServiceTest : public FileServiceTest {
protected:
    ShareServiceTest() { wall_seconds = 1'000'000; }

    // The handler as Serve and Post take it.
    auto WithLinks(void (*serve)(const ShareServices&, Exchange&)) {
        return [this, serve](const FileServices&, Exchange& exchange) {
            serve(share_services, exchange);
        };
    }

    FakeRandom random;
    ShareTable shares{random, FakeSha256, TestWallSeconds};
    ShareServices share_services{services, shares};
};

}  // namespace harbinet::test
