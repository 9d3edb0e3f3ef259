#include "http/multipart.h"

#include <algorithm>

#include "http/ascii_case.h"

namespace harbinet {
namespace {

constexpr std::string_view kLineBreak = "\r\n";
constexpr std::string_view kHeaderEnd = "\r\n\r\n";
constexpr std::string_view kClosingMark = "--";
constexpr std::string_view kFileNameParameter = "filename=\"";

// Bytes that are held back beyond the length of the delimiter and its line break.
constexpr std::size_t kTailSlack = 8;

// The quoted file name of a part's header block; empty when the part has no file.
std::string_view FileNameOf(std::string_view headers) {
    const std::size_t parameter = FindIgnoringCase(headers, kFileNameParameter);
    if (parameter == std::string_view::npos) return {};
    const std::string_view name = headers.substr(parameter + kFileNameParameter.size());
    const std::size_t quote = name.find('"');
    return quote == std::string_view::npos ? std::string_view() : name.substr(0, quote);
}

}  // namespace

MultipartParser::MultipartParser(std::string_view boundary, MultipartSink& sink)
    : sink_(sink),
      delimiter_search_("\r\n--" + std::string(boundary)),
      delimiter_(delimiter_search_.Pattern().substr(kLineBreak.size())),
      header_end_search_(std::string(kHeaderEnd)) {}

MultipartStatus MultipartParser::Received(std::size_t count) {
    window_.Grow(count);
    while (true) {
        if (const auto status = Step()) return *status;
    }
}

std::optional<MultipartStatus> MultipartParser::Step() {
    switch (state_) {
        case State::kStart:
            return AtStart();
        case State::kPreamble:
            return InPreamble();
        case State::kDelimiter:
            return AtDelimiter();
        case State::kHeaders:
            return InHeaders();
        case State::kData:
            return InData();
    }
    return MultipartStatus::kMalformed;
}

std::optional<MultipartStatus> MultipartParser::AtStart() {
    const std::string_view view = window_.View();
    const bool has_line_break = view.starts_with(kLineBreak.front());
    const std::string_view expected = has_line_break ? delimiter_search_.Pattern() : delimiter_;
    const std::size_t comparable = std::min(view.size(), expected.size());
    while (compared_ < comparable && view[compared_] == expected[compared_]) ++compared_;
    if (compared_ < comparable) {
        // From here on a delimiter counts only at the start of a line, wherever the reads are cut.
        state_ = State::kPreamble;
        return std::nullopt;
    }
    if (compared_ < expected.size()) return MultipartStatus::kNeedsMore;
    if (has_line_break) return MultipartStatus::kMalformed;
    state_ = State::kDelimiter;
    return std::nullopt;
}

std::optional<MultipartStatus> MultipartParser::InPreamble() {
    if (const auto found = delimiter_search_.Find(window_.View())) {
        EnterDelimiter(*found);
        return std::nullopt;
    }
    ReleaseAllButTail();
    return MultipartStatus::kNeedsMore;
}

std::optional<MultipartStatus> MultipartParser::AtDelimiter() {
    // Two bytes decide: waiting for more would keep the reply from a client that sends nothing
    // after the closing delimiter.
    const std::string_view view = window_.View();
    if (view.size() < delimiter_.size() + kClosingMark.size()) return MultipartStatus::kNeedsMore;
    const std::string_view mark = view.substr(delimiter_.size(), kClosingMark.size());
    if (mark == kClosingMark) return MultipartStatus::kComplete;
    window_.Drop(delimiter_.size() + (mark == kLineBreak ? kLineBreak.size() : 0));
    header_end_search_.Restart();
    state_ = State::kHeaders;
    return std::nullopt;
}

std::optional<MultipartStatus> MultipartParser::InHeaders() {
    const auto end = header_end_search_.Find(window_.View());
    if (!end) return MultipartStatus::kNeedsMore;
    const std::string_view name = FileNameOf(window_.View().substr(0, *end));
    if (!name.empty()) {
        if (!sink_.BeginFile(name)) return MultipartStatus::kRefused;
        file_open_ = true;
    }
    window_.Drop(*end + kHeaderEnd.size());
    delimiter_search_.Restart();
    state_ = State::kData;
    return std::nullopt;
}

std::optional<MultipartStatus> MultipartParser::InData() {
    if (const auto found = delimiter_search_.Find(window_.View())) {
        WriteData(*found);
        if (file_open_) sink_.EndFile();
        file_open_ = false;
        EnterDelimiter(*found);
        return std::nullopt;
    }
    ReleaseAllButTail();
    return MultipartStatus::kNeedsMore;
}

void MultipartParser::WriteData(std::size_t count) {
    if (file_open_ && count > 0) sink_.Write(window_.View().substr(0, count));
}

void MultipartParser::ReleaseAllButTail() {
    const std::size_t tail = delimiter_search_.Pattern().size() + kTailSlack;
    const std::size_t held = window_.View().size();
    if (held <= tail) return;
    WriteData(held - tail);
    window_.Drop(held - tail);
    delimiter_search_.Dropped(held - tail);
}

void MultipartParser::EnterDelimiter(std::size_t delimiter_at) {
    window_.Drop(delimiter_at + kLineBreak.size());
    state_ = State::kDelimiter;
}

}  // namespace harbinet
