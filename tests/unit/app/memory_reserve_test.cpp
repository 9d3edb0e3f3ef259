#include "app/memory_reserve.h"

#include <gtest/gtest.h>

#include <new>

namespace harbinet {
namespace {

TEST(MemoryReserveTest, ARequestThatFailsGivesItBackAndThrows) {
    KeepMemoryReserve();
    EXPECT_TRUE(HasMemoryReserve());
    const std::new_handler handler = std::get_new_handler();
    ASSERT_NE(handler, nullptr);
    EXPECT_THROW(handler(), std::bad_alloc);
    EXPECT_FALSE(HasMemoryReserve());
    // With nothing left to give it throws all the same.
    EXPECT_THROW(handler(), std::bad_alloc);

    KeepMemoryReserve();
    EXPECT_TRUE(HasMemoryReserve());
    GiveBackMemoryReserve();
    EXPECT_FALSE(HasMemoryReserve());
}

}  // namespace
}  // namespace harbinet
