// How the program comes up, is refused a second time, and goes.
#include <windows.h>

#include <gtest/gtest.h>
#include <shellapi.h>

#include <algorithm>
#include <regex>

#include "app/encoding.h"
#include "https_client.h"
#include "program.h"
#include "tray_watcher.h"

namespace harbinet::test {
namespace {

std::vector<std::wstring> StartMessages(Program& program) {
    program.WaitUntilListening();
    program.WaitForLog(L"SERVER  listening (HTTPS) on port " + std::to_wstring(ExpectedPort()));
    return program.LogMessages();
}

TEST(StartTest, TheLogBeginsWithItsLinesInOrder) {
    Program program;
    const std::wstring base = DataFolder();
    const std::vector<std::wstring> messages = StartMessages(program);
    ASSERT_GE(messages.size(), 8U);
    EXPECT_EQ(messages[0], L"AUTH    Master PIN loaded (6 digits)");
    EXPECT_EQ(messages[1], L"APP     start");
    EXPECT_EQ(messages[2], L"PATH    base=" + base);
    EXPECT_EQ(messages[3], L"PATH    files=" + base + L"\\files");
    EXPECT_EQ(messages[4], L"AUTH    PIN=" + program.Pin());
    EXPECT_EQ(messages[5], L"SHARE   secret initialized (links valid until app restart)");
    EXPECT_EQ(messages[6], L"TLS     cert=" + base + L"\\server.crt");
    EXPECT_EQ(messages[7], L"TLS     key =" + base + L"\\server.key");
}

TEST(StartTest, TheAutomaticAddressIsLoggedTwiceOrNotAtAll) {
    Program program;
    std::vector<std::wstring> addresses;
    for (const std::wstring& message : StartMessages(program)) {
        if (message.starts_with(L"NET     cached-ip=")) addresses.push_back(message);
    }
    if (!addresses.empty()) {
        ASSERT_EQ(addresses.size(), 2U);
        EXPECT_EQ(addresses[0], addresses[1]);
        EXPECT_EQ(program.Url().find(addresses[0].substr(18)), 8U);
    } else {
        EXPECT_EQ(program.Url().find(L"localhost"), 8U);
    }
}

TEST(StartTest, TheServerListensAsSoonAsTheWindowExists) {
    Program program;
    EXPECT_TRUE(program.WaitForLog(L"SERVER  listening (HTTPS) on port " +
                                   std::to_wstring(ExpectedPort())));
    EXPECT_EQ(StatusOf(Get(ExpectedPort(), "/")), "200");
}

TEST(StartTest, EachLogLineBeginsWithItsTimeAndTwoBlanks) {
    Program program;
    StartMessages(program);
    const std::wregex time(LR"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}  [A-Z].*)");
    for (const std::wstring& line : program.LogLines()) {
        EXPECT_TRUE(std::regex_match(line, time)) << WideToUtf8(line);
    }
}

TEST(StartTest, ThePinIsNewAndTheMasterPinStays) {
    std::wstring pins[2];
    std::optional<std::wstring> master_pins[2];
    for (int i = 0; i < 2; ++i) {
        Program program;
        pins[i] = program.Pin();
        master_pins[i] = RegistryValue(kSettings, L"MasterPin6");
    }
    EXPECT_TRUE(std::regex_match(pins[0], std::wregex(LR"(\d{6})"))) << WideToUtf8(pins[0]);
    EXPECT_NE(pins[0], pins[1]);
    ASSERT_TRUE(master_pins[0]);
    EXPECT_EQ(master_pins[0], master_pins[1]);
}

struct StoredPin {
    const char* name;
    std::optional<std::wstring> stored;
    DWORD type;
    bool kept;
};

void PrintTo(const StoredPin& pin, std::ostream* stream) { *stream << pin.name; }

class StoredMasterPinTest : public testing::TestWithParam<StoredPin> {};

TEST_P(StoredMasterPinTest, IsKeptOrReplacedInTheRegistry) {
    DeleteRegistryValue(kSettings, L"MasterPin6");
    if (GetParam().stored) {
        SetRegistryValue(kSettings, L"MasterPin6", *GetParam().stored, GetParam().type);
    }
    Program program;
    program.WaitUntilListening();
    const std::optional<std::wstring> now = RegistryValue(kSettings, L"MasterPin6");
    ASSERT_TRUE(now);
    EXPECT_TRUE(std::regex_match(*now, std::wregex(LR"(\d{6})"))) << WideToUtf8(*now);
    EXPECT_EQ(now == GetParam().stored, GetParam().kept);
    EXPECT_EQ(program.LogMessages().front(), L"AUTH    Master PIN loaded (6 digits)");
    EXPECT_NE(LogIn(ExpectedPort(), WideToUtf8(*now)), "");
}

INSTANTIATE_TEST_SUITE_P(, StoredMasterPinTest,
                         testing::Values(StoredPin{"Missing", std::nullopt, REG_SZ, false},
                                         StoredPin{"Empty", L"", REG_SZ, false},
                                         StoredPin{"FiveDigits", L"12345", REG_SZ, false},
                                         StoredPin{"SevenDigits", L"1234567", REG_SZ, false},
                                         StoredPin{"OneLetter", L"12345a", REG_SZ, false},
                                         StoredPin{"OtherType", L"123456", REG_EXPAND_SZ, false},
                                         StoredPin{"LeadingZeros", L"000420", REG_SZ, true},
                                         StoredPin{"SixDigits", L"918273", REG_SZ, true}),
                         [](const auto& pin) { return std::string(pin.param.name); });

struct StoredRoot {
    const char* name;
    std::wstring stored;
    DWORD type;
    bool taken;
};

void PrintTo(const StoredRoot& root, std::ostream* stream) { *stream << root.name; }

class StoredWebRootTest : public testing::TestWithParam<StoredRoot> {
protected:
    void TearDown() override { DeleteRegistryValue(kSettings, L"WebRootPath"); }
};

TEST_P(StoredWebRootTest, IsTakenOrLeft) {
    SetRegistryValue(kSettings, L"WebRootPath", GetParam().stored, GetParam().type);
    Program program;
    program.WaitUntilListening();
    const std::wstring expected = GetParam().taken ? GetParam().stored : DataFolder() + L"\\files";
    EXPECT_EQ(program.ControlText(kWebRootLabel), expected);
    EXPECT_EQ(program.LogMessages()[3], L"PATH    files=" + expected);
    EXPECT_NE(GetFileAttributesW(expected.c_str()), INVALID_FILE_ATTRIBUTES);
    // A path that was not taken stays in the registry as it was.
    if (GetParam().type == REG_SZ) {
        EXPECT_EQ(RegistryValue(kSettings, L"WebRootPath"), GetParam().stored);
    }
}

INSTANTIATE_TEST_SUITE_P(
    , StoredWebRootTest,
    testing::Values(StoredRoot{"NewFolder", ScratchFolder() + L"\\deep\\folder", REG_SZ, true},
                    StoredRoot{"ExpandType", ScratchFolder() + L"\\expanded", REG_EXPAND_SZ, false},
                    StoredRoot{"TooLong", L"C:\\" + std::wstring(297, L'x'), REG_SZ, false},
                    StoredRoot{"Empty", L"", REG_SZ, false}),
    [](const auto& root) { return std::string(root.param.name); });

struct CommandLine {
    const char* name;
    const wchar_t* arguments;
    bool hidden;
};

void PrintTo(const CommandLine& line, std::ostream* stream) { *stream << line.name; }

class CommandLineTest : public testing::TestWithParam<CommandLine> {};

TEST_P(CommandLineTest, DecidesWhetherTheWindowShows) {
    TrayWatcher tray;
    Program program(GetParam().arguments);
    program.WaitUntilListening();
    if (!tray.Watches()) {
        // Answered by the message loop, which begins after the window was shown or not.
        program.Command(0);
        EXPECT_EQ(IsShown(program.Window()), !GetParam().hidden);
        return;
    }
    // Showing is the last step of the start.
    if (!GetParam().hidden) WaitUntil([&] { return IsShown(program.Window()); });
    if (GetParam().hidden) WaitUntil([&] { return !tray.Calls(NIM_ADD).empty(); });
    EXPECT_EQ(IsShown(program.Window()), !GetParam().hidden);
    EXPECT_EQ(tray.Calls(NIM_ADD).size(), GetParam().hidden ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    , CommandLineTest,
    testing::Values(CommandLine{"None", L"", false}, CommandLine{"Autostart", L"--autostart", true},
                    CommandLine{"InsideALongerArgument", L"/x--autostart=yes", true},
                    CommandLine{"AmongOthers", L"one \"two --autostart three\"", true},
                    CommandLine{"OtherCase", L"--Autostart", false},
                    CommandLine{"OneHyphen", L"-autostart", false},
                    CommandLine{"Anything", L"/hide --auto start", false}),
    [](const auto& line) { return std::string(line.param.name); });

TEST(SecondInstanceTest, IsToldSoAndEndsWithoutTouchingTheFirst) {
    Program first;
    first.WaitUntilListening();
    WaitUntil([&] { return first.CountLog(L"AUTH    Master PIN updated (registry)") == 1; });
    const std::vector<std::wstring> log = first.LogLines();
    DWORD id = 0;
    const UniqueKernelHandle second = StartProcess(L"", id);
    const Dialog dialog(id, L"HTTPS Harbinet");
    ASSERT_TRUE(dialog.IsThere());
    EXPECT_EQ(dialog.Message(),
              L"The application HTTP(S) Harbinet PRO is already running.\r\n\r\n"
              L"Please close one of the applications.\r\n");
    EXPECT_EQ(FindTopWindow(id, L"HTTPHarbinet_Main", nullptr), nullptr);
    // Windows closes it after three seconds.
    EXPECT_TRUE(dialog.Dismiss(IDOK));
    ASSERT_EQ(WaitForSingleObject(second.Get(), 10'000), WAIT_OBJECT_0);
    DWORD code = 99;
    GetExitCodeProcess(second.Get(), &code);
    EXPECT_EQ(code, 0U);
    EXPECT_EQ(first.LogLines(), log);
    EXPECT_EQ(StatusOf(Get(ExpectedPort(), "/")), "200");
}

TEST(SecondInstanceTest, IsRefusedEvenAfterTheLogWindowWasClosed) {
    Program first;
    SendMessageW(first.LogWindow(), WM_CLOSE, 0, 0);
    DWORD id = 0;
    const UniqueKernelHandle second = StartProcess(L"--autostart", id);
    const Dialog dialog(id, L"HTTPS Harbinet");
    ASSERT_TRUE(dialog.IsThere());
    EXPECT_TRUE(dialog.Dismiss(IDOK));
    EXPECT_EQ(WaitForSingleObject(second.Get(), 10'000), WAIT_OBJECT_0);
}

// The mutex of a copy that runs elevated, or as another user: nobody else may open it.
class ForeignMutex {
public:
    ForeignMutex() {
        InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION);
        InitializeAcl(&nobody_, sizeof nobody_, ACL_REVISION);
        SetSecurityDescriptorDacl(&descriptor_, TRUE, &nobody_, FALSE);
        SECURITY_ATTRIBUTES attributes{sizeof attributes, &descriptor_, FALSE};
        mutex_.Reset(CreateMutexW(&attributes, TRUE, L"Global\\HTTPSHarbinet_SingleInstance"));
    }
    bool IsClosedToOthers() const {
        const UniqueKernelHandle opened(
            CreateMutexW(nullptr, TRUE, L"Global\\HTTPSHarbinet_SingleInstance"));
        return mutex_ && !opened && GetLastError() == ERROR_ACCESS_DENIED;
    }

private:
    SECURITY_DESCRIPTOR descriptor_ = {};
    ACL nobody_ = {};
    UniqueKernelHandle mutex_;
};

TEST(SecondInstanceTest, IsRefusedWhenTheFirstRunsUnderAnotherToken) {
    const ForeignMutex mutex;
    ASSERT_TRUE(mutex.IsClosedToOthers());
    DWORD id = 0;
    const UniqueKernelHandle second = StartProcess(L"", id);
    const Dialog dialog(id, L"HTTPS Harbinet");
    ASSERT_TRUE(dialog.IsThere());
    EXPECT_EQ(dialog.Message(),
              L"The application HTTP(S) Harbinet PRO is already running.\r\n\r\n"
              L"Please close one of the applications.\r\n");
    EXPECT_EQ(FindTopWindow(id, L"HTTPHarbinet_Main", nullptr), nullptr);
    EXPECT_TRUE(dialog.Dismiss(IDOK));
    ASSERT_EQ(WaitForSingleObject(second.Get(), 10'000), WAIT_OBJECT_0);
    DWORD code = 99;
    GetExitCodeProcess(second.Get(), &code);
    EXPECT_EQ(code, 0U);
}

TEST(EndTest, ClosingEndsTheProcessWithCodeZeroAndLeavesNothing) {
    Program program;
    program.WaitUntilListening();
    program.LogWindow();
    EXPECT_EQ(program.Close(), 0U);
    EXPECT_FALSE(IsWindow(program.Window()));
    EXPECT_EQ(FindTopWindow(program.Id(), L"HTTPHarbinet_LogWin", nullptr), nullptr);
    EXPECT_EQ(Get(ExpectedPort(), "/"), "");
}

TEST(EndTest, TheTrayMenusCloseEndsTheProcessToo) {
    Program program;
    program.WaitUntilListening();
    program.PostCommand(kTrayClose);
    EXPECT_EQ(program.WaitForExit(), 0U);
    EXPECT_EQ(Get(ExpectedPort(), "/"), "");
}

TEST(EndTest, AStoppedServerDoesNotKeepTheProgramFromEnding) {
    Program program;
    program.WaitUntilListening();
    program.Command(kServerButton);
    EXPECT_EQ(program.Close(), 0U);
}

TEST(EndTest, AfterTheEndTheProgramStartsAgain) {
    {
        Program program;
        program.WaitUntilListening();
        EXPECT_EQ(program.Close(), 0U);
    }
    Program again;
    EXPECT_TRUE(again.WaitUntilListening());
}

TEST(ServerButtonTest, StopsAndStartsOnTheSamePort) {
    Program program;
    program.WaitUntilListening();
    const std::wstring url = program.Url();
    program.Command(kServerButton);
    EXPECT_EQ(program.ControlText(kUrlLabel), L"URL:     -");
    EXPECT_EQ(Get(ExpectedPort(), "/"), "");
    EXPECT_TRUE(program.WaitForLog(L"SERVER  stopping"));
    program.Command(kServerButton);
    ASSERT_TRUE(program.WaitUntilListening());
    EXPECT_EQ(program.Url(), url);
    EXPECT_EQ(StatusOf(Get(ExpectedPort(), "/")), "200");
    EXPECT_TRUE(WaitUntil([&] {
        return program.CountLog(L"SERVER  listening (HTTPS) on port " +
                                std::to_wstring(ExpectedPort())) == 2;
    }));
}

}  // namespace
}  // namespace harbinet::test
