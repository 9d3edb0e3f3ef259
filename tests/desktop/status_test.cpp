// What the window says about the server, running and stopped, and the QR code of its link.
#include <gtest/gtest.h>

#include <memory>

#include "program.h"

namespace harbinet::test {
namespace {

std::vector<std::wstring> Lines(const std::wstring& text) {
    std::vector<std::wstring> lines;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find(L"\r\n", begin)) != std::wstring::npos;
         begin = end + 2) {
        lines.push_back(text.substr(begin, end - begin));
    }
    return lines;
}

class StatusTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        program_ = std::make_unique<Program>();
        program_->WaitUntilListening();
    }
    static void TearDownTestSuite() { program_.reset(); }

    // Leaves the server as each test wants it.
    static void Run(bool running) {
        if (program_->IsListening() != running) program_->Command(1001);
        if (running) program_->WaitUntilListening();
    }
    static std::vector<std::wstring> Status() { return Lines(program_->ControlText(1201)); }
    static std::wstring Line(std::size_t number) {
        const std::vector<std::wstring> lines = Status();
        return number < lines.size() ? lines[number] : L"(no such line)";
    }
    static std::wstring Host() {
        Run(true);
        const std::wstring url = program_->Url();
        return url.substr(8, url.find_first_of(L":/", 8) - 8);
    }

    static std::unique_ptr<Program> program_;
};
std::unique_ptr<Program> StatusTest::program_;

TEST_F(StatusTest, TheTitleNamesTheProtocol) {
    EXPECT_EQ(TextOf(program_->Window()), L"HTTPS Harbinet PRO");
}

TEST_F(StatusTest, TheUrlNamesHostAndPort) {
    const std::wstring port = IsElevated() ? L"" : L":8443";
    EXPECT_EQ(program_->ControlText(1102), L"URL:     https://" + Host() + port + L"/");
}

TEST_F(StatusTest, TheUrlIsAHyphenWhileTheServerIsStopped) {
    Run(false);
    EXPECT_EQ(program_->ControlText(1102), L"URL:     -");
}

TEST_F(StatusTest, ThePinLabelStays) {
    Run(true);
    const std::wstring label = program_->ControlText(1103);
    EXPECT_EQ(label.substr(0, 10), L"PIN:      ");
    EXPECT_EQ(label.size(), 16U);
    Run(false);
    EXPECT_EQ(program_->ControlText(1103), label);
}

TEST_F(StatusTest, TheDriveIsALetterOrAHyphen) {
    EXPECT_EQ(program_->ControlText(1104), IsElevated() ? L"Drive:   -" : L"Drive:   W");
}

TEST_F(StatusTest, TheWebRootStandsAlone) {
    EXPECT_EQ(program_->ControlText(1112), DataFolder() + L"\\files");
}

TEST_F(StatusTest, StateLine) {
    Run(true);
    EXPECT_EQ(Line(0), L"State:                  running");
    Run(false);
    EXPECT_EQ(Line(0), L"State:                  stopped");
}

TEST_F(StatusTest, IpLine) { EXPECT_EQ(Line(1), L"IP:                      " + Host()); }

TEST_F(StatusTest, PortLine) {
    Run(true);
    EXPECT_EQ(Line(2),
              IsElevated() ? L"Port:                   443" : L"Port:                   8443");
    Run(false);
    EXPECT_EQ(Line(2), L"Port:                   -");
}

TEST_F(StatusTest, AdminLine) {
    EXPECT_EQ(Line(3), IsElevated() ? L"Admin:               yes (port 443 - No drive possible!)"
                                    : L"Admin:               no (port 8443)");
}

TEST_F(StatusTest, TlsLine) {
    Run(true);
    EXPECT_EQ(Line(4), L"TLS:                    enabled");
    // The context outlives a stop.
    Run(false);
    EXPECT_EQ(Line(4), L"TLS:                    enabled");
}

TEST_F(StatusTest, CertificateLines) {
    EXPECT_EQ(Line(5), L"   Cert:                " + DataFolder() + L"\\server.crt");
    EXPECT_EQ(Line(6), L"   Key:                 " + DataFolder() + L"\\server.key");
}

TEST_F(StatusTest, WebRootLines) {
    EXPECT_EQ(Line(7), L"WEB Root:          " + DataFolder() + L"\\files");
    EXPECT_EQ(Line(8), L"WEB Root (D):     " + DataFolder() + L"\\files");
    EXPECT_EQ(Line(9), L"");
}

TEST_F(StatusTest, CreditLines) {
    EXPECT_EQ(Line(10), L"Developer:            Harbinet");
    EXPECT_EQ(Line(11), L"Developer URL:      -");
    EXPECT_EQ(Line(12), L"Version:              2.0");
    EXPECT_EQ(Line(13), L"");
}

