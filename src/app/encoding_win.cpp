#include <windows.h>

#include "app/encoding.h"

namespace harbinet {

namespace {

// Windows counts lengths as int: a text of 2 GiB or more converts to nothing.
std::wstring ToWide(UINT code_page, std::string_view text) {
    const int length = static_cast<int>(text.size());
    const int needed =
        length > 0 ? MultiByteToWideChar(code_page, 0, text.data(), length, nullptr, 0) : 0;
    if (needed <= 0) return {};
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(code_page, 0, text.data(), length, wide.data(), needed);
    return wide;
}

std::string FromWide(UINT code_page, std::wstring_view wide) {
    const int length = static_cast<int>(wide.size());
    const int needed = length > 0 ? WideCharToMultiByte(code_page, 0, wide.data(), length, nullptr,
                                                        0, nullptr, nullptr)
                                  : 0;
    if (needed <= 0) return {};
    std::string text(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(code_page, 0, wide.data(), length, text.data(), needed, nullptr, nullptr);
    return text;
}

}  // namespace

std::wstring Utf8ToWide(std::string_view utf8) { return ToWide(CP_UTF8, utf8); }
std::string WideToUtf8(std::wstring_view wide) { return FromWide(CP_UTF8, wide); }
std::string WideToAnsi(std::wstring_view wide) { return FromWide(CP_ACP, wide); }
std::wstring AnsiToWide(std::string_view ansi) { return ToWide(CP_ACP, ansi); }

}  // namespace harbinet
