#include "http/json.h"

#include <cstddef>

namespace harbinet {
namespace {

constexpr std::string_view kSpace = " \t\n\v\f\r";

// The position after the colon that follows the quoted key, or npos. Nesting is ignored: the first
// occurrence anywhere in the text counts.
std::size_t FindMemberValue(std::string_view body, std::string_view key) {
    std::string quoted_key = "\"";
    quoted_key += key;
    quoted_key += '"';
    const std::size_t found = body.find(quoted_key);
    if (found == std::string_view::npos) return found;
    const std::size_t colon = body.find(':', found + quoted_key.size());
    return colon == std::string_view::npos ? colon : colon + 1;
}

std::size_t SkipAny(std::string_view body, std::size_t position, std::string_view skipped) {
    const std::size_t next = body.find_first_not_of(skipped, position);
    return next == std::string_view::npos ? body.size() : next;
}

char Unescape(char c) {
    switch (c) {
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return c;  // also "u": its four digits follow as plain text
    }
}

// Reads a string whose opening quote stands before `position`, up to its closing quote or the end
// of the body, to the end of `text`; `position` then stands behind it.
void TakeString(std::string_view body, std::size_t& position, std::string& text) {
    while (position < body.size()) {
        const char c = body[position++];
        if (c == '"') break;
        if (c == '\\' && position < body.size()) {
            text += Unescape(body[position++]);
        } else {
            text += c;
        }
    }
}

}  // namespace

std::string JsonEscape(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '\t':
                escaped += "\\t";
                break;
            case '\n':
                escaped += "\\n";
                break;
            case '\r':
                escaped += "\\r";
                break;
            case '"':
                escaped += "\\\"";
                break;
            case '\\':
                escaped += "\\\\";
                break;
            default:
                if (static_cast<unsigned char>(c) >= 0x20) escaped += c;
        }
    }
    return escaped;
}

std::string JsonOk(std::string_view members) {
    std::string json = "{\"ok\":true";
    if (!members.empty()) json += ',';
    json += members;
    json += '}';
    return json;
}

std::string JsonError(std::string_view message) {
    return "{\"ok\":false,\"error\":\"" + JsonEscape(message) + "\"}";
}

std::string JsonGetString(std::string_view body, std::string_view key) {
    std::size_t position = FindMemberValue(body, key);
    if (position == std::string_view::npos) return {};
    position = SkipAny(body, position, " \r\n\t");
    if (position == body.size() || body[position] != '"') return {};
    ++position;
    std::string text;
    TakeString(body, position, text);
    return text;
}

JsonStringReader::JsonStringReader(std::string_view body, std::string_view key) : body_(body) {
    const std::size_t value = FindMemberValue(body, key);
    if (value == std::string_view::npos) return;
    position_ = SkipAny(body, value, kSpace);
    if (position_ == body.size() || body[position_] != '[') return;
    ++position_;
    // A body that breaks off right after the bracket or after a string counts as closed; one that
    // breaks off where a string is due does not. A missing comma is tolerated. Both are meant.
    state_ = position_ == body.size() ? State::kClosed : State::kReading;
}

bool JsonStringReader::Next(std::string& text) {
    if (state_ != State::kReading) return false;
    position_ = SkipAny(body_, position_, kSpace);
    if (position_ == body_.size() || body_[position_] != '"') {
        const bool closes = position_ < body_.size() && body_[position_] == ']';
        state_ = closes ? State::kClosed : State::kMalformed;
        return false;
    }
    ++position_;
    text.clear();
    TakeString(body_, position_, text);
    position_ = SkipAny(body_, position_, kSpace);
    if (position_ == body_.size()) {
        state_ = State::kClosed;
    } else if (body_[position_] == ',') {
        ++position_;
    }
    return true;
}

bool JsonGetStringArray(std::string_view body, std::string_view key,
                        std::vector<std::string>& out) {
    JsonStringReader reader(body, key);
    for (std::string text; reader.Next(text);) out.push_back(text);
    return reader.IsValid();
}

std::optional<std::size_t> JsonCountStrings(std::string_view body, std::string_view key) {
    JsonStringReader reader(body, key);
    std::size_t count = 0;
    for (std::string text; reader.Next(text);) ++count;
    if (!reader.IsValid()) return std::nullopt;
    return count;
}

}  // namespace harbinet
