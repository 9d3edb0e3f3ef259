// A client in memory: what it sends is cut into reads as the test says, what it receives is kept.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "net/stream.h"

namespace harbinet::test {

class FakeStream final : public Stream {
public:
    explicit FakeStream(std::string input = {}, std::size_t bytes_per_read = SIZE_MAX)
        : input_(std::move(input)), bytes_per_read_(bytes_per_read) {}

    std::size_t ReadSome(std::span<char> buffer) override {
        ++reads;
        const std::size_t count =
            std::min({buffer.size(), bytes_per_read_, input_.size() - position_});
        std::copy_n(input_.data() + position_, count, buffer.data());
        position_ += count;
        has_timed_out_ = is_slow && count == 0;
        return count;
    }

    bool WriteAll(std::string_view bytes) override {
        if (writes++ == 0) reads_at_first_write = reads;
        if (output.size() + bytes.size() > fails_after_bytes) return false;
        output += bytes;
        return true;
    }

    void BeginBody(const BodyLimits& wanted) override {
        body_begun = true;
        limits = wanted;
    }

    bool HasTimedOut() const override { return has_timed_out_; }

    std::string_view Unread() const { return std::string_view(input_).substr(position_); }

    std::string output;
    std::size_t fails_after_bytes = SIZE_MAX;  // a write that would pass it fails
    int reads = 0;
    int writes = 0;
    int reads_at_first_write = -1;
    bool body_begun = false;
    bool is_slow = false;  // it takes too long for what it has not sent
    BodyLimits limits{};

private:
    const std::string input_;
    const std::size_t bytes_per_read_;
    std::size_t position_ = 0;
    bool has_timed_out_ = false;
};

}  // namespace harbinet::test
