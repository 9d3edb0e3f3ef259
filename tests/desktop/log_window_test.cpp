// The log window of the real program.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <regex>

#include "https_client.h"
#include "program.h"

namespace harbinet::test {
namespace {

class LogWindowTest : public testing::Test {
protected:
    void SetUp() override {
        program_ = std::make_unique<Program>();
        program_->WaitUntilListening();
        log_ = program_->LogWindow();
        ASSERT_NE(log_, nullptr);
    }
    HWND Box() const { return GetDlgItem(log_, kLogText); }
    HWND Button() const { return GetDlgItem(log_, kLogClearButton); }
    void Clear() const {
        SendMessageW(log_, WM_COMMAND, kLogClearButton, reinterpret_cast<LPARAM>(Button()));
    }

    std::unique_ptr<Program> program_;
    HWND log_ = nullptr;
};

TEST_F(LogWindowTest, HasItsTitleSizeAndFrame) {
    EXPECT_EQ(TextOf(log_), L"HTTP.log (last 500 entries)");
    RECT place = {};
    GetWindowRect(log_, &place);
    EXPECT_EQ(place.right - place.left, 820);
    EXPECT_EQ(place.bottom - place.top, 430);
    const LONG style = GetWindowLongW(log_, GWL_STYLE);
    EXPECT_EQ(style & WS_OVERLAPPEDWINDOW, LONG{WS_OVERLAPPEDWINDOW});
    EXPECT_EQ(GetWindow(log_, GW_OWNER), nullptr);
}

TEST_F(LogWindowTest, HasAButtonAndATextBox) {
    EXPECT_EQ(TextOf(Button()), L"Clear Logs");
    EXPECT_EQ(PlaceOf(Button()), (std::vector<int>{10, 10, 110, 28}));
    EXPECT_EQ(PlaceOf(Box()), (std::vector<int>{10, 48, 780, 320}));
    const LONG style = GetWindowLongW(Box(), GWL_STYLE);
    EXPECT_NE(style & ES_MULTILINE, 0);
    EXPECT_NE(style & ES_READONLY, 0);
    EXPECT_NE(style & WS_VSCROLL, 0);
    EXPECT_NE(GetWindowLongW(Box(), GWL_EXSTYLE) & WS_EX_CLIENTEDGE, 0);
    EXPECT_TRUE(IsShown(Button()));
    EXPECT_TRUE(IsShown(Box()));
}

TEST_F(LogWindowTest, ItsControlsStayWhenItIsResized) {
    SetWindowPos(log_, nullptr, 0, 0, 1000, 700, SWP_NOMOVE | SWP_NOZORDER);
    EXPECT_EQ(PlaceOf(Button()), (std::vector<int>{10, 10, 110, 28}));
    EXPECT_EQ(PlaceOf(Box()), (std::vector<int>{10, 48, 780, 320}));
}

TEST_F(LogWindowTest, ClosingHidesItAndLogsShowsTheSameOneAgain) {
    EXPECT_TRUE(IsShown(log_));
    SendMessageW(log_, WM_CLOSE, 0, 0);
    EXPECT_TRUE(IsWindow(log_));
    EXPECT_FALSE(IsShown(log_));
    program_->Command(kLogsButton);
    EXPECT_EQ(FindTopWindow(program_->Id(), L"HTTPHarbinet_LogWin", nullptr), log_);
    EXPECT_TRUE(IsShown(log_));
}

TEST_F(LogWindowTest, LogsRestoresItWhenItIsMinimised) {
    SendMessageW(log_, WM_SYSCOMMAND, SC_MINIMIZE, 0);
    ASSERT_TRUE(IsIconic(log_));
    program_->Command(kLogsButton);
    EXPECT_FALSE(IsIconic(log_));
    EXPECT_TRUE(IsShown(log_));
}

TEST_F(LogWindowTest, LogsRestoresItWhenItWasClosedWhileMinimised) {
    SendMessageW(log_, WM_SYSCOMMAND, SC_MINIMIZE, 0);
    SendMessageW(log_, WM_CLOSE, 0, 0);
    program_->Command(kLogsButton);
    EXPECT_FALSE(IsIconic(log_));
    EXPECT_TRUE(IsShown(log_));
}

TEST_F(LogWindowTest, LinesArriveWhileItIsHidden) {
    SendMessageW(log_, WM_CLOSE, 0, 0);
    program_->Command(kServerButton);
    EXPECT_TRUE(program_->WaitForLog(L"SERVER  stopping"));
}

TEST_F(LogWindowTest, ClearLeavesOneLine) {
    Clear();
    ASSERT_TRUE(WaitUntil([&] { return program_->LogLines().size() == 1; }));
    const std::wstring line = program_->LogLines().front();
    EXPECT_TRUE(std::regex_match(
        line, std::wregex(LR"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}  LOG     cleared)")));
    Clear();
    EXPECT_TRUE(WaitUntil([&] { return program_->LogLines().size() == 1; }));
}

TEST_F(LogWindowTest, NewLinesComeAtTheEnd) {
    program_->Command(kServerButton);
    ASSERT_TRUE(WaitUntil([&] { return program_->LogMessages().back() == L"SERVER  stopping"; }));
    program_->Command(kServerButton);
    ASSERT_TRUE(WaitUntil([&] {
        return program_->LogMessages().back().starts_with(L"SERVER  listening (HTTPS) on port ");
    }));
}

TEST_F(LogWindowTest, TheBoxKeepsTheNewestFiveHundredLinesAndScrollsToTheEnd) {
    Clear();
    ASSERT_TRUE(WaitUntil([&] { return program_->LogLines().size() == 1; }));
    const HWND autostart = program_->Control(kAutostartBox);
    for (int i = 0; i < 520; ++i) {
        SendMessageW(autostart, BM_SETCHECK, i % 2 == 0 ? BST_CHECKED : BST_UNCHECKED, 0);
        program_->Command(kAutostartBox);
    }
    // Line 1 was the clearing; the newest of 521 lines are those of toggles 21 to 520.
    ASSERT_TRUE(WaitUntil([&] {
        const auto messages = program_->LogMessages();
        return messages.size() == 500 && messages.back() == L"AUTOSTART disabled";
    }));
    const std::vector<std::wstring> messages = program_->LogMessages();
    EXPECT_EQ(messages.front(), L"AUTOSTART enabled");
    EXPECT_EQ(std::ranges::count(messages, L"LOG     cleared"), 0);
    // 320 pixels show less than 30 lines: the last ones.
    EXPECT_TRUE(WaitUntil([&] { return SendMessageW(Box(), EM_GETFIRSTVISIBLELINE, 0, 0) > 470; }));
}

}  // namespace
}  // namespace harbinet::test
