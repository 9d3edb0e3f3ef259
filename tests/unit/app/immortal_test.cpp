#include "app/immortal.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace harbinet {
namespace {

struct Witness {
    ~Witness() { std::fputs("destroyed", stderr); }
    int uses = 0;
};

TEST(ImmortalTest, EveryCallGivesTheSameObject) {
    ++Immortal<Witness>().uses;
    ++Immortal<Witness>().uses;
    EXPECT_EQ(Immortal<Witness>().uses, 2);
}

TEST(ImmortalTest, TheEndOfTheProcessDoesNotDestroyIt) {
    EXPECT_EXIT(
        {
            Immortal<Witness>();
            std::exit(7);
        },
        testing::ExitedWithCode(7), "^$");
}

// What the test above would see of an ordinary static object.
TEST(ImmortalTest, AnOrdinaryStaticObjectIsDestroyed) {
    EXPECT_EXIT(
        {
            static Witness witness;
            std::exit(7);
        },
        testing::ExitedWithCode(7), "destroyed");
}

}  // namespace
}  // namespace harbinet
