// What the window says about the server, running and stopped, and the QR code of its link.
#include <gtest/gtest.h>

#include <algorithm>
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
        if (program_->IsListening() != running) program_->Command(kServerButton);
        if (running) program_->WaitUntilListening();
    }
    static std::vector<std::wstring> Status() { return Lines(program_->ControlText(kStatusEdit)); }
    // The number of the line that begins with `label`; past the end when there is none.
    static std::size_t Find(const std::vector<std::wstring>& lines, const std::wstring& label) {
        const auto found = std::ranges::find_if(
            lines, [&](const std::wstring& line) { return line.starts_with(label); });
        return static_cast<std::size_t>(found - lines.begin());
    }
    static std::wstring LineAt(const std::wstring& label, std::size_t further) {
        const std::vector<std::wstring> lines = Status();
        const std::size_t number = Find(lines, label) + further;
        return number < lines.size() ? lines[number] : L"(no such line)";
    }
    static std::wstring Line(const std::wstring& label) { return LineAt(label, 0); }
    static std::wstring LineAfter(const std::wstring& label) { return LineAt(label, 1); }
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
    EXPECT_EQ(program_->ControlText(kUrlLabel), L"URL:     https://" + Host() + port + L"/");
}

TEST_F(StatusTest, TheUrlIsAHyphenWhileTheServerIsStopped) {
    Run(false);
    EXPECT_EQ(program_->ControlText(kUrlLabel), L"URL:     -");
}

TEST_F(StatusTest, ThePinLabelStays) {
    Run(true);
    const std::wstring label = program_->ControlText(kPinLabel);
    EXPECT_EQ(label.substr(0, 10), L"PIN:      ");
    EXPECT_EQ(label.size(), 16U);
    Run(false);
    EXPECT_EQ(program_->ControlText(kPinLabel), label);
}

TEST_F(StatusTest, TheDriveIsALetterOrAHyphen) {
    EXPECT_EQ(program_->ControlText(kDriveLabel), IsElevated() ? L"Drive:   -" : L"Drive:   W");
}

TEST_F(StatusTest, TheWebRootStandsAlone) {
    EXPECT_EQ(program_->ControlText(kWebRootLabel), DataFolder() + L"\\files");
}

TEST_F(StatusTest, StateLine) {
    Run(true);
    EXPECT_EQ(Line(L"State:"), L"State:                  running");
    Run(false);
    EXPECT_EQ(Line(L"State:"), L"State:                  stopped");
}

TEST_F(StatusTest, IpLine) { EXPECT_EQ(Line(L"IP:"), L"IP:                      " + Host()); }

TEST_F(StatusTest, PortLine) {
    Run(true);
    EXPECT_EQ(Line(L"Port:"),
              IsElevated() ? L"Port:                   443" : L"Port:                   8443");
    Run(false);
    EXPECT_EQ(Line(L"Port:"), L"Port:                   -");
}

TEST_F(StatusTest, AdminLine) {
    EXPECT_EQ(Line(L"Admin:"), IsElevated()
                                   ? L"Admin:               yes (port 443 - No drive possible!)"
                                   : L"Admin:               no (port 8443)");
}

TEST_F(StatusTest, TlsLine) {
    Run(true);
    EXPECT_EQ(Line(L"TLS:"), L"TLS:                    enabled");
    // The context outlives a stop.
    Run(false);
    EXPECT_EQ(Line(L"TLS:"), L"TLS:                    enabled");
}

TEST_F(StatusTest, CertificateLines) {
    EXPECT_EQ(Line(L"   Cert:"), L"   Cert:                " + DataFolder() + L"\\server.crt");
    EXPECT_EQ(Line(L"   Key:"), L"   Key:                 " + DataFolder() + L"\\server.key");
}

TEST_F(StatusTest, WebRootLines) {
    EXPECT_EQ(Line(L"WEB Root:"), L"WEB Root:          " + DataFolder() + L"\\files");
    EXPECT_EQ(Line(L"WEB Root (D):"), L"WEB Root (D):     " + DataFolder() + L"\\files");
    EXPECT_EQ(LineAfter(L"WEB Root (D):"), L"");
}

TEST_F(StatusTest, CreditLines) {
    EXPECT_EQ(Line(L"Developer:"), L"Developer:            Harbinet");
    EXPECT_EQ(Line(L"Developer URL:"), L"Developer URL:      -");
    EXPECT_EQ(Line(L"Version:"), L"Version:              2.0");
    EXPECT_EQ(LineAfter(L"Version:"), L"");
}

TEST_F(StatusTest, AddressBlocks) {
    const std::vector<std::wstring> lines = Status();
    const std::size_t first = Find(lines, L"IPv4 Addresses:");
    ASSERT_GT(lines.size(), first + 3);
    EXPECT_EQ(lines[first], L"IPv4 Addresses:");
    EXPECT_EQ(lines[first + 1], L"-----------------------------");
    std::size_t next = first + 2;
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
    EXPECT_TRUE(program_->ControlText(kStatusEdit).ends_with(L"\r\n"));
}

// A refresh is what a message asks for; the text is made anew each time.
TEST_F(StatusTest, APostedRefreshRestoresTheTexts) {
    Run(true);
    const std::wstring url = program_->ControlText(kUrlLabel);
    SetWindowTextW(program_->Window(), L"changed");
    SendMessageW(program_->Control(kUrlLabel), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"changed"));
    PostMessageW(program_->Window(), WM_APP + 10, 0, 0);
    EXPECT_TRUE(WaitUntil([&] { return program_->ControlText(kUrlLabel) == url; }));
    EXPECT_EQ(TextOf(program_->Window()), L"HTTPS Harbinet PRO");
}

class AddressTest : public StatusTest {
protected:
    static HWND Box() { return program_->Control(kAddressBox); }
    static LRESULT Count() { return SendMessageW(Box(), CB_GETCOUNT, 0, 0); }
    static std::wstring Item(LRESULT index) {
        wchar_t text[128] = {};
        SendMessageW(Box(), CB_GETLBTEXT, static_cast<WPARAM>(index),
                     reinterpret_cast<LPARAM>(text));
        return text;
    }
    static void Notify(int notification) {
        SendMessageW(program_->Window(), WM_COMMAND, MAKEWPARAM(kAddressBox, notification),
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
    EXPECT_EQ(Line(L"IP:"), L"IP:                      " + Item(last));
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

// An address that is in the list although no adapter has it (any more).
class VanishedAddressTest : public AddressTest {
protected:
    void SetUp() override {}
};

TEST_F(VanishedAddressTest, GivesWayToTheAutomaticOneEverywhere) {
    Run(true);
    const std::wstring automatic = program_->Url();
    const LRESULT gone =
        SendMessageW(Box(), CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(L"192.0.2.77"));
    Select(gone);
    ASSERT_EQ(program_->Url().substr(8, 10), L"192.0.2.77");
    Notify(CBN_DROPDOWN);
    EXPECT_EQ(SendMessageW(Box(), CB_GETCURSEL, 0, 0), 0);
    EXPECT_EQ(program_->Url(), automatic);
    // "https://" comes before it, a port (but for 443) or a slash behind it.
    EXPECT_EQ(Line(L"IP:"), L"IP:                      " +
                                automatic.substr(8, automatic.find_first_of(L":/", 8) - 8));
}

}  // namespace
}  // namespace harbinet::test
