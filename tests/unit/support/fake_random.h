// A random source that a test controls.
#pragma once

#include <algorithm>
#include <deque>
#include <vector>

#include "app/random.h"

namespace harbinet::test {

// Hands out the queued byte strings, one for each Fill (cut or padded with zeros); then counts up
// from 1. Fails on demand.
class FakeRandom final : public RandomSource {
public:
    bool Fill(std::span<std::uint8_t> bytes) override;
    std::uint32_t TickCount() override { return tick_count++; }

    std::deque<std::vector<std::uint8_t>> queued;
    bool fails = false;
    std::uint32_t tick_count = 1000;

private:
    std::uint8_t next_ = 1;
};

}  // namespace harbinet::test
