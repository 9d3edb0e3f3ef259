#include "app/ui_thread.h"

#include <gtest/gtest.h>

#include <thread>

namespace harbinet {
namespace {

TEST(UiThreadTest, IsTheThreadThatRunsMainAndNoOther) {
    EXPECT_TRUE(IsUiThread());
    bool is_ui_thread = true;
    std::thread([&is_ui_thread] { is_ui_thread = IsUiThread(); }).join();
    EXPECT_FALSE(is_ui_thread);
}

TEST(UiThreadTest, ItsAssertionHoldsThere) { AssertUiThread(); }

#ifndef NDEBUG
TEST(UiThreadDeathTest, AnotherThreadEndsADebugBuildAtTheAssertion) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(std::thread(AssertUiThread).join(), "IsUiThread");
}
#endif

}  // namespace
}  // namespace harbinet
