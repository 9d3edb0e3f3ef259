#include "net/client_address.h"

#include <gtest/gtest.h>

namespace harbinet {
namespace {

TEST(WithoutMappedPrefixTest, DropsExactlyTheMappingPrefix) {
    const struct {
        const char* address;
        const char* plain;
    } kCases[] = {
        {"::ffff:10.0.0.7", "10.0.0.7"},
        {"10.0.0.7", "10.0.0.7"},
        {"::1", "::1"},
        {"fe80::1%3", "fe80::1%3"},
        {"::ffff:", ""},
        {"::fff", "::fff"},
        {"::FFFF:10.0.0.7", "::FFFF:10.0.0.7"},
        {"::ffff:::ffff:1", "::ffff:1"},
        {"", ""},
    };
    for (const auto& c : kCases) EXPECT_EQ(WithoutMappedPrefix(c.address), c.plain) << c.address;
}

}  // namespace
}  // namespace harbinet
