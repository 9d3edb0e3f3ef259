// The tray icon alone, with a shell that can be out of reach.
#include <windows.h>

#include <gtest/gtest.h>
#include <shellapi.h>

#include <string>
#include <vector>

#include "ui/tray_icon.h"

namespace harbinet::test {
namespace {

// Plain functions, as the system's are, so what they share is static.
struct Shell {
    static BOOL WINAPI Notify(DWORD action, NOTIFYICONDATAW* record) {
        calls.push_back(std::to_wstring(action) + L" " + record->szTip);
        return action == NIM_ADD ? accepts_add : accepts_modify;
    }
    static ULONGLONG WINAPI Ticks() { return now; }

    static inline std::vector<std::wstring> calls;
    static inline BOOL accepts_add = TRUE;
    static inline BOOL accepts_modify = TRUE;
    static inline ULONGLONG now = 0;
};

using Calls = std::vector<std::wstring>;

class UnreachableTrayTest : public testing::Test {
protected:
    UnreachableTrayTest() { Answer(FALSE, FALSE); }
    ~UnreachableTrayTest() override {
        icon_.Remove();
        DestroyWindow(owner_);
    }

    static void Answer(BOOL add, BOOL modify) {
        Shell::calls.clear();
        Shell::accepts_add = add;
        Shell::accepts_modify = modify;
    }
    void Add() { icon_.Add(owner_, GetModuleHandleW(nullptr)); }
    // Only a timer that runs can be ended.
    bool HasTimer() const { return KillTimer(owner_, kTrayTimer) != FALSE; }

    const HWND owner_ = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                        nullptr, nullptr);
    TrayIcon icon_{{Shell::Notify, Shell::Ticks}};
};

TEST_F(UnreachableTrayTest, AnIconThatIsShownNeedsNoTimer) {
    Answer(TRUE, TRUE);
    Add();
    EXPECT_EQ(Shell::calls, Calls{L"0 Harbinet PRO"});
    EXPECT_TRUE(icon_.IsAdded());
    EXPECT_FALSE(HasTimer());
}

TEST_F(UnreachableTrayTest, ARefusedIconCountsAsAddedAndATimerRuns) {
    Add();
    EXPECT_TRUE(icon_.IsAdded());
    EXPECT_TRUE(HasTimer());
}

TEST_F(UnreachableTrayTest, TheTimerReachesTheOwner) {
    Add();
    MSG message = {};
    ASSERT_GT(GetMessageW(&message, owner_, WM_TIMER, WM_TIMER), 0);
    EXPECT_EQ(message.wParam, kTrayTimer);
}

TEST_F(UnreachableTrayTest, ALaterTryShowsTheIconWithItsPresentTipAndEndsTheTimer) {
    Add();
    icon_.SetTip(L"new tip");
    Answer(FALSE, FALSE);
    icon_.TryAgain();
    EXPECT_EQ(Shell::calls, (Calls{L"0 new tip", L"1 new tip"}));
    Answer(TRUE, TRUE);
    icon_.TryAgain();
    EXPECT_EQ(Shell::calls, Calls{L"0 new tip"});
    EXPECT_FALSE(HasTimer());
}

TEST_F(UnreachableTrayTest, AfterAMinuteNobodyTriesAgain) {
    Shell::now = 5000;
    Add();
    Shell::now = 64'999;
    icon_.TryAgain();
    EXPECT_TRUE(HasTimer());
    icon_.AddAgain();  // the line above ended the timer
    Shell::now = 124'999;
    icon_.TryAgain();
    EXPECT_FALSE(HasTimer());
}

TEST_F(UnreachableTrayTest, ANewTaskbarShowsTheIconAfterAllTriesFailed) {
    Shell::now = 0;
    Add();
    Shell::now = 60'000;
    icon_.TryAgain();
    Answer(TRUE, TRUE);
    icon_.AddAgain();
    EXPECT_EQ(Shell::calls, Calls{L"0 Harbinet PRO"});
    EXPECT_FALSE(HasTimer());
}

TEST_F(UnreachableTrayTest, ANewTaskbarThatIsNotReadyIsTriedAgain) {
    Answer(TRUE, TRUE);
    Add();
    Answer(FALSE, FALSE);
    icon_.AddAgain();
    EXPECT_TRUE(HasTimer());
}

// The shell was busy: it took the icon, and its answer came too late to count.
TEST_F(UnreachableTrayTest, AnIconThatCanBeChangedIsThere) {
    Answer(FALSE, TRUE);
    Add();
    EXPECT_EQ(Shell::calls, (Calls{L"0 Harbinet PRO", L"1 Harbinet PRO"}));
    EXPECT_FALSE(HasTimer());
}

TEST_F(UnreachableTrayTest, RemovingEndsTheTimer) {
    Add();
    Answer(TRUE, TRUE);
    icon_.Remove();
    EXPECT_EQ(Shell::calls, Calls{L"2 "});
    EXPECT_FALSE(HasTimer());
    EXPECT_FALSE(icon_.IsAdded());
}

TEST_F(UnreachableTrayTest, WithoutAnIconANewTaskbarGetsNone) {
    icon_.AddAgain();
    icon_.TryAgain();
    EXPECT_TRUE(Shell::calls.empty());
}

}  // namespace
}  // namespace harbinet::test
