// Bytes of a connection as ReadHead and ParseHead see them, whole and one at a time.
#include <algorithm>

#include "app/ascii.h"
#include "fuzz_input.h"
#include "http/request.h"
#include "net/timeouts.h"
#include "support/fake_stream.h"

namespace harbinet::test {
namespace {

void CheckReading(const std::string& input, std::size_t bytes_per_read) {
    FakeStream stream(input, bytes_per_read);
    LargeBuffer buffer;
    std::string rest;
    const bool complete = ReadHead(stream, buffer, rest);
    const std::string head(buffer.data(), buffer.size());
    const std::size_t end = input.find("\r\n\r\n");
    Check(complete == (end != std::string::npos), "a head is complete when it has a blank line");
    if (!complete) return;
    Check(head == input.substr(0, end + 4), "the head ends with the first blank line");
    Check(head + rest + std::string(stream.Unread()) == input, "no byte is lost");
}

void CheckWord(std::string_view word) {
    Check(!word.empty(), "a word is not empty");
    Check(word.find_first_of(" \t\n\v\f\r") == std::string::npos, "a word holds no white space");
}

void CheckHeader(std::string_view name, std::string_view value) {
    Check(name.find_first_of(":\n") == std::string::npos, "a name ends before the colon");
    Check(value.find('\n') == std::string::npos, "a value is one line");
    Check(value.empty() || (value[0] != ' ' && value[0] != '\t'), "leading blanks are dropped");
}

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harbinet;
    using test::Check;
    const std::string input = test::InputText(data, size);
    test::CheckReading(input, SIZE_MAX);
    test::CheckReading(input, 1);
    test::CheckReading(input, 7);

    HttpRequest request;
    if (!ParseHead(input, request)) {
        Check(request.headers.lines.empty(), "a refused head leaves no headers");
        return 0;
    }
    test::CheckWord(request.method);
    test::CheckWord(request.target);
    test::CheckWord(request.version);
    HeaderList remaining = request.headers;
    std::size_t length = 0;
    while (const auto header = TakeHeader(remaining)) {
        test::CheckHeader(header->name, header->value);
        const std::string name = LowerAsciiText(std::string(header->name));
        // Only the first ones: looking up each of many costs the square of their number.
        if (length == 0) {
            Check(GetHeader(request.headers, name) == header->value, "the first header is found");
        }
        length += header->name.size() + header->value.size() + 1;
    }
    Check(length <= input.size(), "no header is told twice");
    SplitTarget(request);
    const bool has_query = request.target.find('?') != std::string::npos;
    Check(std::string(request.path) + (has_query ? "?" : "") + std::string(request.query) ==
              request.target,
          "path and query make the target");

    // A body never grows beyond its limit, whatever the head promises.
    test::FakeStream stream(input, 100);
    request.body.clear();
    ReadBody(stream, request, 50, kSmallBodyLimits);
    Check(request.body.size() <= 50, "a body keeps its limit");
    return 0;
}
