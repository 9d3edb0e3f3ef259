// The part of a byte stream that has been received and not yet consumed, and the search for a
// pattern in it. However the stream is cut into reads, the cost is linear in its length.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "app/large_buffer.h"

namespace harbinet {

// Bytes are appended at the end and dropped from the front.
class StreamWindow {
public:
    // Room for at least `count` more bytes, behind those that are held.
    std::span<char> Room(std::size_t count);

    // The first `count` bytes of the room have been filled.
    void Grow(std::size_t count) { end_ += count; }

    void Drop(std::size_t count) { begin_ += count; }

    // Valid until the next call of Room.
    std::string_view View() const { return {storage_.data() + begin_, end_ - begin_}; }

private:
    LargeBuffer storage_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

// Finds the first occurrence of a pattern in a window and remembers how far it has looked. Linear,
// however the stream is cut, for patterns whose first two bytes occur together nowhere else in
// them, as CR LF in a delimiter; most bytes of ordinary data are skipped over.
class WindowSearch {
public:
    // `pattern` is not empty.
    explicit WindowSearch(std::string pattern);

    std::string_view Pattern() const { return pattern_; }

    // Where the pattern begins in `window`, which is the window of the last call with bytes added.
    std::optional<std::size_t> Find(std::string_view window);

    // `count` bytes that cannot be part of an occurrence were dropped from the window's front.
    void Dropped(std::size_t count) { position_ -= count; }

    void Restart() { position_ = 0; }

private:
    const std::string pattern_;
    // How far the pattern moves on when this byte stands where its last byte would: its first byte
    // is compared first, so a comparison is long only where the text follows the pattern.
    std::array<std::size_t, 256> steps_{};
    std::size_t position_ = 0;  // nothing before it begins an occurrence
};

}  // namespace harbinet
