// Replies as tests compare them: whole, but for the one line that depends on the time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace harbinet::test {

// The reply without its Date line, which must be the second line and 29 characters long; a reply
// without such a line is returned with a complaint in front.
inline std::string WithoutDate(std::string reply) {
    constexpr std::string_view kName = "\r\nDate: ";
    constexpr std::size_t kDateLength = 29;
    const std::size_t begin = reply.find("\r\n");
    if (begin == std::string::npos || reply.compare(begin, kName.size(), kName) != 0 ||
        reply.find("\r\n", begin + 2) != begin + kName.size() + kDateLength) {
        return "(no date line in) " + reply;
    }
    return reply.erase(begin, kName.size() + kDateLength);
}

// A whole reply without its Date line. `extra` holds complete header lines.
inline std::string ReplyText(std::string_view status, std::string_view content_type,
                             std::string_view length, std::string_view body,
                             std::string_view extra = {}) {
    std::string reply = "HTTP/1.1 ";
    reply += status;
    reply += "\r\nServer: HTTPHarbinet\r\nConnection: close\r\nContent-Type: ";
    reply += content_type;
    reply += "\r\nContent-Length: ";
    reply += length;
    reply += "\r\n";
    reply += extra;
    reply += "\r\n";
    reply += body;
    return reply;
}

}  // namespace harbinet::test
