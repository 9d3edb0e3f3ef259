// What the file endpoints read from a request, and the JSON replies they share.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "http/router.h"

namespace harbinet {

// Room for the names of some 100,000 files.
inline constexpr std::uint64_t kMaxJsonBodyBytes = 64ULL * 1024 * 1024;
// For one folder and one name: no path is longer.
inline constexpr std::uint64_t kMaxEntryBodyBytes = 64ULL * 1024;

// The decoded query parameter `name`, converted.
std::wstring WideQueryParam(const HttpRequest& request, std::string_view name);

// Completes the body to its Content-Length. A body that announces more than `max_bytes` is not read
// but emptied, and so is one that was cut off because it took too long: every field is missing
// then. Nobody wants half a list of files deleted, or a file whose name begins as that of another.
void ReadJsonBody(Exchange& exchange, std::uint64_t max_bytes, const BodyLimits& limits);

// 200 with {"ok":true}, or {"ok":true,members}.
void ReplyOk(Stream& stream, std::string_view members = {});

// {"ok":false,"error":message} with the reason "Error".
void ReplyError(Stream& stream, int status, std::string_view message);

}  // namespace harbinet
