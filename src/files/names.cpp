#include "files/names.h"

#include <algorithm>

namespace harbinet {
namespace {

template <typename Text>
Text Normalized(Text path) {
    using Char = typename Text::value_type;
    std::replace(path.begin(), path.end(), Char{'\\'}, Char{'/'});
    path.erase(0, path.find_first_not_of(Char{'/'}));
    return path;
}

}  // namespace

std::wstring NormalizeRelPath(std::wstring path) { return Normalized(std::move(path)); }

std::string NormalizeRelPath(std::string utf8_path) { return Normalized(std::move(utf8_path)); }

bool StaysInFolder(std::wstring_view name) {
    return name.find(L"..") == std::wstring_view::npos &&
           name.find_first_of(L"/\\") == std::wstring_view::npos;
}

bool IsSimpleName(std::wstring_view name) { return !name.empty() && StaysInFolder(name); }

std::wstring JoinDirName(std::wstring folder, std::wstring_view name) {
    if (!folder.empty() && !folder.ends_with(L'\\')) folder += L'\\';
    return folder.append(name);
}

std::wstring_view FileBaseName(std::wstring_view path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    return separator == std::wstring_view::npos ? path : path.substr(separator + 1);
}

}  // namespace harbinet
