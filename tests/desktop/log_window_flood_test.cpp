// The log window alone: when it shows a line, how it scrolls, and how it bears a flood of lines.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "program.h"
#include "ui/appearance.h"
#include "ui/log_window.h"

namespace harbinet::test {
namespace {

constexpr UINT kLogUpdated = WM_APP + 1;

class LogBoxTest : public testing::Test {
protected:
    void SetUp() override {
        window_.Open();
        ASSERT_NE(window_.Handle(), nullptr);
    }
    ~LogBoxTest() override { DestroyWindow(window_.Handle()); }

    HWND Box() const { return GetDlgItem(window_.Handle(), kLogText); }
    std::wstring Text() const { return TextOf(Box()); }

    // Takes the notice out of the queue and handles it. Nothing else is handled.
    bool HandleNotice() const {
        MSG message = {};
        if (!PeekMessageW(&message, window_.Handle(), kLogUpdated, kLogUpdated, PM_REMOVE)) {
            return false;
        }
        DispatchMessageW(&message);
        return true;
    }

    EventLog log_;
    const Appearance appearance_ = MakeAppearance();
    LogWindow window_{log_, appearance_, GetModuleHandleW(nullptr), nullptr};
};

TEST_F(LogBoxTest, EveryLineShowsAsSoonAsItsNoticeIsHandled) {
    for (int line = 0; line < 20; ++line) {
        const std::wstring message = L"DL      line " + std::to_wstring(line);
        log_.Log(message);
        ASSERT_TRUE(HandleNotice()) << line;
        ASSERT_TRUE(Text().ends_with(message + L"\r\n")) << line;
    }
}

TEST_F(LogBoxTest, SeveralLinesShareOneNotice) {
    for (int line = 0; line < 20; ++line) log_.Log(L"DL      line " + std::to_wstring(line));
    EXPECT_TRUE(HandleNotice());
    EXPECT_TRUE(Text().ends_with(L"DL      line 19\r\n"));
    EXPECT_FALSE(HandleNotice());
}

TEST_F(LogBoxTest, TheClearingShowsAtOnceAlsoAfterAnotherLine) {
    log_.Log(L"DL      before");
    ASSERT_TRUE(HandleNotice());
    SendMessageW(window_.Handle(), WM_COMMAND, kLogClearButton, 0);
    EXPECT_EQ(Text(), L"");
    ASSERT_TRUE(HandleNotice());
    EXPECT_EQ(Text().substr(25), L"LOG     cleared\r\n");
}

// An edit control as its documentation allows it: scrolling goes on until the last line, which is
// empty, stands at the top.
class FarScrollingBox {
public:
    explicit FarScrollingBox(HWND box) : box_(box) {
        SetWindowLongPtrW(box, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        original_ = SetWindowLongPtrW(box, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Procedure));
    }
    ~FarScrollingBox() { SetWindowLongPtrW(box_, GWLP_WNDPROC, original_); }
    FarScrollingBox(const FarScrollingBox&) = delete;
    FarScrollingBox& operator=(const FarScrollingBox&) = delete;

    LRESULT First() const { return first_; }

private:
    LRESULT Original(UINT message, WPARAM wparam, LPARAM lparam) const {
        return CallWindowProcW(reinterpret_cast<WNDPROC>(original_), box_, message, wparam, lparam);
    }

    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
        auto& self = *reinterpret_cast<FarScrollingBox*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        switch (message) {
            case EM_LINESCROLL:
                self.first_ = std::clamp(self.first_ + lparam, LRESULT{0},
                                         self.Original(EM_GETLINECOUNT, 0, 0) - 1);
                return TRUE;
            case EM_GETFIRSTVISIBLELINE:
                return self.first_;
            default:
                return self.Original(message, wparam, lparam);
        }
    }

