// A boundary, a line feed and a body, parsed whole and in pieces; and a body made of the input.
#include <algorithm>
#include <utility>
#include <vector>

#include "fuzz_input.h"
#include "http/multipart.h"

namespace harbinet::test {
namespace {

class KeepingSink final : public MultipartSink {
public:
    bool BeginFile(std::string_view name) override {
        Check(!open_, "a file begins after the last one's end");
        Check(!name.empty(), "a file has a name");
        files.emplace_back(name, "");
        open_ = true;
        return name != "refused";
    }
    void Write(std::string_view bytes) override {
        Check(open_, "bytes belong to a file");
        files.back().second += bytes;
    }
    void EndFile() override {
        Check(open_, "only an open file ends");
        open_ = false;
    }

    std::vector<std::pair<std::string, std::string>> files;

private:
    bool open_ = false;
};

struct Parsed {
    MultipartStatus status = MultipartStatus::kNeedsMore;
    std::vector<std::pair<std::string, std::string>> files;
};

Parsed Parse(const std::string& boundary, const std::string& body, std::size_t bytes_per_read) {
    KeepingSink sink;
    MultipartParser parser(boundary, sink);
    Parsed parsed;
    for (std::size_t at = 0; at < body.size(); at += bytes_per_read) {
        const std::size_t count = std::min(bytes_per_read, body.size() - at);
        std::copy_n(body.data() + at, count, parser.Room(count).begin());
        parsed.status = parser.Received(count);
        if (parsed.status != MultipartStatus::kNeedsMore) break;
    }
    parsed.files = std::move(sink.files);
    return parsed;
}

void CheckPieces(const std::string& boundary, const std::string& body) {
    const Parsed whole = Parse(boundary, body, std::max<std::size_t>(body.size(), 1));
    std::size_t total = 0;
    for (const auto& [name, content] : whole.files) {
        total += content.size();
        Check(content.find("\r\n--" + boundary) == std::string::npos,
              "a file ends before the delimiter");
    }
    Check(total <= body.size(), "files are no longer than the body");
    for (const std::size_t piece : {1u, 7u, 100u}) {
        const Parsed cut = Parse(boundary, body, piece);
        Check(cut.status == whole.status, "pieces end as the whole does");
        // What a body that breaks off has left behind depends on its last read.
        if (whole.status == MultipartStatus::kComplete) {
            Check(cut.files == whole.files, "pieces give the same files");
        }
    }
}

// A well-formed body of two files gives them back to the byte.
void CheckRoundTrip(const std::string& content) {
    const std::string boundary = "----limit";
    const std::string delimiter = "\r\n--" + boundary;
    if (("\r\n" + content + "\r\n").find(delimiter) != std::string::npos) return;
    std::string body = "--" + boundary;
    for (const char* name : {"one", "two"}) {
        body += "\r\nContent-Disposition: form-data; name=\"f\"; filename=\"";
        body += name;
        body += "\"\r\n\r\n" + content + delimiter;
    }
    body += "--\r\n";
    for (const std::size_t piece : {1u, 5u, 4096u}) {
        const Parsed parsed = Parse(boundary, body, piece);
        Check(parsed.status == MultipartStatus::kComplete, "a well-formed body is complete");
        Check(parsed.files == std::vector<std::pair<std::string, std::string>>{{"one", content},
                                                                               {"two", content}},
              "a file arrives to the byte");
    }
}

}  // namespace
}  // namespace harbinet::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input = harbinet::test::InputText(data, size);
    const std::string boundary = input.substr(0, input.find('\n'));
    const std::string body = input.substr(std::min(boundary.size() + 1, input.size()));
    harbinet::test::CheckPieces(boundary, body);
    harbinet::test::CheckRoundTrip(input);
    return 0;
}
