#include "http/json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace harbinet {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

using testing::ElementsAre;

TEST(JsonEscapeTest, EscapesFiveBytesDropsOtherControlsAndCopiesTheRest) {
    const struct {
        std::string_view text;
        std::string_view escaped;
    } kCases[] = {
        {"", ""},
        {"plain text/with slash", "plain text/with slash"},
        {"\t", "\\t"},
        {"\n", "\\n"},
        {"\r", "\\r"},
        {"\"", "\\\""},
        {"\\", "\\\\"},
        {"a\x01"
         "b",
         "ab"},
        {"\0\x01\x08\x0B\x0C\x0E\x1F"sv, ""},
        {" ", " "},
        {"\x7F", "\x7F"},
        {"caf\xC3\xA9", "caf\xC3\xA9"},
        {"\x80\xFF", "\x80\xFF"},
        {"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
        {"a\"b\\c\td", "a\\\"b\\\\c\\td"},
    };
    for (const auto& c : kCases) EXPECT_EQ(JsonEscape(c.text), c.escaped) << c.text;
}

TEST(JsonOkTest, HoldsOkAloneOrOkAndTheMembers) {
    EXPECT_EQ(JsonOk(), R"({"ok":true})");
    EXPECT_EQ(JsonOk(""), R"({"ok":true})");
    EXPECT_EQ(JsonOk(R"("deleted":2,"failed":0)"), R"({"ok":true,"deleted":2,"failed":0})");
}

TEST(JsonErrorTest, HoldsTheEscapedMessage) {
    EXPECT_EQ(JsonError("Wrong code"), R"({"ok":false,"error":"Wrong code"})");
    EXPECT_EQ(JsonError("say \"no\""), R"({"ok":false,"error":"say \"no\""})");
    EXPECT_EQ(JsonError(""), R"({"ok":false,"error":""})");
}

TEST(JsonGetStringTest, FindsTheFirstQuotedKeyAndItsStringValue) {
    const struct {
        std::string_view body;
        std::string_view value;
        const char* why;
    } kCases[] = {
        {R"({"code":"123456"})", "123456", "a string member"},
        {R"({"code":123456})", "", "a bare number is no string"},
        {R"({"code":true})", "", "a boolean is no string"},
        {R"({"code":null})", "", "null is no string"},
        {R"({"code":["1"]})", "", "an array is no string"},
        {R"({"code":""})", "", "an empty string"},
        {"", "", "an empty body"},
        {"{}", "", "no such key"},
        {R"({code:"1"})", "", "an unquoted key"},
        {R"({"xcode":"1"})", "", "the end of another key"},
        {R"({"codes":"1"})", "", "the beginning of another key"},
        {R"({"Code":"1"})", "", "keys are case-sensitive"},
        {R"({"a":{"code":"in"},"code":"out"})", "in", "the first occurrence, also when nested"},
        {R"({"code":1,"code":"2"})", "", "the first occurrence, also when it is no string"},
        {R"({"a":"code","b":"x"})", "x", "a value that looks like the key, then the next colon"},
        {R"("code" , 7 : "late")", "late", "anything may stand before the colon"},
        {R"({"code"})", "", "no colon"},
        {R"("code")", "", "the key ends the body"},
        {R"("code":)", "", "nothing after the colon"},
        {"\"code\": \r\n\t", "", "only white space after the colon"},
        {"\"code\": \r\n\t \"x\"", "x", "blanks, CR, LF and TAB are skipped"},
        {"\"code\":\v\"x\"", "", "a vertical tab is not skipped"},
        {"\"code\":\f\"x\"", "", "a form feed is not skipped"},
        {R"("code":")", "", "an opening quote as the last byte"},
        {R"("code":"abc)", "abc", "an unterminated string yields what was read"},
        {R"("code":"abc\)", "abc\\", "a backslash as the very last byte stays"},
        {R"("code":"\)", "\\", "a backslash alone stays"},
        {R"("code":"abc\")", "abc\"", "an escaped quote does not end the string"},
        {R"("code":"a\nb\rc\td")", "a\nb\rc\td", "n, r and t become control characters"},
        {R"("code":"\"\\\/\b\f\q")", "\"\\/bfq", "other escapes are the character itself"},
        {R"("code":"\u0041")", "u0041", "a Unicode escape keeps its letter and digits"},
        {R"("code":"\\n")", "\\n", "an escaped backslash does not join the next letter"},
        {"\"code\":\"a\nb\"", "a\nb", "a raw line feed is copied"},
        {"\"code\":\"caf\xC3\xA9\xFF\"", "caf\xC3\xA9\xFF", "bytes above 127 are copied"},
    };
    for (const auto& c : kCases) EXPECT_EQ(JsonGetString(c.body, "code"), c.value) << c.why;
}

TEST(JsonGetStringTest, CopiesNulBytes) {
    const std::string_view body = "\"code\":\"a\0b\""sv;
    EXPECT_EQ(JsonGetString(body, "code"), "a\0b"s);
}

