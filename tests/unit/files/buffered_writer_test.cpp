#include "files/buffered_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace harbinet {
namespace {

// What reached the system, call by call.
struct Calls {
    std::vector<std::string> writes;
    int failing = 0;  // this many calls fail and write nothing
    bool closed = false;
};

class RecordingFile final : public WritableFile {
public:
    explicit RecordingFile(Calls& calls) : calls_(calls) {}
    ~RecordingFile() override { calls_.closed = true; }

    bool Write(std::string_view bytes) override {
        if (calls_.failing > 0) {
            --calls_.failing;
            return false;
        }
        calls_.writes.emplace_back(bytes);
        return true;
    }

private:
    Calls& calls_;
};

class BufferedWriterTest : public ::testing::Test {
protected:
    using Writes = std::vector<std::string>;
    static std::string Bytes(std::size_t count, char c) { return std::string(count, c); }

    Calls calls;
    BufferedWriter writer{std::make_unique<RecordingFile>(calls)};
};

TEST_F(BufferedWriterTest, SmallWritesLeaveTogetherWhenTheFileIsClosed) {
    EXPECT_TRUE(writer.Write("one"));
    EXPECT_TRUE(writer.Write(""));
    EXPECT_TRUE(writer.Write("two"));
    EXPECT_EQ(calls.writes, Writes{});
    EXPECT_TRUE(writer.Close());
    EXPECT_EQ(calls.writes, Writes{"onetwo"});
    EXPECT_TRUE(calls.closed);
}

TEST_F(BufferedWriterTest, ABlockLeavesBeforeTheWriteThatWouldOverfillIt) {
    EXPECT_TRUE(writer.Write(Bytes(262'143, 'a')));
    EXPECT_TRUE(writer.Write("b"));
    EXPECT_EQ(calls.writes, Writes{});
    EXPECT_TRUE(writer.Write("c"));
    EXPECT_EQ(calls.writes, Writes{Bytes(262'143, 'a') + "b"});
    EXPECT_TRUE(writer.Close());
    EXPECT_EQ(calls.writes, (Writes{Bytes(262'143, 'a') + "b", "c"}));
}

TEST_F(BufferedWriterTest, AWholeBlockIsWrittenAtOnceAfterWhatCameBefore) {
    EXPECT_TRUE(writer.Write("a"));
    EXPECT_TRUE(writer.Write(Bytes(262'144, 'b')));
    EXPECT_EQ(calls.writes, (Writes{"a", Bytes(262'144, 'b')}));
    EXPECT_TRUE(writer.Write("c"));
    EXPECT_TRUE(writer.Close());
    EXPECT_EQ(calls.writes.back(), "c");
}

TEST_F(BufferedWriterTest, AnUntouchedFileIsClosedWithoutAWrite) {
    calls.failing = 1;
    EXPECT_TRUE(writer.Close());
    EXPECT_TRUE(calls.closed);
    EXPECT_EQ(calls.writes, Writes{});
}

TEST_F(BufferedWriterTest, ClosingTellsThatTheLastBytesWereLost) {
    EXPECT_TRUE(writer.Write("lost"));
    calls.failing = 1;
    EXPECT_FALSE(writer.Close());
    EXPECT_TRUE(calls.closed);
    EXPECT_TRUE(writer.Close());
    EXPECT_EQ(calls.writes, Writes{});
}

TEST_F(BufferedWriterTest, AFailingFlushLosesItsBlockAndTheWriteThatCausedIt) {
    EXPECT_TRUE(writer.Write(Bytes(262'144 - 1, 'a')));
    calls.failing = 1;
    EXPECT_FALSE(writer.Write("bb"));
    EXPECT_TRUE(writer.Write("kept"));
    EXPECT_TRUE(writer.Close());
    EXPECT_EQ(calls.writes, Writes{"kept"});
}

TEST_F(BufferedWriterTest, AFailingWriteOfAWholeBlockIsTold) {
    EXPECT_TRUE(writer.Write("a"));
    calls.failing = 1;
    EXPECT_FALSE(writer.Write(Bytes(262'144, 'b')));
    calls.failing = 1;
    EXPECT_FALSE(writer.Write(Bytes(300'000, 'c')));
    EXPECT_TRUE(writer.Close());
    EXPECT_EQ(calls.writes, Writes{});
}

TEST(BufferedWriterEndTest, AWriterThatIsDroppedWritesWhatItHolds) {
    Calls calls;
    { BufferedWriter(std::make_unique<RecordingFile>(calls)).Write("beginning"); }
    EXPECT_EQ(calls.writes, std::vector<std::string>{"beginning"});
    EXPECT_TRUE(calls.closed);
}

}  // namespace
}  // namespace harbinet
