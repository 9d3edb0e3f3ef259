// A request body from which the members "k" are taken; also a text that is escaped and read back.
#include <numeric>

#include "fuzz_input.h"
#include "http/json.h"

namespace harbinet::test {
namespace {

// What survives escaping: everything but control characters other than tab, LF and CR.
std::string WithoutDroppedControls(const std::string& text) {
    std::string kept;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 || c == '\t' || c == '\n' || c == '\r') kept += c;
    }
    return kept;
}

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet;
    using test::Check;
    const std::string input = test::InputText(data, size);

    Check(JsonGetString(input, "k").size() <= input.size(), "a string is no longer than its body");
    std::vector<std::string> names;
    JsonGetStringArray(input, "k", names);
    const std::size_t total =
        std::accumulate(names.begin(), names.end(), std::size_t{0},
                        [](std::size_t sum, const std::string& n) { return sum + n.size() + 1; });
    Check(total <= input.size(), "an array is no longer than its body");

    const std::string escaped = JsonEscape(input);
    const std::string kept = test::WithoutDroppedControls(input);
    Check(JsonGetString("{\"k\":\"" + escaped + "\"}", "k") == kept, "an escaped text reads back");
    names.clear();
    Check(JsonGetStringArray("{\"k\":[\"" + escaped + "\",\"" + escaped + "\"]}", "k", names),
          "an array of escaped texts is well-formed");
    Check(names == std::vector<std::string>{kept, kept}, "an array of escaped texts reads back");
    Check(JsonGetString(JsonError(input), "error") == kept, "an error's message reads back");
    return 0;
}