TEST(JsonGetStringArrayTest, ReadsArraysOfStringsWithTheirTolerances) {
    const struct {
        std::string_view body;
        bool result;
        std::vector<std::string> names;
        const char* why;
    } kCases[] = {
        {R"({"names":[]})", true, {}, "an empty array"},
        {R"({"names":["a","b"]})", true, {"a", "b"}, "two strings"},
        {R"({"names":["a\"b","c\\d"]})", true, {"a\"b", "c\\d"}, "strings are unescaped"},
        {R"({"names":["\u00e9"]})", true, {"u00e9"}, "a Unicode escape keeps its letter"},
        {R"({"names":["a" "b"]})", true, {"a", "b"}, "a missing comma between blanks"},
        {R"({"names":["a""b"]})", true, {"a", "b"}, "a missing comma"},
        {R"({"names":["a",]})", true, {"a"}, "a comma before the bracket"},
        {R"({"names":["a",,"b"]})", false, {"a"}, "two commas"},
        {R"({"names":[,"a"]})", false, {}, "a leading comma"},
        {R"({"names":["a":"b"]})", false, {"a"}, "a colon after a string"},
        {R"({"names":[1]})", false, {}, "a number"},
        {R"({"names":["a",null]})", false, {"a"}, "null after a string"},
        {R"({"names":[["a"]]})", false, {}, "a nested array"},
        {R"({"names":"a"})", false, {}, "a string instead of the array"},
        {R"({"names":{"a":1}})", false, {}, "an object instead of the array"},
        {R"({"other":["a"]})", false, {}, "no such key"},
        {"", false, {}, "an empty body"},
        {R"("names")", false, {}, "no colon"},
        {R"("names":)", false, {}, "nothing after the colon"},
        {R"("names": )", false, {}, "only white space after the colon"},
        {R"("names":[)", true, {}, "the bracket as the last byte"},
        {R"("names":[ )", false, {}, "white space after the bracket, then the end"},
        {R"("names":["a")", true, {"a"}, "the end right after a string"},
        {"\"names\":[\"a\" \n", true, {"a"}, "the end after a string and white space"},
        {R"("names":["a",)", false, {"a"}, "the end after a comma"},
        {R"("names":["a", )", false, {"a"}, "the end after a comma and a blank"},
        {R"("names":["a)", true, {"a"}, "an unterminated string is closed by the end"},
        {R"("names":["a\)", true, {"a\\"}, "a backslash as the very last byte stays"},
        {R"("names":[")", true, {""}, "an opening quote as the last byte is an empty string"},
        {R"("names":["a"x)", false, {"a"}, "a letter after a string"},
        {"\"names\":\v\f\t\r\n [\v\f\t\r\n \"a\"\v\f,\v\f\"b\"\v\f]",
         true,
         {"a", "b"},
         "all six kinds of white space are skipped"},
        {R"({"x":{"names":["in"]},"names":["out"]})", true, {"in"}, "the first occurrence"},
        {R"({"names":["a"],"names":["b"]})", true, {"a"}, "the bracket ends the reading"},
    };
    for (const auto& c : kCases) {
        std::vector<std::string> names;
        EXPECT_EQ(JsonGetStringArray(c.body, "names", names), c.result) << c.why;
        EXPECT_EQ(names, c.names) << c.why;
    }
}

TEST(JsonGetStringArrayTest, AppendsToWhatTheListHolds) {
    std::vector<std::string> names{"first"};
    EXPECT_TRUE(JsonGetStringArray(R"({"names":["second"]})", "names", names));
    EXPECT_THAT(names, ElementsAre("first", "second"));
}

TEST(JsonGetStringArrayTest, ReadsAHundredThousandNamesInOnePass) {
    std::string body = "{\"names\":[";
    for (int i = 0; i < 100'000; ++i) body += "\"x\",";
    body += "]}";
    std::vector<std::string> names;
    EXPECT_TRUE(JsonGetStringArray(body, "names", names));
    EXPECT_EQ(names.size(), 100'000u);
}

TEST(JsonTest, AReaderGivesTheStringsOneByOneAndSaysHowTheArrayEnds) {
    const struct {
        std::string_view body;
        std::vector<std::string> strings;
        bool is_valid;
    } kCases[] = {
        {R"({"n":["a","\"b\n",""]})", {"a", "\"b\n", ""}, true},
        {R"({"n":["a" "b",]})", {"a", "b"}, true},
        {R"({"n":[]})", {}, true},
        {R"({"n":[)", {}, true},
        {R"({"n":["a")", {"a"}, true},
        {R"({"n":["a",)", {"a"}, false},
        {R"({"n":["a",5,"b"]})", {"a"}, false},
        {R"({"n":"a"})", {}, false},
        {R"({"m":["a"]})", {}, false},
        {"", {}, false},
    };
    for (const auto& c : kCases) {
        JsonStringReader reader(c.body, "n");
        std::vector<std::string> strings;
        for (std::string text; reader.Next(text);) strings.push_back(text);
        EXPECT_EQ(strings, c.strings) << c.body;
        EXPECT_EQ(reader.IsValid(), c.is_valid) << c.body;
        std::string text = "kept";
        EXPECT_FALSE(reader.Next(text));
        EXPECT_EQ(text, "kept");
        EXPECT_EQ(JsonCountStrings(c.body, "n"),
                  c.is_valid ? std::optional(c.strings.size()) : std::nullopt);
    }
}

}  // namespace
}  // namespace harbinet
