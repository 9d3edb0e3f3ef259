#include "http/stream_window.h"

#include <algorithm>

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

WindowSearch::WindowSearch(std::string pattern) : pattern_(std::move(pattern)) {
    steps_.fill(pattern_.size());
    for (std::size_t i = 0; i + 1 < pattern_.size(); ++i) {
        steps_[static_cast<unsigned char>(pattern_[i])] = pattern_.size() - 1 - i;
    }
}

std::optional<std::size_t> WindowSearch::Find(std::string_view window) {
    while (position_ + pattern_.size() <= window.size()) {
        const char last = window[position_ + pattern_.size() - 1];
        if (last == pattern_.back() && window.substr(position_).starts_with(pattern_)) {
            return position_;
        }
        position_ += steps_[static_cast<unsigned char>(last)];
    }
    return std::nullopt;
}

}  // namespace harbinet
