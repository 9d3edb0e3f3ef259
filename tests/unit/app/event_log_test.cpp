#include "app/event_log.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/test_clock.h"

namespace harbinet {
namespace {

class CountingObserver final : public LogObserver {
public:
    void OnLogUpdated() override { ++updates; }
    std::atomic<int> updates{0};
};

TEST(EventLogTest, LineIsTimestampTwoBlanksAndTheMessageUnchanged) {
    EventLog log(test::FixedLocalTime);
    log.Log(L"APP     start ");
    log.Log(L"");
    log.Log(L"two\nlines");
    EXPECT_EQ(log.Snapshot(), (std::vector<std::wstring>{L"2026-01-05 09:07:03.042  APP     start ",
                                                         L"2026-01-05 09:07:03.042  ",
                                                         L"2026-01-05 09:07:03.042  two\nlines"}));
}

TEST(EventLogTest, EveryFieldOfTheTimestampIsPadded) {
    EventLog log([] { return LocalTime{7, 12, 31, 23, 59, 58, 999}; });
    log.Log(L"x");
    EXPECT_EQ(log.Snapshot().at(0), L"0007-12-31 23:59:58.999  x");
}

TEST(EventLogTest, KeepsTheNewest500Lines) {
    EventLog log(test::FixedLocalTime);
    for (int i = 1; i <= 500; ++i) log.Log(std::to_wstring(i));
    EXPECT_EQ(log.Snapshot().front(), L"2026-01-05 09:07:03.042  1");
    log.Log(L"501");
    ASSERT_EQ(log.Snapshot().size(), 500u);
    EXPECT_EQ(log.Snapshot().front(), L"2026-01-05 09:07:03.042  2");
    EXPECT_EQ(log.Snapshot().back(), L"2026-01-05 09:07:03.042  501");
    for (int i = 502; i <= 1000; ++i) log.Log(std::to_wstring(i));
    ASSERT_EQ(log.Snapshot().size(), 500u);
    EXPECT_EQ(log.Snapshot().front(), L"2026-01-05 09:07:03.042  501");
    EXPECT_EQ(log.Snapshot().back(), L"2026-01-05 09:07:03.042  1000");
}

TEST(EventLogTest, ClearForgetsEverythingAndLogsNothing) {
    EventLog log(test::FixedLocalTime);
    log.Log(L"x");
    log.Clear();
    EXPECT_TRUE(log.Snapshot().empty());
}

TEST(EventLogTest, TellsTheObserverAfterEachLineWhileThereIsOne) {
    EventLog log(test::FixedLocalTime);
    CountingObserver observer;
    log.Log(L"before");
    log.SetObserver(&observer);
    log.Log(L"one");
    log.Log(L"two");
    EXPECT_EQ(observer.updates, 2);
    log.SetObserver(nullptr);
    log.Log(L"after");
    EXPECT_EQ(observer.updates, 2);
    EXPECT_EQ(log.Snapshot().size(), 4u);
}

TEST(EventLogTest, LogsFromEightThreadsLoseNoLine) {
    EventLog log(test::FixedLocalTime);
    CountingObserver observer;
    log.SetObserver(&observer);
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&log] {
            for (int i = 0; i < 60; ++i) log.Log(L"line");
        });
    }
    threads.clear();
    EXPECT_EQ(log.Snapshot().size(), 480u);
    EXPECT_EQ(observer.updates, 480);
}

TEST(EventLogTest, CreatesNoFile) {
    const auto folder = std::filesystem::temp_directory_path() / "harbinet_event_log_test";
    std::filesystem::create_directories(folder);
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    EventLog log(test::FixedLocalTime);
    log.Log(L"x");
    log.Clear();
    const bool is_empty = std::filesystem::is_empty(folder);
    std::filesystem::current_path(before);
    std::filesystem::remove_all(folder);
    EXPECT_TRUE(is_empty);
}

}  // namespace
}  // namespace harbinet
