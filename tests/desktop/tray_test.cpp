// The tray icon with its tooltip and menu, and what its commands do: clipboard, browser, Explorer.
#include <windows.h>

#include <gtest/gtest.h>
#include <shellapi.h>

#include <memory>

#include "program.h"
#include "tray_watcher.h"
#include "ui/tray_icon.h"

namespace harbinet::test {
namespace {

constexpr UINT kTrayCallback = WM_APP + 200;

// Why tests leave a real desktop's tray alone.
constexpr const char* kNoTray = "the notification area belongs to the user's programs";

class TrayTest : public testing::Test {
protected:
    void SetUp() override {
        program_ = std::make_unique<Program>();
        program_->WaitUntilListening();
    }

    void Minimise() {
        SendMessageW(program_->Window(), WM_SYSCOMMAND, SC_MINIMIZE, 0);
        WaitUntil([this] { return !IsShown(program_->Window()); });
    }
    // As the notification area reports the mouse.
    void Mouse(UINT message) { SendMessageW(program_->Window(), kTrayCallback, 1, message); }

    std::wstring ExpectedTip(const std::wstring& url) {
        return L"Harbinet PRO\r\n\r\nURL:            " + url + L"\r\nPIN:             " +
               program_->Pin() + L"\r\nDrive:          " + (IsElevated() ? L"-" : L"W:");
    }
    std::wstring AddressWithoutSlash() {
        const std::wstring url = program_->Url();
        return url.substr(0, url.size() - 1);
    }

    // Opens the menu at the icon; closed by a key or a command.
    HWND OpenMenu() {
        PostMessageW(program_->Window(), kTrayCallback, 1, WM_RBUTTONUP);
        HWND menu = nullptr;
        WaitUntil([&] {
            menu = FindTopWindow(program_->Id(), L"#32768", nullptr);
            return menu && IsShown(menu);
        });
        return menu;
    }
    void Keys(std::initializer_list<WPARAM> keys) {
        for (const WPARAM key : keys) PostMessageW(program_->Window(), WM_KEYDOWN, key, 1);
    }
    bool WaitUntilMenuCloses() {
        return WaitUntil(
            [this] { return FindTopWindow(program_->Id(), L"#32768", nullptr) == nullptr; });
    }

    TrayWatcher tray_;
    std::unique_ptr<Program> program_;
};

TEST_F(TrayTest, AVisibleStartAddsNoIcon) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    EXPECT_TRUE(tray_.Calls().empty());
}

TEST_F(TrayTest, MinimisingHidesTheWindowAndAddsTheIcon) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    Minimise();
    EXPECT_FALSE(IsShown(program_->Window()));
    ASSERT_EQ(tray_.Calls(NIM_ADD).size(), 1U);
    const TrayCall added = tray_.Calls(NIM_ADD).front();
    EXPECT_EQ(added.owner, program_->Window());
    EXPECT_EQ(added.id, 1U);
    EXPECT_EQ(added.flags, UINT{NIF_MESSAGE | NIF_ICON | NIF_TIP});
    EXPECT_EQ(added.callback_message, kTrayCallback);
    EXPECT_EQ(added.tip, L"Harbinet PRO");
}

TEST_F(TrayTest, MinimisingTwiceAddsTheIconOnce) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    Minimise();
    Mouse(WM_LBUTTONDBLCLK);
    EXPECT_TRUE(IsShown(program_->Window()));
    Minimise();
    EXPECT_FALSE(IsShown(program_->Window()));
    EXPECT_EQ(tray_.Calls(NIM_ADD).size(), 1U);
}

TEST_F(TrayTest, TheTooltipNamesAddressPinAndDrive) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    const std::wstring address = AddressWithoutSlash();
    Minimise();
    EXPECT_EQ(tray_.Tip(), ExpectedTip(address).substr(0, 127));
    for (const TrayCall& call : tray_.Calls(NIM_MODIFY)) EXPECT_EQ(call.flags, UINT{NIF_TIP});
}

