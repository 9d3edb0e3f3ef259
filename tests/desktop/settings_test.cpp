// Master PIN, autostart and web root, as the user changes them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <filesystem>
#include <memory>

#include "app/encoding.h"
#include "https_client.h"
#include "program.h"

namespace harbinet::test {
namespace {

int Port() { return IsElevated() ? 443 : 8443; }

const std::wstring kPinLine = L"AUTH    Master PIN updated (registry)";

class SettingsTest : public testing::Test {
protected:
    void SetUp() override {
        SetRegistryValue(kSettings, L"MasterPin6", L"111111");
        DeleteRegistryValue(kSettings, L"WebRootPath");
        DeleteRegistryValue(kRunKey, L"Harbinet PRO");
        Start();
    }
    void TearDown() override {
        program_.reset();
        DeleteRegistryValue(kSettings, L"WebRootPath");
        DeleteRegistryValue(kRunKey, L"Harbinet PRO");
    }
    void Start() {
        program_.reset();
        program_ = std::make_unique<Program>();
        program_->WaitUntilListening();
    }
    std::unique_ptr<Program> program_;
};

class MasterPinTest : public SettingsTest {
protected:
    HWND Field() const { return program_->Control(kMasterPinEdit); }
    std::wstring Text() const { return TextOf(Field()); }
    void Type(std::wstring_view keys) const {
        for (const wchar_t key : keys) SendMessageW(Field(), WM_CHAR, key, 1);
    }
    void Empty() const { SendMessageW(Field(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"")); }
    void Paste(const std::wstring& text) const {
        Empty();
        SetClipboardText(text);
        SendMessageW(Field(), WM_PASTE, 0, 0);
    }
    static std::wstring Stored() {
        return RegistryValue(kSettings, L"MasterPin6").value_or(L"(none)");
    }
};

TEST_F(MasterPinTest, TheFieldShowsTheMasterPinMasked) {
    EXPECT_EQ(Text(), L"111111");
    EXPECT_EQ(SendMessageW(Field(), EM_GETPASSWORDCHAR, 0, 0) != 0, true);
}

TEST_F(MasterPinTest, OtherCharactersVanishAtOnceAndTheCaretStaysAtTheEnd) {
    Empty();
    Type(L"1");
    EXPECT_EQ(Text(), L"1");
    Type(L"2");
    EXPECT_EQ(Text(), L"12");
    Type(L"a");
    EXPECT_EQ(Text(), L"12");
    Type(L"3");
    EXPECT_EQ(Text(), L"123");
    EXPECT_EQ(SendMessageW(Field(), EM_GETSEL, 0, 0), MAKELONG(3, 3));
}

TEST_F(MasterPinTest, NothingIsStoredBeforeTheSixthDigit) {
    Empty();
    Type(L"24680");
    EXPECT_EQ(Stored(), L"111111");
    Type(L"2");
    EXPECT_EQ(Stored(), L"246802");
}

TEST_F(MasterPinTest, ASeventhDigitCannotBeTyped) {
    Empty();
    Type(L"2468024");
    EXPECT_EQ(Text(), L"246802");
    EXPECT_EQ(Stored(), L"246802");
}

TEST_F(MasterPinTest, AMixtureOfKeysStoresTheDigits) {
    Empty();
    Type(L"9x8 7.6-5/4");
    EXPECT_EQ(Text(), L"987654");
    EXPECT_EQ(Stored(), L"987654");
}

TEST_F(MasterPinTest, PastingSixDigitsStoresThemWithOneLogLine) {
    ASSERT_TRUE(program_->WaitForLog(kPinLine));
    const std::size_t before = program_->CountLog(kPinLine);
    Paste(L"135790");
    EXPECT_EQ(Text(), L"135790");
    EXPECT_EQ(Stored(), L"135790");
    EXPECT_TRUE(WaitUntil([&] { return program_->CountLog(kPinLine) == before + 1; }));
}

TEST_F(MasterPinTest, PastingAMixtureKeepsItsDigits) {
    Paste(L"4a5b6c");
    EXPECT_EQ(Text(), L"456");
    EXPECT_EQ(Stored(), L"111111");
}

TEST_F(MasterPinTest, PastingTooMuchIsCutToSix) {
    Paste(L"98765432");
    EXPECT_EQ(Text(), L"987654");
    EXPECT_EQ(Stored(), L"987654");
}

TEST_F(MasterPinTest, TheNewPinLogsInAndTheOldOneDoesNot) {
    EXPECT_NE(LogIn(Port(), "111111"), "");
    Paste(L"002468");
    EXPECT_NE(LogIn(Port(), "002468"), "");
    EXPECT_EQ(LogIn(Port(), "111111"), "");
    EXPECT_NE(LogIn(Port(), WideToUtf8(program_->Pin())), "");
}

TEST_F(MasterPinTest, TheLabelGoesOnShowingTheCurrentPin) {
    const std::wstring label = program_->ControlText(kPinLabel);
    Paste(L"135791");
    EXPECT_EQ(program_->ControlText(kPinLabel), label);
}

class AutostartTest : public SettingsTest {
protected:
    bool IsChecked() const {
        return SendMessageW(program_->Control(kAutostartBox), BM_GETCHECK, 0, 0) == BST_CHECKED;
    }
    // A click changes the mark and tells the window.
    void Click() const {
        SendMessageW(program_->Control(kAutostartBox), BM_SETCHECK,
                     IsChecked() ? BST_UNCHECKED : BST_CHECKED, 0);
        program_->PostCommand(kAutostartBox);
    }
    static std::wstring Expected() { return L"\"" + ProgramPath() + L"\" --autostart"; }
};

TEST_F(AutostartTest, IsOffWithoutAnEntry) { EXPECT_FALSE(IsChecked()); }

TEST_F(AutostartTest, EnablingWritesTheQuotedPathWithTheSwitch) {
    Click();
    EXPECT_TRUE(program_->WaitForLog(L"AUTOSTART enabled"));
    const auto stored = RegistryValue(kRunKey, L"Harbinet PRO");
    ASSERT_TRUE(stored);
    EXPECT_EQ(_wcsicmp(stored->c_str(), Expected().c_str()), 0) << WideToUtf8(*stored);
    EXPECT_TRUE(IsChecked());
}

TEST_F(AutostartTest, TheEntryIsRecognisedAtTheNextStart) {
    Click();
    ASSERT_TRUE(program_->WaitForLog(L"AUTOSTART enabled"));
    Start();
    EXPECT_TRUE(IsChecked());
}

TEST_F(AutostartTest, DisablingDeletesTheEntry) {
    Click();
    ASSERT_TRUE(program_->WaitForLog(L"AUTOSTART enabled"));
    Click();
    EXPECT_TRUE(program_->WaitForLog(L"AUTOSTART disabled"));
    EXPECT_EQ(RegistryValue(kRunKey, L"Harbinet PRO"), std::nullopt);
    EXPECT_FALSE(IsChecked());
}

TEST_F(AutostartTest, DisablingWithoutAnEntrySucceeds) {
    Click();
    ASSERT_TRUE(program_->WaitForLog(L"AUTOSTART enabled"));
    DeleteRegistryValue(kRunKey, L"Harbinet PRO");
    Click();
    EXPECT_TRUE(program_->WaitForLog(L"AUTOSTART disabled"));
}

TEST_F(AutostartTest, AnotherCopysEntryIsNotOurs) {
    SetRegistryValue(kRunKey, L"Harbinet PRO", L"\"D:\\Elsewhere\\Harbinet.exe\" --autostart");
    Start();
    EXPECT_FALSE(IsChecked());
}

TEST_F(AutostartTest, QuotesSwitchAndTypeDoNotMatter) {
    Click();
    ASSERT_TRUE(program_->WaitForLog(L"AUTOSTART enabled"));
    const std::wstring quoted = *RegistryValue(kRunKey, L"Harbinet PRO");
    const std::wstring path = quoted.substr(1, quoted.find(L'"', 1) - 1);
    SetRegistryValue(kRunKey, L"Harbinet PRO", L"start " + path, REG_EXPAND_SZ);
    Start();
    EXPECT_TRUE(IsChecked());
}

TEST_F(AutostartTest, AFailureTurnsTheMarkBackAndSaysSo) {
    HARBINET_SKIP_ON_REAL_DESKTOP("renames the Run key, with the entries of other programs");
    ASSERT_EQ(RegRenameKey(HKEY_CURRENT_USER, kRunKey, L"Run-away"), ERROR_SUCCESS);
    Click();
    const Dialog dialog(program_->Id(), L"Harbinet PRO");
    EXPECT_TRUE(dialog.IsThere());
    EXPECT_EQ(dialog.Message(), L"Autostart konnte nicht gesetzt werden.");
    EXPECT_FALSE(IsChecked());
    EXPECT_TRUE(dialog.Dismiss(IDOK));
    EXPECT_TRUE(program_->WaitForLog(L"AUTOSTART failed to update registry"));
    RegRenameKey(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run-away",
                 L"Run");
}

// The first shown window of this class below `parent`, or null.
HWND FindDescendant(HWND parent, const wchar_t* class_name) {
    struct Search {
        const wchar_t* class_name;
        HWND found;
    } search{class_name, nullptr};
    EnumChildWindows(
        parent,
        [](HWND child, LPARAM parameter) -> BOOL {
            auto& wanted = *reinterpret_cast<Search*>(parameter);
            wchar_t name[32] = {};
            GetClassNameW(child, name, 32);
            if (std::wcscmp(name, wanted.class_name) != 0 || !IsWindowVisible(child)) return TRUE;
            wanted.found = child;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

class WebRootTest : public SettingsTest {
protected:
    void SetUp() override {
        SettingsTest::SetUp();
        SetRegistryValue(kSettings, L"WebRootPath", kOther);
        Start();
    }
    // Back to the program's own folder.
    void Back() const { program_->Command(kBackButton); }
    static std::wstring Own() { return DataFolder() + L"\\files"; }
    std::wstring ChangedLine() const {
        return L"WEBROOT changed to: " + Own() + L" (share links cleared)";
    }
    std::size_t PositionOf(const std::wstring& message) const {
        const auto messages = program_->LogMessages();
        const auto found = std::ranges::find(messages.rbegin(), messages.rend(), message);
        return static_cast<std::size_t>(messages.rend() - found);
    }

    static inline const std::wstring kOther = ScratchFolder() + L"\\other root";
};

TEST_F(WebRootTest, BackPublishesTheDefaultFolderAndStoresIt) {
    EXPECT_EQ(program_->ControlText(kWebRootLabel), kOther);
    Back();
    EXPECT_EQ(program_->ControlText(kWebRootLabel), Own());
    EXPECT_EQ(RegistryValue(kSettings, L"WebRootPath"), Own());
    EXPECT_TRUE(program_->WaitForLog(ChangedLine()));
}

TEST_F(WebRootTest, ARunningServerStopsAndStartsAroundTheChange) {
    Back();
    EXPECT_TRUE(program_->WaitUntilListening());
    const std::wstring listening = L"SERVER  listening (HTTPS) on port " + std::to_wstring(Port());
    ASSERT_TRUE(WaitUntil([&] { return program_->CountLog(listening) == 2; }));
    EXPECT_LT(PositionOf(L"SERVER  stopping"), PositionOf(ChangedLine()));
    EXPECT_LT(PositionOf(ChangedLine()), PositionOf(listening));
    EXPECT_EQ(StatusOf(Get(Port(), "/")), "200");
}

TEST_F(WebRootTest, AStoppedServerStaysStopped) {
    program_->Command(kServerButton);
    Back();
    ASSERT_TRUE(program_->WaitForLog(ChangedLine()));
    EXPECT_FALSE(program_->IsListening());
    EXPECT_EQ(Get(Port(), "/"), "");
}

TEST_F(WebRootTest, AMissingFolderIsMade) {
    RemoveDirectoryW(Own().c_str());
    ASSERT_EQ(GetFileAttributesW(Own().c_str()), INVALID_FILE_ATTRIBUTES);
    Back();
    EXPECT_NE(GetFileAttributesW(Own().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(WebRootTest, ShareLinksAreDeadAfterwardsAndSessionsLive) {
    const std::wstring file = kOther + L"\\shared.txt";
    CloseHandle(CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    const std::string cookie = LogIn(Port(), WideToUtf8(program_->Pin()));
    ASSERT_NE(cookie, "");
    const std::string made = Get(Port(), "/api/share?path=shared.txt", cookie);
    const std::size_t begin = made.find("/s/");
    ASSERT_NE(begin, std::string::npos) << made;
    const std::string link = made.substr(begin, made.find('"', begin) - begin);
    EXPECT_EQ(StatusOf(Get(Port(), link)), "200");
    Back();
    ASSERT_TRUE(program_->WaitUntilListening());
    EXPECT_NE(StatusOf(Get(Port(), link)), "200");
    EXPECT_EQ(StatusOf(Get(Port(), "/api/list", cookie)), "200");
}

TEST_F(WebRootTest, AFolderPickedInTheDialogBecomesTheWebRoot) {
    const std::wstring picked = ScratchFolder() + L"\\picked";
    std::filesystem::create_directories(picked);
    program_->PostCommand(kWebRootButton);
    const Dialog picker(program_->Id(), L"Select Web Root Folder");
    ASSERT_TRUE(picker.IsThere());
    const HWND path = FindDescendant(picker.Window(), L"Edit");
    ASSERT_NE(path, nullptr);
    SendMessageW(path, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(picked.c_str()));
    EXPECT_TRUE(picker.Dismiss(IDOK));
    EXPECT_TRUE(WaitUntil([&] { return program_->ControlText(kWebRootLabel) == picked; }));
    EXPECT_EQ(RegistryValue(kSettings, L"WebRootPath"), picked);
    EXPECT_TRUE(program_->WaitForLog(L"WEBROOT changed to: " + picked + L" (share links cleared)"));
}

TEST_F(WebRootTest, ThePickerOpensWithItsTitleAndCancellingChangesNothing) {
    program_->LogWindow();
    WaitUntil([&] { return program_->CountLog(kPinLine) == 1; });
    const std::vector<std::wstring> log = program_->LogLines();
    program_->PostCommand(kWebRootButton);
    const Dialog picker(program_->Id(), L"Select Web Root Folder");
    ASSERT_TRUE(picker.IsThere());
    EXPECT_EQ(GetWindow(picker.Window(), GW_OWNER), program_->Window());
    EXPECT_TRUE(picker.Dismiss(IDCANCEL));
    EXPECT_EQ(program_->ControlText(kWebRootLabel), kOther);
    EXPECT_EQ(RegistryValue(kSettings, L"WebRootPath"), kOther);
    EXPECT_EQ(program_->LogLines(), log);
}

}  // namespace
}  // namespace harbinet::test
