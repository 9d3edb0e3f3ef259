// The one way from a client's relative path to a full path: everything it gives lies below the web
// root.
#pragma once

#include <string>

#include "files/file_system.h"

namespace harbinet {

// The full path of `relative` ("/" and "\" both separate) below `web_root`; the web root exactly as
// stored for the empty path; empty when the path is refused: it holds "..", leaves the root or
// does not fit into 259 characters.
std::wstring ResolveWebPath(FileSystem& files, const std::wstring& web_root, std::wstring relative);

}  // namespace harbinet
