// The three web pages as the server sends them: each one a self-contained HTML document in UTF-8.
// They live as long as the process.
#pragma once

#include <string_view>

namespace harbinet {

extern const std::string_view kLoginPage;
extern const std::string_view kFileManagerPage;
extern const std::string_view kSharedFolderPage;

}  // namespace harbinet
