#include "support/fake_random.h"

namespace harbinet::test {

bool FakeRandom::Fill(std::span<std::uint8_t> bytes) {
    if (fails) return false;
    if (queued.empty()) {
        for (std::uint8_t& byte : bytes) byte = next_++;
        return true;
    }
    const std::vector<std::uint8_t> next = std::move(queued.front());
    queued.pop_front();
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
    std::copy_n(next.begin(), std::min(next.size(), bytes.size()), bytes.begin());
    return true;
}

}  // namespace harbinet::test