TEST_F(TrayTest, TheTooltipFollowsTheServer) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    const std::wstring address = AddressWithoutSlash();
    Minimise();
    program_->Command(kServerButton);
    EXPECT_EQ(tray_.Tip(), ExpectedTip(L"stopped"));
    program_->Command(kServerButton);
    program_->WaitUntilListening();
    EXPECT_EQ(tray_.Tip(), ExpectedTip(address).substr(0, 127));
}

TEST_F(TrayTest, AnAutostartedProgramSetsTheTooltipAtOnce) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    program_.reset();
    tray_.Forget();
    program_ = std::make_unique<Program>(L"--autostart");
    program_->WaitUntilListening();
    EXPECT_TRUE(WaitUntil(
        [&] { return tray_.Tip() == ExpectedTip(AddressWithoutSlash()).substr(0, 127); }));
}

TEST_F(TrayTest, TheIconStaysWhenTheWindowComesBackAndGoesWithTheProgram) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    Minimise();
    program_->Command(kTrayOpen);
    EXPECT_TRUE(IsShown(program_->Window()));
    EXPECT_TRUE(tray_.Calls(NIM_DELETE).empty());
    program_->Close();
    ASSERT_EQ(tray_.Calls(NIM_DELETE).size(), 1U);
    EXPECT_EQ(tray_.Calls(NIM_DELETE).front().id, 1U);
}

TEST_F(TrayTest, WithoutAnIconNoneIsDeleted) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    program_->Close();
    EXPECT_TRUE(tray_.Calls().empty());
}

// What Explorer does when it has started (again).
void AnnounceTaskbar() {
    PostMessageW(HWND_BROADCAST, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0);
}

TEST_F(TrayTest, ANewTaskbarGetsTheIconWithItsTip) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    Minimise();
    tray_.Forget();
    AnnounceTaskbar();
    ASSERT_TRUE(WaitUntil([&] { return tray_.Calls(NIM_ADD).size() == 1; }));
    const TrayCall added = tray_.Calls(NIM_ADD).front();
    EXPECT_EQ(added.owner, program_->Window());
    EXPECT_EQ(added.id, 1U);
    EXPECT_EQ(added.flags, UINT{NIF_MESSAGE | NIF_ICON | NIF_TIP});
    EXPECT_EQ(added.callback_message, kTrayCallback);
    EXPECT_EQ(added.tip, ExpectedTip(AddressWithoutSlash()).substr(0, 127));
}

TEST_F(TrayTest, ANewTaskbarGetsNoIconFromAProgramThatHasNone) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    AnnounceTaskbar();
    // Delivered after the announcement, because it was posted later.
    PostMessageW(program_->Window(), WM_COMMAND, kStatusButton, 0);
    ASSERT_TRUE(WaitUntil([&] { return IsShown(program_->Control(kStatusEdit)); }));
    EXPECT_TRUE(tray_.Calls().empty());
}

TEST_F(TrayTest, AnIconThatWasRefusedAtTheStartComesLater) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    program_.reset();
    tray_.Forget();
    tray_.Refuse(true);
    program_ = std::make_unique<Program>(L"--autostart");
    ASSERT_TRUE(WaitUntil([&] { return tray_.Calls(NIM_ADD).size() >= 2; }));
    EXPECT_FALSE(tray_.Calls(NIM_ADD).front().accepted);
    tray_.Refuse(false);
    EXPECT_TRUE(WaitUntil([&] { return tray_.Calls(NIM_ADD).back().accepted; }));
    EXPECT_EQ(tray_.Tip(), ExpectedTip(AddressWithoutSlash()).substr(0, 127));
}

TEST_F(TrayTest, ADoubleClickRestoresTheWindow) {
    Minimise();
    Mouse(WM_LBUTTONDBLCLK);
    EXPECT_TRUE(IsShown(program_->Window()));
    EXPECT_FALSE(IsIconic(program_->Window()));
}

TEST_F(TrayTest, ASingleClickCopiesTheLinkAndShowsNothing) {
    SetClipboardText(L"before");
    Minimise();
    Mouse(WM_LBUTTONUP);
    EXPECT_EQ(ClipboardText(), program_->Link());
    EXPECT_FALSE(IsShown(program_->Window()));
}

