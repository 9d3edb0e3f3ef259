#include "interruption.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace harbinet::kit {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// In this order: an interruption is there for the rest of the process.
TEST(InterruptionTest, AClosedWindowIsHeldUntilEverythingIsPutBackAndCtrlCIsNot) {
    CatchInterruptions(30'000);
    EXPECT_FALSE(IsInterrupted());

    EXPECT_TRUE(OnInterruption(CTRL_C_EVENT));
    EXPECT_TRUE(IsInterrupted());
    EXPECT_TRUE(OnInterruption(CTRL_BREAK_EVENT));

    auto closing = std::async(std::launch::async, OnInterruption, CTRL_CLOSE_EVENT);
    EXPECT_EQ(closing.wait_for(milliseconds(300)), std::future_status::timeout);
    TellFinished();
    ASSERT_EQ(closing.wait_for(seconds(10)), std::future_status::ready);
    EXPECT_TRUE(closing.get());
}

}  // namespace
}  // namespace harbinet::kit
