// Takes a multipart/form-data body apart while it arrives. Each part's data leaves as soon as it is
// known not to be the delimiter, so memory is bounded by one read and the delimiter, whatever the
// size of the files; only a part's header block is kept whole, and its size is not limited. No byte
// is searched twice.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "http/stream_window.h"

namespace harbinet {

// Receives the parts that are files, in order and one at a time. Other parts are skipped.
class MultipartSink {
public:
    virtual ~MultipartSink() = default;
    // `name` as the header gives it, never empty. False ends the parsing.
    virtual bool BeginFile(std::string_view name) = 0;
    virtual void Write(std::string_view bytes) = 0;
    virtual void EndFile() = 0;
};

enum class MultipartStatus {
    kNeedsMore,
    kComplete,   // the closing delimiter was reached
    kMalformed,  // no further byte can make this body valid
    kRefused,    // by the sink
};

class MultipartParser {
public:
    // `boundary` without its leading "--"; may be empty.
    MultipartParser(std::string_view boundary, MultipartSink& sink);
    MultipartParser(const MultipartParser&) = delete;
    MultipartParser& operator=(const MultipartParser&) = delete;

    // Where the next `count` or more bytes of the body go.
    std::span<char> Room(std::size_t count) { return window_.Room(count); }

    // `count` bytes have been placed there. Not to be called again after another answer than
    // kNeedsMore.
    MultipartStatus Received(std::size_t count);

private:
    enum class State { kStart, kPreamble, kDelimiter, kHeaders, kData };

    // Each acts on one state and gives nothing when the next state can be looked at.
    std::optional<MultipartStatus> AtStart();
    std::optional<MultipartStatus> InPreamble();
    std::optional<MultipartStatus> AtDelimiter();
    std::optional<MultipartStatus> InHeaders();
    std::optional<MultipartStatus> InData();
    std::optional<MultipartStatus> Step();

    // Hands the first `count` bytes to the sink, while it has a file open.
    void WriteData(std::size_t count);
    // Writes and drops what cannot be part of a delimiter that is still arriving.
    void ReleaseAllButTail();
    void EnterDelimiter(std::size_t delimiter_at);

    MultipartSink& sink_;
    StreamWindow window_;
    WindowSearch delimiter_search_;     // with the line break before it
    const std::string_view delimiter_;  // without it
    WindowSearch header_end_search_;
    State state_ = State::kStart;
    std::size_t compared_ = 0;  // bytes at the start that are known to be the delimiter's
    bool file_open_ = false;
};

}  // namespace harbinet
