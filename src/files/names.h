// Rules for the names and relative paths that clients send, and the joining and splitting of
// Windows paths. Pure functions.
#pragma once

#include <string>
#include <string_view>

namespace harbinet {

// Characters of the longest path that Windows knows. Nothing longer is looked at, or kept.
inline constexpr std::size_t kMaxPathLength = 32'767;
// The same in UTF-8.
inline constexpr std::size_t kMaxUtf8PathBytes = 3 * kMaxPathLength;

// Every "\" becomes "/", and leading "/" go. The empty path is the web root itself.
std::wstring NormalizeRelPath(std::wstring path);
std::string NormalizeRelPath(std::string utf8_path);

// True when `name` holds neither "..", "/" nor "\". Callers with a message of their own for the
// empty name test that first.
bool StaysInFolder(std::wstring_view name);

// StaysInFolder, and not empty.
bool IsSimpleName(std::wstring_view name);

// `folder` + "\" + `name`, without doubling a backslash.
std::wstring JoinDirName(std::wstring folder, std::wstring_view name);

// What follows the last "\" or "/".
std::wstring_view FileBaseName(std::wstring_view path);

}  // namespace harbinet
