#include "ui/pending_notice.h"

#include <gtest/gtest.h>

namespace harbinet {
namespace {

class PendingNoticeTest : public testing::Test {
protected:
    void Raise(bool can_be_posted) {
        notice_.Raise([&] {
            ++posts_;
            return can_be_posted;
        });
    }

    PendingNotice notice_;
    int posts_ = 0;
};

TEST_F(PendingNoticeTest, OneIsPostedUntilItIsHandled) {
    Raise(true);
    Raise(true);
    EXPECT_EQ(posts_, 1);
    notice_.Clear();
    Raise(true);
    EXPECT_EQ(posts_, 2);
}

TEST_F(PendingNoticeTest, OneThatCouldNotBePostedDoesNotKeepTheNextBack) {
    Raise(false);
    Raise(true);
    Raise(true);
    EXPECT_EQ(posts_, 2);
}

}  // namespace
}  // namespace harbinet
