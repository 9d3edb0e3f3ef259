#include <windows.h>

#include "app/encoding.h"

namespace harbinet {

// Windows counts lengths as int: a text of 2 GiB or more converts to nothing.
std::wstring Utf8ToWide(std::string_view utf8) {
    const int length = static_cast<int>(utf8.size());
    const int needed =
        length > 0 ? MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0) : 0;
    if (needed <= 0) return {};
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), needed);
    return wide;
}

std::string WideToUtf8(std::wstring_view wide) {
    const int length = static_cast<int>(wide.size());
    const int needed = length > 0 ? WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0,
                                                        nullptr, nullptr)
                                  : 0;
    if (needed <= 0) return {};
    std::string utf8(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(), needed, nullptr, nullptr);
    return utf8;
}

}  // namespace harbinet
