// Conversion between UTF-8 (requests, replies) and the system's wide strings (paths, log lines, UI
// texts). Invalid input is not refused: the system's replacement character stands for it.
// Thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace harbinet {

std::wstring Utf8ToWide(std::string_view utf8);
std::string WideToUtf8(std::wstring_view wide);

// To and from the system's ANSI code page: what OpenSSL takes as a file name and writes into its
// error texts.
std::string WideToAnsi(std::wstring_view wide);
std::wstring AnsiToWide(std::string_view ansi);

}  // namespace harbinet
