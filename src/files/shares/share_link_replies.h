// What file links and folder links have in common.
#pragma once

#include <string_view>

#include "net/stream.h"

namespace harbinet {

inline constexpr std::string_view kFolderLinkPrefix = "/d/";

// 410 for every link that is unknown, expired or of the other kind: a stranger cannot tell which.
void SendLinkGone(Stream& stream);

}  // namespace harbinet
