#include "http/multipart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace harbinet {
namespace {

// Keeps the files; an unfinished one ends in "...".
class KeepingSink final : public MultipartSink {
public:
    bool BeginFile(std::string_view name) override {
        if (name == refused_name) return false;
        files.emplace_back(name, "...");
        return true;
    }
    void Write(std::string_view bytes) override {
        std::string& content = files.back().second;
        content.insert(content.size() - 3, bytes);
        largest_write = std::max(largest_write, bytes.size());
    }
    void EndFile() override {
        std::string& content = files.back().second;
        content.resize(content.size() - 3);
    }

    std::vector<std::pair<std::string, std::string>> files;
    std::string refused_name;
    std::size_t largest_write = 0;
};

using Files = std::vector<std::pair<std::string, std::string>>;

struct Parsed {
    MultipartStatus status;
    Files files;
    std::size_t consumed;
};

Parsed Parse(std::string_view boundary, std::string_view body, std::size_t bytes_per_read) {
    KeepingSink sink;
    MultipartParser parser(boundary, sink);
    MultipartStatus status = MultipartStatus::kNeedsMore;
    std::size_t consumed = 0;
    while (status == MultipartStatus::kNeedsMore && consumed < body.size()) {
        const std::size_t count = std::min(bytes_per_read, body.size() - consumed);
        std::copy_n(body.data() + consumed, count, parser.Room(count).begin());
        status = parser.Received(count);
        consumed += count;
    }
    return {status, sink.files, consumed};
}

std::string FilePart(std::string_view name, std::string_view content) {
    std::string part = "--B\r\nContent-Disposition: form-data; name=\"f\"; filename=\"";
    part.append(name).append("\"\r\nContent-Type: text/plain\r\n\r\n").append(content);
    return part.append("\r\n");
}

constexpr std::size_t kReadSizes[] = {1, 7, 65'536};

TEST(MultipartTest, EachCutOfTheBodyGivesTheSameFiles) {
    std::string binary;
    for (int i = 0; i < 70'000; ++i) binary += static_cast<char>(i * 7 + i / 256);
    const std::string body =
        FilePart("a.txt", "hello") + FilePart("b.bin", binary) +
        "--B\r\nContent-Disposition: form-data; name=\"note\"\r\n\r\ntext\r\n" +
        FilePart("empty", "") + FilePart("c", "\r\n--\r\n-B\r\n--b") + "--B--\r\n";
    const Files kExpected = {
        {"a.txt", "hello"}, {"b.bin", binary}, {"empty", ""}, {"c", "\r\n--\r\n-B\r\n--b"}};
    for (const std::size_t size : kReadSizes) {
        const Parsed parsed = Parse("B", body, size);
        EXPECT_EQ(parsed.status, MultipartStatus::kComplete) << size;
        EXPECT_EQ(parsed.files, kExpected) << size;
    }
}

TEST(MultipartTest, ADelimiterMayBeSplitAtEveryPosition) {
    const std::string body = FilePart("a", "first\r") + FilePart("b", "second") + "--B--\r\n";
    const Files kExpected = {{"a", "first\r"}, {"b", "second"}};
    for (std::size_t cut = 0; cut <= body.size(); ++cut) {
        KeepingSink sink;
        MultipartParser parser("B", sink);
        std::copy_n(body.data(), cut, parser.Room(cut).begin());
        MultipartStatus status = parser.Received(cut);
        if (status == MultipartStatus::kNeedsMore) {
            std::copy(body.begin() + static_cast<std::ptrdiff_t>(cut), body.end(),
                      parser.Room(body.size() - cut).begin());
            status = parser.Received(body.size() - cut);
        }
        ASSERT_EQ(status, MultipartStatus::kComplete) << cut;
        ASSERT_EQ(sink.files, kExpected) << cut;
    }
}

TEST(MultipartTest, TheClosingDelimiterEndsTheBodyWithItsSecondDash) {
    const std::string body = FilePart("a", "x") + "--B--";
    for (const std::size_t size : kReadSizes) {
        EXPECT_EQ(Parse("B", body, size).status, MultipartStatus::kComplete);
        const Parsed longer = Parse("B", body + "\r\nepilogue --B", size);
        EXPECT_EQ(longer.status, MultipartStatus::kComplete);
        if (size == 1) {
            EXPECT_EQ(longer.consumed, body.size());
        }
        const std::string cut = body.substr(0, body.size() - 1);
        EXPECT_EQ(Parse("B", cut, size).status, MultipartStatus::kNeedsMore);
    }
    EXPECT_EQ(Parse("B", "--B--", 1).status, MultipartStatus::kComplete);
}

TEST(MultipartTest, APreambleIsSkippedHoweverItArrives) {
    const std::string part = FilePart("a", "x") + "--B--\r\n";
    const std::string kPreambles[] = {
        "p\r\n",
        "\r\n\r\n",
        "This is a message.\r\n",
        "--\r\n",
        "-\r\n",
        "--b\r\n",
        " --B\r\n",
        "\r\n--\r\n",
        "x--B\r\nfilename=\"no\"\r\n\r\n\r\n",
        std::string(100'000, 'p') + "\r\n",
        std::string(70'000, '\r') + "\r\n",
    };
    for (const std::string& preamble : kPreambles) {
        const std::string body = preamble + part;
        for (const std::size_t size :
             {std::size_t{1}, std::size_t{7}, preamble.size(), body.size()}) {
            const Parsed parsed = Parse("B", body, size);
            EXPECT_EQ(parsed.status, MultipartStatus::kComplete) << preamble.substr(0, 20) << size;
            EXPECT_EQ(parsed.files, (Files{{"a", "x"}})) << preamble.substr(0, 20) << size;
        }
    }
}

TEST(MultipartTest, ADelimiterInThePreambleCountsOnlyAtTheStartOfALine) {
    // However the reads are cut: a delimiter must not come to stand at the front by chance.
    for (std::size_t padding = 1; padding < 40; ++padding) {
        const std::string body =
            std::string(padding, 'p') + "--B--\r\nmore\r\n" + FilePart("a", "x");
        for (const std::size_t size : kReadSizes) {
            EXPECT_EQ(Parse("B", body, size).status, MultipartStatus::kNeedsMore);
        }
    }
}

TEST(MultipartTest, ALineBreakDirectlyBeforeTheFirstDelimiterIsMalformed) {
    const std::string body = "\r\n" + FilePart("a", "x") + "--B--\r\n";
    for (const std::size_t size : kReadSizes) {
        const Parsed parsed = Parse("B", body, size);
        EXPECT_EQ(parsed.status, MultipartStatus::kMalformed) << size;
        EXPECT_EQ(parsed.files, Files{}) << size;
    }
}

TEST(MultipartTest, BodiesWithoutTheirDelimitersNeverComplete) {
    const std::string kBodies[] = {
        "no delimiter at all",
        "-",
        "--",
        "--B",
        "--B-",
        "--B\r\n",
        "\r\n--",
        "\r",
        "--B\r\nContent-Disposition: form-data; filename=\"a\"\r\n",
        FilePart("a", "data"),
        "--b--\r\n",
    };
    for (const std::string& body : kBodies) {
        for (const std::size_t size : kReadSizes) {
            EXPECT_EQ(Parse("B", body, size).status, MultipartStatus::kNeedsMore) << body;
        }
    }
}

TEST(MultipartTest, TheUnfinishedFileHoldsAllButTheHeldBackTail) {
    // "\r\n--B" and eight bytes more are held back: 13.
    std::string body = FilePart("a", std::string(1000, 'd'));
    body.resize(body.size() - 2);
    for (const std::size_t size : kReadSizes) {
        EXPECT_EQ(Parse("B", body, size).files, (Files{{"a", std::string(987, 'd') + "..."}}));
    }
}

TEST(MultipartTest, BytesAfterADelimiterThatAreNoLineBreakBelongToTheHeaders) {
    const std::string body =
        "--B  \r\nx: filename=\"a\"\r\n\r\nx\r\n--Bfilename=\"b\"\r\n\r\ny\r\n--B--";
    for (const std::size_t size : kReadSizes) {
        EXPECT_EQ(Parse("B", body, size).files, (Files{{"a", "x"}, {"b", "y"}}));
    }
}

TEST(MultipartTest, FileNamesAreTakenFromTheFirstQuotedParameter) {
    const struct {
        const char* headers;
        Files expected;
    } kCases[] = {
        {"filename=\"a\"", {{"a", "d"}}},
        {"FileName=\"MiXed.TXT\"", {{"MiXed.TXT", "d"}}},
        {"filename=\"a\"; filename=\"b\"", {{"a", "d"}}},
        {"filename=\"C:\\x\\a.txt\"", {{"C:\\x\\a.txt", "d"}}},
        {"filename=\"\xC3\xBC\"", {{"\xC3\xBC", "d"}}},
        {"filename*=UTF-8''a.txt", {}},
        {"filename*=\"a\"", {}},
        {"filename=a.txt", {}},
        {"filename=\"\"", {}},
        {"filename=\"open", {}},
        {"name=\"f\"", {}},
        {"", {}},
        {"filename=", {}},
        {"x: y\r\nfilename=\"later\"", {{"later", "d"}}},
    };
    for (const auto& c : kCases) {
        const std::string body = "--B\r\n" + std::string(c.headers) + "\r\n\r\nd\r\n--B--\r\n";
        for (const std::size_t size : kReadSizes) {
            EXPECT_EQ(Parse("B", body, size).files, c.expected) << c.headers;
        }
    }
}

TEST(MultipartTest, ARefusedFileEndsTheParsing) {
    KeepingSink sink;
    sink.refused_name = "b";
    MultipartParser parser("B", sink);
    const std::string body = FilePart("a", "1") + FilePart("b", "2") + FilePart("c", "3") + "--B--";
    std::copy(body.begin(), body.end(), parser.Room(body.size()).begin());
    EXPECT_EQ(parser.Received(body.size()), MultipartStatus::kRefused);
    EXPECT_EQ(sink.files, (Files{{"a", "1"}}));
}

TEST(MultipartTest, ABoundaryMayBeEmptyOrVeryLong) {
    for (const std::string& boundary : {std::string(), std::string(10'000, 'b')}) {
        const std::string body =
            "--" + boundary + "\r\nfilename=\"a\"\r\n\r\ndata\r\n-x\r\n--" + boundary + "--\r\n";
        for (const std::size_t size : kReadSizes) {
            const Parsed parsed = Parse(boundary, body, size);
            EXPECT_EQ(parsed.status, MultipartStatus::kComplete);
            EXPECT_EQ(parsed.files, (Files{{"a", "data\r\n-x"}}));
        }
    }
}

TEST(MultipartTest, TheBoundaryIsMatchedByteForByte) {
    const std::string body = "--AbC\r\nfilename=\"a\"\r\n\r\nx\r\n--abc--\r\n--ABC\r\n--AbC--";
    EXPECT_EQ(Parse("AbC", body, 7).files, (Files{{"a", "x\r\n--abc--\r\n--ABC"}}));
    EXPECT_EQ(Parse("abc", body, 7).files, Files{});
}

TEST(MultipartTest, LongPartsLeaveInPiecesOfTheSizeOfTheReads) {
    KeepingSink sink;
    MultipartParser parser("B", sink);
    const std::string head = "--B\r\nfilename=\"a\"\r\n\r\n";
    std::copy(head.begin(), head.end(), parser.Room(head.size()).begin());
    ASSERT_EQ(parser.Received(head.size()), MultipartStatus::kNeedsMore);
    for (int i = 0; i < 200; ++i) {
        std::fill_n(parser.Room(65'536).begin(), 65'536, 'd');
        ASSERT_EQ(parser.Received(65'536), MultipartStatus::kNeedsMore);
    }
    EXPECT_EQ(sink.largest_write, 65'536U);
    EXPECT_EQ(sink.files[0].second.size(), 200U * 65'536 - 13 + 3);
}

// Cost is judged by size, not by time: what takes quadratic time here would not end.
TEST(MultipartTest, ALongHeaderBlockInSmallReadsCostsLinearTime) {
    const std::string body =
        "--B\r\nx: " + std::string(10'485'760, '\r') + "\r\nfilename=\"a\"\r\n\r\nd\r\n--B--";
    EXPECT_EQ(Parse("B", body, 512).files, (Files{{"a", "d"}}));
}

TEST(MultipartTest, NearlyMatchingDataWithALongBoundaryInSmallReadsCostsLinearTime) {
    const std::string boundary(10'000, 'b');
    const std::string near = "\r\n--" + boundary.substr(1);
    std::string data;
    while (data.size() < 10'000'000) data += near;
    const std::string body =
        "--" + boundary + "\r\nfilename=\"a\"\r\n\r\n" + data + "\r\n--" + boundary + "--";
    const Parsed parsed = Parse(boundary, body, 16);
    EXPECT_EQ(parsed.status, MultipartStatus::kComplete);
    ASSERT_EQ(parsed.files.size(), 1U);
    EXPECT_TRUE(parsed.files[0].second == data);
}

// However long the boundary is and however it arrives, its bytes cost one look each: those that
// have been looked at are spoilt here, and nobody notices.
TEST(MultipartTest, NoByteOfTheFirstDelimiterIsLookedAtTwice) {
    const std::string kBoundary(1000, 'b');
    for (const std::string begin : {"--", "\r\n--"}) {
        KeepingSink sink;
        MultipartParser parser(kBoundary, sink);
        const std::string delimiter = begin + kBoundary;
        const std::span<char> room = parser.Room(64 * 1024);
        for (std::size_t i = 0; i < delimiter.size(); ++i) {
            const std::span<char> next = parser.Room(1);
            ASSERT_EQ(next.data(), room.data() + i);
            next[0] = delimiter[i];
            const MultipartStatus status = parser.Received(1);
            const bool is_last = i + 1 == delimiter.size();
            ASSERT_EQ(status, is_last && begin != "--" ? MultipartStatus::kMalformed
                                                       : MultipartStatus::kNeedsMore);
            // The first byte tells whether a line break comes before the delimiter.
            if (i > 0) room[i] = '?';
        }
        if (begin != "--") continue;
        std::copy_n("--", 2, parser.Room(2).begin());
        EXPECT_EQ(parser.Received(2), MultipartStatus::kComplete);
    }
}

}  // namespace
}  // namespace harbinet
