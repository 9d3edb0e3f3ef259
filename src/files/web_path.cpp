#include "files/web_path.h"

#include <algorithm>
#include <string_view>

#include "app/ascii.h"
#include "files/names.h"

namespace harbinet {
namespace {

bool StartsWithIgnoringCase(std::wstring_view text, std::wstring_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](wchar_t a, wchar_t b) { return LowerAscii(a) == LowerAscii(b); });
}

}  // namespace

std::wstring ResolveWebPath(FileSystem& files, const std::wstring& web_root,
                            std::wstring relative) {
    relative = NormalizeRelPath(std::move(relative));
    if (relative.empty()) return web_root;
    // Stricter than a test for ".." components, and meant to be: no separator is demanded after
    // the root below, so nothing may ever lead upwards.
    if (relative.find(L"..") != std::wstring::npos) return {};
    std::replace(relative.begin(), relative.end(), L'/', L'\\');

    const std::wstring full_root = files.FullPath(web_root);
    std::wstring full_path = files.FullPath(JoinDirName(web_root, relative));
    // A root without a full path holds nothing: an empty prefix would let every path pass.
    if (full_root.empty() || !StartsWithIgnoringCase(full_path, full_root)) return {};
    return full_path;
}

}  // namespace harbinet
