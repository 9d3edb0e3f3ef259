#include "files/stream_window.h"

#include <algorithm>
#include <cstring>

namespace harbinet {

std::span<char> StreamWindow::Room(std::size_t count) {
    if (storage_.size() - end_ < count) {
        const std::size_t held = end_ - begin_;
        // Half of the storage stays free after each move, so that a move of many bytes is followed
        // by many reads without one.
        const std::size_t wanted = 2 * std::max(held, count);
        if (begin_ > 0) std::copy_n(storage_.data() + begin_, held, storage_.data());
        if (storage_.size() < wanted) storage_.resize(wanted);
        begin_ = 0;
        end_ = held;
    }
    return std::span(storage_).subspan(end_);
}

std::optional<std::size_t> WindowSearch::Find(std::string_view window) {
    while (position_ < window.size()) {
        if (matched_ == 0) {
            const void* first =
                std::memchr(window.data() + position_, pattern_[0], window.size() - position_);
            if (first == nullptr) {
                position_ = window.size();
                break;
            }
            position_ = static_cast<std::size_t>(static_cast<const char*>(first) - window.data());
            matched_ = 1;
        }
        const std::size_t known = std::min(pattern_.size(), window.size() - position_);
        const auto [differs, _] =
            std::mismatch(pattern_.begin() + static_cast<std::ptrdiff_t>(matched_),
                          pattern_.begin() + static_cast<std::ptrdiff_t>(known),
                          window.begin() + static_cast<std::ptrdiff_t>(position_ + matched_));
        matched_ = static_cast<std::size_t>(differs - pattern_.begin());
        if (matched_ == pattern_.size()) return position_;
        if (matched_ == known) break;
        ++position_;
        matched_ = 0;
    }
    return std::nullopt;
}

}  // namespace harbinet