TEST_F(TrayTest, OtherMouseMessagesDoNothing) {
    SetClipboardText(L"before");
    Minimise();
    for (const UINT message :
         {WM_MOUSEMOVE, WM_LBUTTONDOWN, WM_RBUTTONDOWN, WM_MBUTTONUP, WM_RBUTTONDBLCLK}) {
        Mouse(message);
    }
    EXPECT_EQ(ClipboardText(), L"before");
    EXPECT_FALSE(IsShown(program_->Window()));
    EXPECT_EQ(FindTopWindow(program_->Id(), L"#32768", nullptr), nullptr);
}

TEST_F(TrayTest, ARightClickOpensTheMenuAndEscapeClosesItWithoutEffect) {
    SetClipboardText(L"before");
    ASSERT_NE(OpenMenu(), nullptr);
    Keys({VK_ESCAPE});
    EXPECT_TRUE(WaitUntilMenuCloses());
    EXPECT_EQ(ClipboardText(), L"before");
}

TEST_F(TrayTest, TheMenusFirstItemCopiesTheLink) {
    SetClipboardText(L"before");
    ASSERT_NE(OpenMenu(), nullptr);
    Keys({VK_DOWN, VK_RETURN});
    EXPECT_TRUE(WaitUntilMenuCloses());
    EXPECT_TRUE(WaitUntil([&] { return ClipboardText() == program_->Link(); }));
}

TEST_F(TrayTest, TheGrayedFirstItemDoesNothingWhileTheServerIsStopped) {
    program_->Command(kServerButton);
    SetClipboardText(L"before");
    ASSERT_NE(OpenMenu(), nullptr);
    Keys({VK_DOWN, VK_RETURN, VK_ESCAPE});
    EXPECT_TRUE(WaitUntilMenuCloses());
    EXPECT_EQ(ClipboardText(), L"before");
}

TEST_F(TrayTest, TheFourthItemOpensTheWindow) {
    Minimise();
    ASSERT_NE(OpenMenu(), nullptr);
    Keys({VK_DOWN, VK_DOWN, VK_DOWN, VK_DOWN, VK_RETURN});
    EXPECT_TRUE(WaitUntil([&] { return IsShown(program_->Window()); }));
}

TEST_F(TrayTest, TheLastItemClosesTheProgram) {
    ASSERT_NE(OpenMenu(), nullptr);
    Keys({VK_UP, VK_RETURN});
    EXPECT_EQ(program_->WaitForExit(), 0U);
}

TEST_F(TrayTest, TheCopyButtonPutsTheLinkOnTheClipboard) {
    for (const int command : {int{kCopyButton}, int{kTrayCopy}}) {
        SetClipboardText(L"before");
        program_->Command(command);
        EXPECT_EQ(ClipboardText(), program_->Link()) << command;
    }
}

TEST_F(TrayTest, WithTheServerStoppedTheClipboardStaysUntouched) {
    program_->Command(kServerButton);
    SetClipboardText(L"before");
    for (const int command : {int{kCopyButton}, int{kTrayCopy}}) program_->Command(command);
    Mouse(WM_LBUTTONUP);
    EXPECT_EQ(ClipboardText(), L"before");
}

TEST_F(TrayTest, AClipboardThatIsInUseIsLeftAlone) {
    SetClipboardText(L"before");
    ASSERT_TRUE(OpenClipboard(nullptr));
    program_->Command(kCopyButton);
    CloseClipboard();
    EXPECT_EQ(ClipboardText(), L"before");
}

TEST(TrayIconTest, ALongTooltipIsCutTo127Characters) {
    HARBINET_SKIP_ON_REAL_DESKTOP(kNoTray);
    TrayWatcher tray;
    const HWND owner = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                       nullptr, nullptr);
    TrayIcon icon;
    icon.SetTip(L"too early");
    EXPECT_TRUE(tray.Calls().empty());
    icon.Add(owner, GetModuleHandleW(nullptr));
    icon.SetTip(std::wstring(100, L'a') + std::wstring(100, L'b'));
    EXPECT_EQ(tray.Tip(), std::wstring(100, L'a') + std::wstring(27, L'b'));
    icon.SetTip(std::wstring(127, L'c'));
    EXPECT_EQ(tray.Tip(), std::wstring(127, L'c'));
    icon.Remove();
    icon.Remove();
    EXPECT_EQ(tray.Calls(NIM_DELETE).size(), 1U);
    DestroyWindow(owner);
}

