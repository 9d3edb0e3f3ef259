#include "http/request.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "http/ascii_case.h"
#include "http/response.h"

namespace harbinet {
namespace {

constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::string_view kSpace = " \t\n\v\f\r";
constexpr std::size_t kUsualHeadBytes = 8192;
constexpr std::size_t kHeadPieceBytes = 2048;
constexpr std::size_t kBodyPieceBytes = 16'384;

// Removes the text up to the first `separator` from the front of `remaining`, and the separator.
std::string_view TakeUntil(std::string_view& remaining, char separator) {
    const std::string_view item = remaining.substr(0, remaining.find(separator));
    remaining.remove_prefix(std::min(item.size() + 1, remaining.size()));
    return item;
}

std::string_view TakeLine(std::string_view& remaining) {
    std::string_view line = TakeUntil(remaining, '\n');
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

std::string_view TakeWord(std::string_view& remaining) {
    remaining.remove_prefix(std::min(remaining.find_first_not_of(kSpace), remaining.size()));
    const std::string_view word = remaining.substr(0, remaining.find_first_of(kSpace));
    remaining.remove_prefix(word.size());
    return word;
}

std::optional<unsigned> HexValue(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
    return std::nullopt;
}

// The byte that `text` begins with as "%" and two hex digits.
std::optional<char> EscapedByte(std::string_view text) {
    if (text.size() < 3 || text[0] != '%') return std::nullopt;
    const std::optional<unsigned> high = HexValue(text[1]);
    const std::optional<unsigned> low = HexValue(text[2]);
    if (!high || !low) return std::nullopt;
    return static_cast<char>(*high << 4 | *low);
}

}  // namespace

void HttpRequest::ForgetHead() {
    HttpRequest forgetful;
    forgetful.body = std::move(body);
    *this = std::move(forgetful);
}

std::optional<Header> TakeHeader(HeaderList& headers) {
    while (!headers.lines.empty()) {
        const std::string_view line = TakeLine(headers.lines);
        if (line.empty()) break;
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        std::string_view value = line.substr(colon + 1);
        value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
        return Header{line.substr(0, colon), value};
    }
    headers = HeaderList();
    return std::nullopt;
}

std::string_view GetHeader(HeaderList headers, std::string_view name) {
    while (const std::optional<Header> header = TakeHeader(headers)) {
        if (EqualsIgnoringCase(header->name, name)) return header->value;
    }
    return {};
}

std::optional<HttpRequest> ReadRequest(Stream& stream) {
    HttpRequest request;
    if (!ReadHead(stream, request.head, request.body)) return std::nullopt;
    if (!ParseHead({request.head.data(), request.head.size()}, request)) {
        SendPlainError(stream, 400, "Bad Request");
        return std::nullopt;
    }
    SplitTarget(request);
    return request;
}

bool ReadHead(Stream& stream, LargeBuffer& head, std::string& rest) {
    head.clear();
    head.reserve(kUsualHeadBytes);
    // Each search starts where the last one ended, less the part of a blank line that may have
    // arrived: a head costs linear time however it is cut.
    std::size_t searched = 0;
    while (true) {
        const std::size_t held = head.size();
        head.resize(held + kHeadPieceBytes);
        const std::size_t count = stream.ReadSome({head.data() + held, kHeadPieceBytes});
        head.resize(held + count);
        if (count == 0) return false;
        const std::string_view received(head.data(), head.size());
        const std::size_t end = received.find(kHeadEnd, searched);
        if (end != std::string_view::npos) {
            rest = received.substr(end + kHeadEnd.size());
            head.resize(end + kHeadEnd.size());
            return true;
        }
        if (head.size() > kMaxHeadBytes) return false;
        searched = head.size() - std::min(head.size(), kHeadEnd.size() - 1);
    }
}

bool ParseHead(std::string_view head, HttpRequest& request) {
    std::string_view request_line = TakeLine(head);
    request.method = TakeWord(request_line);
    request.target = TakeWord(request_line);
    request.version = TakeWord(request_line);
    const bool is_complete = !request.version.empty();
    request.headers.lines = is_complete ? head : std::string_view();
    return is_complete;
}

void SplitTarget(HttpRequest& request) {
    std::string_view remaining = request.target;
    request.path = TakeUntil(remaining, '?');
    request.query = remaining;
}

std::string_view GetQueryParam(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        std::string_view item = TakeUntil(query, '&');
        if (!item.starts_with(name)) continue;
        item.remove_prefix(name.size());
        if (item.starts_with('=')) return item.substr(1);
    }
    return {};
}

std::string UrlDecode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    while (!text.empty()) {
        const std::optional<char> byte = EscapedByte(text);
        decoded += byte ? *byte : text[0] == '+' ? ' ' : text[0];
        text.remove_prefix(byte ? 3 : 1);
    }
    return decoded;
}

std::string ReadExact(Stream& stream, std::uint64_t count) {
    std::string bytes;
    // The string grows with what has arrived, never with what was announced.
    while (bytes.size() < count) {
        char piece[kBodyPieceBytes];
        const std::uint64_t wanted = std::min<std::uint64_t>(count - bytes.size(), sizeof piece);
        const std::size_t got = stream.ReadSome({piece, static_cast<std::size_t>(wanted)});
        if (got == 0) break;
        bytes.append(piece, got);
    }
    return bytes;
}

std::uint64_t ContentLength(HeaderList headers) {
    const std::string value(GetHeader(headers, "content-length"));
    return std::strtoull(value.c_str(), nullptr, 10);
}

bool AsksToContinue(const HttpRequest& request) {
    std::string_view expected = GetHeader(request.headers, "expect");
    expected = expected.substr(0, expected.find_last_not_of(" \t") + 1);
    return request.version == "HTTP/1.1" && request.body.empty() &&
           ContentLength(request.headers) > 0 && EqualsIgnoringCase(expected, "100-continue");
}

bool IsChunkedRequest(HeaderList headers) {
    return FindIgnoringCase(GetHeader(headers, "transfer-encoding"), "chunked") !=
           std::string_view::npos;
}

void AwaitBody(Stream& stream, const HttpRequest& request, const BodyLimits& limits) {
    stream.BeginBody(limits);
    if (AsksToContinue(request)) stream.WriteAll("HTTP/1.1 100 Continue\r\n\r\n");
}

void ReadBody(Stream& stream, HttpRequest& request, std::uint64_t max_bytes,
              const BodyLimits& limits) {
    const std::uint64_t wanted = std::min(ContentLength(request.headers), max_bytes);
    if (wanted <= request.body.size()) return;
    AwaitBody(stream, request, limits);
    request.ForgetHead();
    request.body += ReadExact(stream, wanted - request.body.size());
}

}  // namespace harbinet