TEST_F(StatusTest, AddressBlocks) {
    const std::vector<std::wstring> lines = Status();
    ASSERT_GT(lines.size(), 17U);
    EXPECT_EQ(lines[14], L"IPv4 Addresses:");
    EXPECT_EQ(lines[15], L"-----------------------------");
    std::size_t next = 16;
    while (next < lines.size() && !lines[next].empty()) {
        EXPECT_FALSE(lines[next].starts_with(L"169.254."));
        EXPECT_EQ(lines[next].find_first_not_of(L"0123456789."), std::wstring::npos);
        ++next;
    }
    ASSERT_GT(lines.size(), next + 2);
    EXPECT_EQ(lines[next + 1], L"IPv6 Addresses:");
    EXPECT_EQ(lines[next + 2], L"------------------------------------------------");
    for (std::size_t i = next + 3; i < lines.size(); ++i) {
        EXPECT_NE(lines[i].find(L':'), std::wstring::npos);
    }
}

TEST_F(StatusTest, TheTextEndsWithALineEnd) {
    EXPECT_TRUE(program_->ControlText(1201).ends_with(L"\r\n"));
}

// A refresh is what a message asks for; the text is made anew each time.
TEST_F(StatusTest, APostedRefreshRestoresTheTexts) {
    Run(true);
    const std::wstring url = program_->ControlText(1102);
    SetWindowTextW(program_->Window(), L"changed");
    SendMessageW(program_->Control(1102), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"changed"));
    PostMessageW(program_->Window(), WM_APP + 10, 0, 0);
    EXPECT_TRUE(WaitUntil([&] { return program_->ControlText(1102) == url; }));
    EXPECT_EQ(TextOf(program_->Window()), L"HTTPS Harbinet PRO");
}

class AddressTest : public StatusTest {
protected:
    static HWND Box() { return program_->Control(1015); }
    static LRESULT Count() { return SendMessageW(Box(), CB_GETCOUNT, 0, 0); }
    static std::wstring Item(LRESULT index) {
        wchar_t text[128] = {};
        SendMessageW(Box(), CB_GETLBTEXT, static_cast<WPARAM>(index),
                     reinterpret_cast<LPARAM>(text));
        return text;
    }
    static void Notify(int notification) {
        SendMessageW(program_->Window(), WM_COMMAND, MAKEWPARAM(1015, notification),
                     reinterpret_cast<LPARAM>(Box()));
    }
    static void Select(LRESULT index) {
        SendMessageW(Box(), CB_SETCURSEL, static_cast<WPARAM>(index), 0);
        Notify(CBN_SELCHANGE);
    }
    void SetUp() override {
        if (Count() < 2) GTEST_SKIP() << "this computer has no IPv4 address but loopback";
    }
    void TearDown() override { Select(0); }
};

TEST_F(AddressTest, AChosenAddressStandsInUrlAndStatusAndAutoTakesItBack) {
    Run(true);
    const std::wstring automatic = program_->Url();
    const LRESULT last = Count() - 1;
    Select(last);
    EXPECT_EQ(program_->Url().substr(8, Item(last).size()), Item(last));
    EXPECT_EQ(Line(1), L"IP:                      " + Item(last));
    Select(0);
    EXPECT_EQ(program_->Url(), automatic);
}

TEST_F(AddressTest, DroppingTheListKeepsTheChoice) {
    const LRESULT last = Count() - 1;
    const std::wstring chosen = Item(last);
    Select(last);
    Notify(CBN_DROPDOWN);
    EXPECT_EQ(SendMessageW(Box(), CB_GETCURSEL, 0, 0), last);
    EXPECT_EQ(Item(last), chosen);
    EXPECT_EQ(Item(0), L"(auto)");
}

TEST_F(AddressTest, OtherNotificationsChangeNothing) {
    Run(true);
    const std::wstring before = program_->Url();
    SendMessageW(Box(), CB_SETCURSEL, 1, 0);
    for (const int notification : {CBN_KILLFOCUS, CBN_SETFOCUS, CBN_CLOSEUP}) Notify(notification);
    EXPECT_EQ(program_->Url(), before);
}

TEST_F(AddressTest, ChoosingAnAddressLeavesTheServerAlone) {
    Run(true);
    const std::size_t stops = program_->CountLog(L"SERVER  stopping");
    Select(1);
    Select(0);
    EXPECT_EQ(program_->CountLog(L"SERVER  stopping"), stops);
    EXPECT_TRUE(program_->IsListening());
}

}  // namespace
}  // namespace harbinet::test
