// Where the program keeps its files. Any thread.
#pragma once

#include <string>

namespace harbinet {

// The LocalAppData known folder, without a closing backslash; empty when the system does not tell
// it.
std::wstring LocalAppDataFolder();

// Where the base data folder lies in the LocalAppData folder.
std::wstring BaseDataFolderIn(const std::wstring& local_app_data);

// BaseDataFolderIn LocalAppData, created (one level, errors ignored). Empty when the known folder
// cannot be had, so the certificate files are then looked for in the root of the current drive.
std::wstring BaseDataFolder();

// Creates the folder with every missing parent; errors are ignored.
void EnsureFolder(const std::wstring& path);

// The full path of the running executable, at most 260 characters.
std::wstring ExecutablePath();

}  // namespace harbinet
