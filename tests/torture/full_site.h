// The site of the unit tests with something of everything in it: files, a session, links. Made anew
// for each run, always the same.
#pragma once

#include <string>

#include "support/site.h"

namespace harbinet::test {

inline constexpr const char* kPin = "654321";

struct FullSite : Site {
    FullSite();

    // Everything that is on the disk, as one text.
    std::string Disk() const;

    // Takes each lock once: a lock that was left held stops here for ever.
    void TakeEveryLock();

    std::string session;      // a token that is valid
    std::string file_link;    // the token of D:\Share\a.txt
    std::string folder_link;  // the token of D:\Share\docs
    std::string lost_link;    // the token of a file that is not there
};

}  // namespace harbinet::test
