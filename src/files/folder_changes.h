// Changes to the tree that uploads and the folder endpoints share. Paths are full paths.
#pragma once

#include <string>

#include "files/file_system.h"

namespace harbinet {

// Creates the folder, with its parents, unless something of that name exists. Never fails toward
// the caller.
void EnsureDirectory(FileSystem& files, const std::wstring& path);

// Removes one file or one empty folder. True on success.
bool DeletePathEntry(FileSystem& files, const std::wstring& path);

}  // namespace harbinet
