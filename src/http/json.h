// JSON as text: replies are joined from fragments, request bodies are searched for the few members
// the endpoints need. Pure functions on UTF-8 bytes.
#pragma once

#include <cstddef>
#include <optional>
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

// The same strings one after the other, so that a long array of short strings costs no more memory
// than its text. `body` must outlive the reader.
class JsonStringReader {
public:
    JsonStringReader(std::string_view body, std::string_view key);

    // Puts the next string into `text`; false when no more comes.
    bool Next(std::string& text);

    // False once the array has turned out to be missing or malformed.
    bool IsValid() const { return state_ != State::kMalformed; }

private:
    enum class State { kReading, kClosed, kMalformed };

    const std::string_view body_;
    std::size_t position_ = 0;
    State state_ = State::kMalformed;
};

// How many strings the array member `key` holds; nothing when it is missing or malformed.
std::optional<std::size_t> JsonCountStrings(std::string_view body, std::string_view key);

}  // namespace harbinet
