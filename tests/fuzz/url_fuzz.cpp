// A parameter name, a line feed and a query string.
#include <algorithm>
#include <cstdio>

#include "fuzz_input.h"
#include "http/request.h"

namespace harbinet::test {
namespace {

std::string EncodeEveryByte(const std::string& text) {
    std::string encoded;
    for (const char c : text) {
        char escape[4];
        std::snprintf(escape, sizeof escape, c % 2 == 0 ? "%%%02x" : "%%%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(c)));
        encoded += escape;
    }
    return encoded;
}

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet;
    using test::Check;
    const std::string input = test::InputText(data, size);
    const std::string name = input.substr(0, input.find('\n'));
    const std::string query = input.substr(std::min(name.size() + 1, input.size()));

    const std::string value(GetQueryParam(query, name));
    Check(value.find('&') == std::string::npos, "a value ends at the ampersand");
    if (!value.empty()) {
        const std::string item = "&" + name + "=" + value + "&";
        Check(("&" + query + "&").find(item) != std::string::npos, "the value stands in the query");
    }
    if (name.find('&') == std::string::npos) {
        Check(GetQueryParam(name + "=1&" + query, name) == "1", "the first item counts");
    }

    const std::string decoded = UrlDecode(query);
    Check(decoded.size() <= query.size(), "decoding never lengthens");
    if (query.find_first_of("%+") == std::string::npos) {
        Check(decoded == query, "other bytes are copied");
    }
    Check(UrlDecode(test::EncodeEveryByte(input)) == input, "every byte can be escaped");
    return 0;
}
