#include "http/ascii_case.h"

#include <gtest/gtest.h>

#include <string>

namespace harbinet {
namespace {

TEST(AsciiCaseTest, TheFirstOccurrenceIsFoundInAnyCase) {
    EXPECT_EQ(FindIgnoringCase("multipart/form-data; BoUnDaRy=x", "boundary="), 21U);
    EXPECT_EQ(FindIgnoringCase("chunked", "chunked"), 0U);
    EXPECT_EQ(FindIgnoringCase("gzip, CHUNKED", "chunked"), 6U);
    EXPECT_EQ(FindIgnoringCase("abAB", "ab"), 0U);
}

TEST(AsciiCaseTest, WhatIsNotThereIsNotFound) {
    EXPECT_EQ(FindIgnoringCase("", "chunked"), std::string_view::npos);
    EXPECT_EQ(FindIgnoringCase("chunke", "chunked"), std::string_view::npos);
    EXPECT_EQ(FindIgnoringCase("filename*=\"a\"", "filename=\""), std::string_view::npos);
}

TEST(AsciiCaseTest, OnlyLettersHaveACase) {
    EXPECT_EQ(FindIgnoringCase("\x1B[", "{"), std::string_view::npos);
    EXPECT_EQ(FindIgnoringCase("[", "{"), std::string_view::npos);
    EXPECT_EQ(FindIgnoringCase("@", "`"), std::string_view::npos);
}

}  // namespace
}  // namespace harbinet
