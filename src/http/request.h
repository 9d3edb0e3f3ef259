// Reads one HTTP/1.1 request from a stream and takes it apart. All texts are bytes as sent (UTF-8
// by convention), still percent-encoded. Runs on the connection's own thread and touches nothing
// shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "net/stream.h"

namespace harbinet {

// In arrival order, names lower-cased; duplicates are kept.
using HeaderList = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
    std::string method;
    std::string target;   // as sent
    std::string version;  // as sent, not checked
    std::string path;     // the target up to the first "?"
    std::string query;    // after it; empty if none
    HeaderList headers;
    std::string body;  // bytes that have been received after the head
};

inline constexpr std::size_t kMaxHeadBytes = 1'048'576;

// Reads up to and including the blank line. False when the client closes or fails, or the head
// exceeds kMaxHeadBytes.
bool ReadHead(Stream& stream, std::string& head, std::string& rest);

// Fills method, target, version and headers; false when the request line holds fewer than three
// words.
bool ParseHead(std::string_view head, HttpRequest& request);

// Fills path and query from target.
void SplitTarget(HttpRequest& request);

// The first header stored under `name` (lower case), or empty.
std::string_view GetHeader(const HeaderList& headers, std::string_view name);

// The raw value of the first item that is `name`, "=" and a value; or empty.
std::string_view GetQueryParam(std::string_view query, std::string_view name);

// "+" to a blank, "%" and two hex digits to their byte; everything else is copied.
std::string UrlDecode(std::string_view text);

// Up to `count` bytes; fewer when the client stops sending.
std::string ReadExact(Stream& stream, std::uint64_t count);

// The "content-length" header as strtoull reads it; 0 when it is absent.
std::uint64_t ContentLength(const HeaderList& headers);

// True when the sender means to send its body in chunks, of unknown length.
bool IsChunkedRequest(const HeaderList& headers);

// Appends to request.body what the content-length still promises, but lets the body grow to at most
// `max_bytes`.
void ReadBody(Stream& stream, HttpRequest& request, std::uint64_t max_bytes);

}  // namespace harbinet
