// A folder's entries as JSON text, in the order in which the system returns them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "files/file_system.h"

namespace harbinet {

enum class ListedEntries {
    kAll,        // {"name":...,"type":"dir"} and {"name":...,"type":"file","size":...}
    kFilesOnly,  // {"name":...,"size":...}
};

// The error message when ListDirectoryJson gives nothing.
inline constexpr std::string_view kDirectoryNotFound = "Directory not found";

// {"ok":true,"items":[...]}; nothing when `folder` does not exist or is no folder. A folder that
// cannot be opened is listed as empty.
std::optional<std::string> ListDirectoryJson(FileSystem& files, const std::wstring& folder,
                                             ListedEntries entries);

}  // namespace harbinet
