#include "ui/last_page.h"

#include <gtest/gtest.h>

namespace harbinet {
namespace {

struct Box {
    int first;
    int visible;
    int count;
    int beyond;
};

class LastPageTest : public testing::TestWithParam<Box> {};

TEST_P(LastPageTest, TheBoxGoesBackByWhatItStandsBeyondItsLastPage) {
    const Box box = GetParam();
    EXPECT_EQ(LinesBeyondLastPage(box.first, box.visible, box.count), box.beyond);
}

INSTANTIATE_TEST_SUITE_P(, LastPageTest,
                         testing::Values(Box{0, 18, 501, 0},     // not scrolled at all
                                         Box{483, 18, 501, 0},   // the last page
                                         Box{482, 18, 501, 0},   // a line before it
                                         Box{484, 18, 501, 1},   // a line beyond it
                                         Box{500, 18, 501, 17},  // the empty line alone
                                         Box{0, 18, 1, 0},       // no line
                                         Box{1, 18, 2, 1},       // one line, out of sight
                                         Box{2, 18, 18, 2},      // exactly one page
                                         Box{500, 0, 501, 0}));  // no room for any line

}  // namespace
}  // namespace harbinet
