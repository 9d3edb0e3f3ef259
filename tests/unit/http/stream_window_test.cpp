#include "http/stream_window.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace harbinet {
namespace {

void Add(StreamWindow& window, std::string_view bytes) {
    std::copy(bytes.begin(), bytes.end(), window.Room(bytes.size()).begin());
    window.Grow(bytes.size());
}

TEST(StreamWindowTest, BytesComeOutInOrderAfterDropsAndGrowth) {
    StreamWindow window;
    EXPECT_EQ(window.View(), "");
    EXPECT_TRUE(window.Room(0).empty());
    Add(window, "abc");
    window.Drop(2);
    Add(window, "defgh");
    EXPECT_EQ(window.View(), "cdefgh");
    Add(window, std::string(1000, 'x'));
    window.Drop(1000);
    EXPECT_EQ(window.View(), "xxxxxx");
}

TEST(StreamWindowTest, StorageStaysBoundedWhenAllButATailIsDroppedEachTime) {
    StreamWindow window;
    std::size_t largest_room = 0;
    for (int i = 0; i < 10'000; ++i) {
        const std::span<char> room = window.Room(65'536);
        ASSERT_GE(room.size(), 65'536U);
        largest_room = std::max(largest_room, room.size());
        window.Grow(65'536);
        window.Drop(window.View().size() - 100);
    }
    EXPECT_LE(largest_room, 2U * 65'636);
}

TEST(WindowSearchTest, ThePatternIsFoundWhereverTheWindowWasCut) {
    const std::string kText = "a\r\r\n-\r\n--\r\n--B\r\n--Boundary";
    for (std::size_t first = 0; first <= kText.size(); ++first) {
        for (std::size_t second = first; second <= kText.size(); ++second) {
            WindowSearch search("\r\n--Boundary");
            std::optional<std::size_t> found;
            for (const std::size_t end : {first, second, kText.size()}) {
                found = search.Find(std::string_view(kText).substr(0, end));
                if (end < kText.size()) {
                    ASSERT_FALSE(found.has_value());
                }
            }
            ASSERT_EQ(found, 14U) << first << " " << second;
        }
    }
}

TEST(WindowSearchTest, OccurrencesThatOverlapThemselvesAreFound) {
    WindowSearch search("\r\n\r\n");
    EXPECT_EQ(search.Find("\r"), std::nullopt);
    EXPECT_EQ(search.Find("\r\n\r"), std::nullopt);
    EXPECT_EQ(search.Find("\r\n\r\r\n\r\n"), 3U);
    search.Restart();
    EXPECT_EQ(search.Find("\r\n\r\n\r\n"), 0U);
}

TEST(WindowSearchTest, DroppedBytesMoveTheSearchAlong) {
    WindowSearch search("\r\nX");
    EXPECT_EQ(search.Find("abcd\r"), std::nullopt);
    search.Dropped(3);
    EXPECT_EQ(search.Find("d\r\nX"), 1U);
}

}  // namespace
}  // namespace harbinet
