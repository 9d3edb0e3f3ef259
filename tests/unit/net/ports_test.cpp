#include "net/ports.h"

#include <gtest/gtest.h>

namespace harbinet {
namespace {

TEST(ServerPortTest, DependsOnTheRightsAlone) {
    EXPECT_EQ(ServerPort(true), 443);
    EXPECT_EQ(ServerPort(false), 8443);
}

}  // namespace
}  // namespace harbinet
