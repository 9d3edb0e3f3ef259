#include "app/master_pin.h"

#include <gtest/gtest.h>

#include "support/fake_random.h"

namespace harbinet {
namespace {

using test::FakeRandom;

TEST(MasterPinTest, SixDigitsAreTakenAsTheyAre) {
    FakeRandom random;
    for (const char* pin : {"000000", "001234", "999999"}) {
        const LoadedMasterPin loaded = LoadMasterPin(pin, random);
        EXPECT_EQ(loaded.pin, pin);
        EXPECT_FALSE(loaded.must_store);
    }
}

TEST(MasterPinTest, AnythingElseIsReplacedByARandomPinThatMustBeStored) {
    const std::optional<std::string> kBad[] = {std::nullopt, "",       "12345",  "1234567",
                                               "12345a",     "12 456", "-12345", "12345\n",
                                               "１２",       "/23456", ":23456"};
    for (const auto& stored : kBad) {
        FakeRandom random;
        random.queued.push_back({0x7B, 0, 0, 0});
        const LoadedMasterPin loaded = LoadMasterPin(stored, random);
        EXPECT_EQ(loaded.pin, "000123") << stored.value_or("(missing)");
        EXPECT_TRUE(loaded.must_store) << stored.value_or("(missing)");
    }
}

}  // namespace
}  // namespace harbinet
