#include "app/large_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace harbinet {
namespace {

TEST(LargeBufferTest, PagesAreZerosAndWritable) {
    constexpr std::size_t kBytes = 300'000;
    char* const memory = static_cast<char*>(AllocatePages(kBytes));
    EXPECT_TRUE(std::all_of(memory, memory + kBytes, [](char byte) { return byte == 0; }));
    std::fill_n(memory, kBytes, 'x');
    FreePages(memory);
}

TEST(LargeBufferTest, KeepsItsBytesWhileItGrowsFromTheHeapToPages) {
    LargeBuffer buffer;
    std::string expected;
    for (int piece = 0; expected.size() < 4 * kLargeBufferBytes; ++piece) {
        const std::string bytes(997, static_cast<char>('a' + piece % 26));
        Append(buffer, bytes);
        expected += bytes;
    }
    EXPECT_TRUE(std::string(buffer.begin(), buffer.end()) == expected);
}

TEST(LargeBufferTest, BothSidesOfTheBorderAreUsableToTheLastByte) {
    for (const std::size_t size :
         {std::size_t{1}, kLargeBufferBytes - 1, kLargeBufferBytes, kLargeBufferBytes + 1}) {
        LargeBuffer buffer(size);
        std::ranges::fill(buffer, 'x');
        EXPECT_EQ(std::ranges::count(buffer, 'x'), static_cast<std::ptrdiff_t>(size));
    }
}

TEST(LargeBufferTest, AppendingNothingChangesNothing) {
    LargeBuffer buffer;
    Append(buffer, {});
    EXPECT_TRUE(buffer.empty());
    Append(buffer, "ab");
    Append(buffer, {});
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "ab");
}

}  // namespace
}  // namespace harbinet