// The class of https links while a test runs: a program of the system that ends at once, or none.
class HttpsHandler {
public:
    explicit HttpsHandler(bool works) {
        RegRenameKey(HKEY_CLASSES_ROOT, L"https", L"https-kept");
        if (!works) return;
        Set(L"https", L"URL Protocol", L"");
        Set(L"https\\shell\\open\\command", nullptr, L"cmd.exe /c exit");
    }
    ~HttpsHandler() {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, L"https");
        RegRenameKey(HKEY_CLASSES_ROOT, L"https-kept", L"https");
    }
    HttpsHandler(const HttpsHandler&) = delete;
    HttpsHandler& operator=(const HttpsHandler&) = delete;

private:
    static void Set(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
        RegSetKeyValueW(HKEY_CLASSES_ROOT, key, name, REG_SZ, text.c_str(),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
};

TEST_F(TrayTest, TheBrowserIsGivenTheLink) {
    HARBINET_SKIP_ON_REAL_DESKTOP("replaces the class of https links");
    const HttpsHandler handler(true);
    program_->Command(kBrowserButton);
    EXPECT_TRUE(program_->WaitForLog(L"BROWSER opened: " + program_->Link()));
    program_->Command(kTrayBrowser);
    EXPECT_TRUE(
        WaitUntil([&] { return program_->CountLog(L"BROWSER opened: " + program_->Link()) == 2; }));
}

TEST_F(TrayTest, WithoutABrowserOnlyTheLogSaysSo) {
    HARBINET_SKIP_ON_REAL_DESKTOP("replaces the class of https links");
    const HttpsHandler handler(false);
    program_->PostCommand(kBrowserButton);
    EXPECT_TRUE(program_->WaitForLog(L"BROWSER failed"));
}

TEST_F(TrayTest, WithTheServerStoppedTheBrowserStaysClosed) {
    HARBINET_SKIP_ON_REAL_DESKTOP("replaces the class of https links");
    const HttpsHandler handler(true);
    program_->Command(kServerButton);
    program_->Command(kBrowserButton);
    program_->Command(kTrayBrowser);
    // A later line shows that the log is up to date.
    program_->Command(kServerButton);
    program_->WaitUntilListening();
    for (const std::wstring& message : program_->LogMessages()) {
        EXPECT_FALSE(message.starts_with(L"BROWSER"));
    }
}

// A web root that is gone, and a drive letter that leads nowhere, cannot be opened.
TEST_F(TrayTest, AnExplorerThatCannotOpenIsLoggedAndShown) {
    HARBINET_SKIP_ON_REAL_DESKTOP("the shell shows a message of its own first");
    const std::wstring web_root = program_->ControlText(kWebRootLabel);
    RemoveDirectoryW(web_root.c_str());
    const std::wstring target = IsElevated() ? web_root : L"W:\\";
    for (const int command : {int{kExplorerButton}, int{kTrayExplorer}}) {
        program_->PostCommand(command);
        const Dialog dialog(program_->Id(), L"Harbinet PRO");
        ASSERT_TRUE(dialog.IsThere()) << command;
        EXPECT_EQ(dialog.Message(),
                  L"Explorer konnte nicht ge\u00C3\u00B6ffnet werden.\r\n\r\nPath:\r\n" + target);
        EXPECT_EQ(GetWindow(dialog.Window(), GW_OWNER), program_->Window());
        EXPECT_TRUE(dialog.Dismiss(IDOK));
    }
    std::size_t failures = 0;
    for (const std::wstring& message : program_->LogMessages()) {
        const bool names_target = message.ends_with(L") target=" + target);
        if (message.starts_with(L"EXPLORER failed (ShellExecute code=") && names_target) {
            const int code = std::stoi(message.substr(35));
            EXPECT_GE(code, 0);
            EXPECT_LE(code, 32);
            ++failures;
        }
    }
    EXPECT_EQ(failures, 2U);
}

}  // namespace
}  // namespace harbinet::test
