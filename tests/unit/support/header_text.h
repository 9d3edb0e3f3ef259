// Headers for a request that a test makes by hand: the owner of the text that HeaderList looks
// into.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "app/ascii.h"
#include "http/request.h"

namespace harbinet::test {

class HeaderText {
public:
    using Pair = std::pair<std::string, std::string>;

    HeaderText() = default;
    HeaderText(std::initializer_list<Pair> headers) {
        for (const auto& [name, value] : headers) lines_ += name + ": " + value + "\r\n";
    }

    // Valid as long as this object.
    operator HeaderList() const {
        return HeaderList(lines_);
    }  // NOLINT(google-explicit-constructor)

private:
    std::string lines_;
};

// All headers in order, their names in lower case.
inline std::vector<HeaderText::Pair> AllHeaders(HeaderList headers) {
    std::vector<HeaderText::Pair> all;
    while (const auto header = TakeHeader(headers)) {
        all.emplace_back(LowerAsciiText(std::string(header->name)), header->value);
    }
    return all;
}

}  // namespace harbinet::test
