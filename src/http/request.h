// Reads one HTTP/1.1 request from a stream and takes it apart. All texts are bytes as sent (UTF-8
// by convention), still percent-encoded. Runs on the connection's own thread and touches nothing
// shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "app/large_buffer.h"
#include "net/stream.h"

namespace harbinet {

// The header lines of a head, looked up where they lie: nothing is taken apart beforehand, so a
// head costs what it weighs, whatever it consists of.
struct HeaderList {
    HeaderList() = default;
    explicit HeaderList(std::string_view text) : lines(text) {}

    std::string_view lines;
};

struct Header {
    std::string_view name;   // as sent
    std::string_view value;  // without its leading blanks and tabs
};

// Takes the next header off the front; nothing at the end of the head. Lines without ":" are none.
std::optional<Header> TakeHeader(HeaderList& headers);

// The first header of that name, which is given in lower case, whatever case was sent; or empty.
std::string_view GetHeader(HeaderList headers, std::string_view name);

// All texts but the body lie in `head`, which moves with them.
struct HttpRequest {
    HttpRequest() = default;
    HttpRequest(HttpRequest&&) = default;
    HttpRequest& operator=(HttpRequest&&) = default;

    // Gives the head's memory back; all texts but the body are empty afterwards.
    void ForgetHead();

    LargeBuffer head;  // as received, up to and including the blank line
    std::string_view method;
    std::string_view target;   // as sent
    std::string_view version;  // as sent, not checked
    std::string_view path;     // the target up to the first "?"
    std::string_view query;    // after it; empty if none
    HeaderList headers;
    std::string body;  // bytes that have been received after the head
};

inline constexpr std::size_t kMaxHeadBytes = 1'048'576;

// One request up to its head, with the body bytes that came along. Nothing when the client leaves
// or fails before the head is complete, when the head exceeds kMaxHeadBytes, or when its first line
// has fewer than three words: then 400 has been replied.
std::optional<HttpRequest> ReadRequest(Stream& stream);

// The steps of ReadRequest. ReadHead reads up to and including the blank line; false when the
// client closes or fails, or the head exceeds kMaxHeadBytes.
bool ReadHead(Stream& stream, LargeBuffer& head, std::string& rest);

// Finds method, target, version and headers in `head`, which must live as long; false when the
// request line holds fewer than three words.
bool ParseHead(std::string_view head, HttpRequest& request);

// Fills path and query from target.
void SplitTarget(HttpRequest& request);

// True when the sender means to send its body in chunks, of unknown length.
bool IsChunkedRequest(HeaderList headers);

// True when the sender waits for "100 Continue" before it sends its body: an HTTP/1.1 request that
// has one, of which no byte has arrived.
bool AsksToContinue(const HttpRequest& request);

// The raw value of the first item that is `name`, "=" and a value; or empty.
std::string_view GetQueryParam(std::string_view query, std::string_view name);

// "+" to a blank, "%" and two hex digits to their byte; everything else is copied.
std::string UrlDecode(std::string_view text);

// Up to `count` bytes; fewer when the client stops sending.
std::string ReadExact(Stream& stream, std::uint64_t count);

// The "content-length" header as strtoull reads it; 0 when it is absent.
std::uint64_t ContentLength(HeaderList headers);

// Before the first wait for a body that the request is not refused for: `limits` hold from here on,
// and a sender that asks to continue is told to.
void AwaitBody(Stream& stream, const HttpRequest& request, const BodyLimits& limits);

// Appends to request.body what the content-length still promises, but lets the body grow to at most
// `max_bytes`.
void ReadBody(Stream& stream, HttpRequest& request, std::uint64_t max_bytes,
              const BodyLimits& limits);

}  // namespace harbinet
