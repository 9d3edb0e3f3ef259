// A browser's side of one exchange with the program on this computer.
#pragma once

#include <string>
#include <string_view>

namespace harbinet::test {

// Sends the bytes over TLS and returns all that comes back; empty when the server is not there.
std::string Exchange(int port, std::string_view request);

std::string Get(int port, std::string_view path, std::string_view cookie = {});
std::string PostJson(int port, std::string_view path, std::string_view json);

// "200" and the like; empty without a reply.
std::string StatusOf(std::string_view reply);

// Logs in; the cookie "AUTH=...", or empty.
std::string LogIn(int port, std::string_view pin);

}  // namespace harbinet::test
