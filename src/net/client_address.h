// Client addresses as texts: the key of bans, and what the log shows. Pure.
#pragma once

#include <string_view>

namespace harbinet {

// Drops the prefix of an IPv4-mapped IPv6 address: "::ffff:10.0.0.7" is the client 10.0.0.7.
std::string_view WithoutMappedPrefix(std::string_view address);

}  // namespace harbinet