    const HWND box_;
    LONG_PTR original_ = 0;
    LRESULT first_ = 0;
};

TEST_F(LogBoxTest, ABoxThatScrollsTooFarIsScrolledBackToItsLastPage) {
    const FarScrollingBox box(Box());
    for (int line = 0; line < 500; ++line) log_.Log(L"DL      line " + std::to_wstring(line));
    ASSERT_TRUE(HandleNotice());
    // 320 pixels show more than 12 and less than 30 lines of a font 14 pixels high. The newest line
    // is number 499, an empty one comes after it.
    EXPECT_GT(box.First(), 501 - 30);
    EXPECT_LT(box.First(), 501 - 12);
}

TEST_F(LogBoxTest, ASingleLineShowsInABoxThatScrollsTooFar) {
    const FarScrollingBox box(Box());
    log_.Log(L"DL      alone");
    ASSERT_TRUE(HandleNotice());
    EXPECT_EQ(box.First(), 0);
}

TEST_F(LogBoxTest, ABoxThatStopsAtItsLastPageStaysThere) {
    for (int line = 0; line < 500; ++line) log_.Log(L"DL      line " + std::to_wstring(line));
    ASSERT_TRUE(HandleNotice());
    const LRESULT first = SendMessageW(Box(), EM_GETFIRSTVISIBLELINE, 0, 0);
    EXPECT_GT(first, 501 - 30);
    EXPECT_LE(first, 499);
}

// Handles messages until `done`, and tells the longest time during which a timer had to wait.
// Timers come after every other message: when one comes, input would have come, too.
template <typename Condition>
ULONGLONG LongestWait(Condition done) {
    ULONGLONG longest = 0;
    ULONGLONG last = GetTickCount64();
    const UINT_PTR timer = SetTimer(nullptr, 0, USER_TIMER_MINIMUM, nullptr);
    while (!done()) {
        MSG message = {};
        GetMessageW(&message, nullptr, 0, 0);
        if (message.message == WM_TIMER && message.hwnd == nullptr) {
            const ULONGLONG now = GetTickCount64();
            longest = std::max(longest, now - last);
            last = now;
        }
        DispatchMessageW(&message);
    }
    KillTimer(nullptr, timer);
    return std::max(longest, GetTickCount64() - last);
}

TEST_F(LogBoxTest, TenThousandLinesAtOnceLeaveTheWindowsAnswering) {
    std::atomic<int> running{4};
    std::vector<std::jthread> workers;
    const ULONGLONG start = GetTickCount64();
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([this, &running] {
            for (int line = 0; line < 2500; ++line) log_.Log(L"DL      " + std::to_wstring(line));
            --running;
        });
    }
    const ULONGLONG longest = LongestWait([&running] { return running == 0; });
    const ULONGLONG total = GetTickCount64() - start;
    workers.clear();
    RecordProperty("total_milliseconds", static_cast<int>(total));
    RecordProperty("longest_wait_milliseconds", static_cast<int>(longest));
    // The bound allows for a machine that is busy with other things.
    EXPECT_LT(longest, 1000U);

    log_.Log(L"DL      the end");
    LongestWait([this] { return Text().ends_with(L"DL      the end\r\n"); });
    EXPECT_EQ(SendMessageW(Box(), EM_GETLINECOUNT, 0, 0), 501);
    EXPECT_GT(SendMessageW(Box(), EM_GETFIRSTVISIBLELINE, 0, 0), 501 - 30);
}

// Without a pause between them for three seconds: the posted notices alone would shut timers, and
// so the user's input, out for as long.
TEST_F(LogBoxTest, AFloodThatDoesNotEndLeavesTheWindowsAnswering) {
    std::jthread worker([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            log_.Log(L"DL      line");
            Sleep(1);
        }
    });
    const ULONGLONG end = GetTickCount64() + 3000;
    const ULONGLONG longest = LongestWait([end] { return GetTickCount64() >= end; });
    RecordProperty("longest_wait_milliseconds", static_cast<int>(longest));
    EXPECT_LT(longest, 1000U);
    worker.request_stop();
    worker.join();

    log_.Log(L"DL      the end");
    LongestWait([this] { return Text().ends_with(L"DL      the end\r\n"); });
    // The flood is over: notices count again.
    log_.Log(L"DL      after it");
    LongestWait([this] { return Text().ends_with(L"DL      after it\r\n"); });
}

}  // namespace
}  // namespace harbinet::test
