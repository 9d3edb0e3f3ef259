// JSON as text: replies are joined from fragments, request bodies are searched for the few members
// the endpoints need. Pure functions on UTF-8 bytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace harbinet {

// For use between JSON double quotes. Control characters other than tab, line feed and carriage
// return are dropped.
std::string JsonEscape(std::string_view text);

// {"ok":true} or, with `members` (valid JSON members), {"ok":true,members}.
std::string JsonOk(std::string_view members = {});

// {"ok":false,"error":"message"}.
std::string JsonError(std::string_view message);

// The string member `key`, wherever it first occurs; empty when it is missing or no string.
std::string JsonGetString(std::string_view body, std::string_view key);

// Appends the strings of the array member `key`; false when it is missing or malformed.
bool JsonGetStringArray(std::string_view body, std::string_view key, std::vector<std::string>& out);

}  // namespace harbinet
