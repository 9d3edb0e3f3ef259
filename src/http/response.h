// Builds and writes every reply: the fixed header set, the date, and the three kinds of error
// reply. Nothing is reported back: a client that has gone is noticed by the connection's end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "net/stream.h"

namespace harbinet {

inline constexpr std::string_view kJsonType = "application/json; charset=utf-8";
inline constexpr std::string_view kTextType = "text/plain; charset=utf-8";
inline constexpr std::string_view kHtmlType = "text/html; charset=utf-8";
inline constexpr std::string_view kZipType = "application/zip";
inline constexpr std::string_view kBinaryType = "application/octet-stream";

// Written after the fixed headers, in this order.
using ExtraHeaders = std::vector<std::pair<std::string_view, std::string>>;

// "Fri, 02 Jan 2026 09:07:03 GMT" for seconds since 1970-01-01 UTC.
std::string HttpDate(std::uint64_t seconds);

// The head of a reply with its closing empty line.
std::string BuildHead(int status, std::string_view reason, std::string_view content_type,
                      std::uint64_t content_length, const ExtraHeaders& extra = {});

void SendResponse(Stream& stream, int status, std::string_view reason,
                  std::string_view content_type, std::string_view body,
                  const ExtraHeaders& extra = {});

// Status 200 "OK".
void SendOkBytes(Stream& stream, std::string_view content_type, std::string_view bytes,
                 const ExtraHeaders& extra = {});

// A JSON body; the reason is "OK" for 200 and "Error" for every other status.
void SendJsonError(Stream& stream, int status, std::string_view json);

// An HTML page with the reason "Error".
void SendHtmlError(Stream& stream, int status, std::string_view html);

// The reason text itself as a plain-text body.
void SendPlainError(Stream& stream, int status, std::string_view reason);

// The card page for browser navigations. `title` and `message` are this program's own texts: they
// are not escaped.
std::string BuildErrorPage(std::string_view title, std::string_view message);

}  // namespace harbinet
