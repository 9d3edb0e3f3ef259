#include "ui/texts.h"

#include <gtest/gtest.h>

namespace harbinet {
namespace {

StatusSnapshot Running() {
    StatusSnapshot status;
    status.running = true;
    status.port = 8443;
    status.tls_loaded = true;
    status.host = L"192.168.1.20";
    status.pin = L"012345";
    status.drive = L"W:";
    status.web_root = L"D:\\Photos";
    status.certificate_file = L"C:\\Users\\Ann\\AppData\\Local\\Harbinet\\server.crt";
    status.key_file = L"C:\\Users\\Ann\\AppData\\Local\\Harbinet\\server.key";
    status.default_web_root = L"C:\\Users\\Ann\\AppData\\Local\\Harbinet\\files";
    status.address_lines = {L"Ethernet | IPv4 192.168.1.20", L"Ethernet | IPv6 fe80::1%7",
                            L"Wi-Fi | IPv4 169.254.10.1",    L"Wi-Fi | IPv6 fd00::2",
                            L"Wi-Fi | IPv4 10.0.0.7",        L"Odd",
                            L"Spare | IPv4 0.0.0.0"};
    return status;
}

StatusSnapshot Stopped() {
    StatusSnapshot status = Running();
    status.running = false;
    status.port = 0;
    return status;
}

// The line of `text` that begins with `start`, without its end.
std::wstring LineOf(const std::wstring& text, std::wstring_view start) {
    const std::size_t begin = text.find(start);
    if (begin == std::wstring::npos) return L"(no such line)";
    return text.substr(begin, text.find(L"\r\n", begin) - begin);
}

TEST(TitleTest, TheLogWindowTellsHowManyLinesAreKept) {
    EXPECT_EQ(LogWindowTitle(), L"HTTP.log (last 500 entries)");
}

TEST(PortTest, TheListeningPortIsShownElseTheOneAStartWouldOpen) {
    EXPECT_EQ(ShownPort(8443, false), 8443);
    EXPECT_EQ(ShownPort(443, true), 443);
    EXPECT_EQ(ShownPort(0, false), 8443);
    EXPECT_EQ(ShownPort(0, true), 443);
    EXPECT_EQ(ShownPort(8443, true), 8443);
}

TEST(LinkTest, Port443GoesWithoutSaying) {
    EXPECT_EQ(ServerAddress(L"10.0.0.7", 443), L"https://10.0.0.7");
    EXPECT_EQ(ServerAddress(L"10.0.0.7", 8443), L"https://10.0.0.7:8443");
    EXPECT_EQ(ServerAddress(L"localhost", 4430), L"https://localhost:4430");
}

TEST(LinkTest, TheAutoLoginLinkCarriesThePin) {
    EXPECT_EQ(AutoLoginLink(L"10.0.0.7", 8443, L"000123"),
              L"https://10.0.0.7:8443/auto?pin=000123");
    EXPECT_EQ(AutoLoginLink(L"10.0.0.7", 443, L"999999"), L"https://10.0.0.7/auto?pin=999999");
}

TEST(LabelTest, TheUrlEndsWithASlash) {
    StatusSnapshot status = Running();
    EXPECT_EQ(UrlLabel(status), L"URL:     https://192.168.1.20:8443/");
    status.port = 443;
    EXPECT_EQ(UrlLabel(status), L"URL:     https://192.168.1.20/");
}

TEST(LabelTest, TheUrlIsAHyphenUnlessTheServerRunsAndListens) {
    StatusSnapshot status = Running();
    status.running = false;
    EXPECT_EQ(UrlLabel(status), L"URL:     -");
    status.running = true;
    status.port = 0;
    EXPECT_EQ(UrlLabel(status), L"URL:     -");
}

TEST(LabelTest, ThePinFollowsSixBlanks) {
    EXPECT_EQ(PinLabel(L"000123"), L"PIN:      000123");
    EXPECT_EQ(PinLabel(L""), L"PIN:      ");
}

TEST(LabelTest, TheDriveIsOneLetterOrAHyphen) {
    EXPECT_EQ(DriveLabel(L"W:"), L"Drive:   W");
    EXPECT_EQ(DriveLabel(L""), L"Drive:   -");
}

TEST(StatusTextTest, EveryLineOfARunningServer) {
    EXPECT_EQ(BuildStatusText(Running()),
              L"State:                  running\r\n"
              L"IP:                      192.168.1.20\r\n"
              L"Port:                   8443\r\n"
              L"Admin:               no (port 8443)\r\n"
              L"TLS:                    enabled\r\n"
              L"   Cert:                C:\\Users\\Ann\\AppData\\Local\\Harbinet\\server.crt\r\n"
              L"   Key:                 C:\\Users\\Ann\\AppData\\Local\\Harbinet\\server.key\r\n"
              L"WEB Root:          D:\\Photos\r\n"
              L"WEB Root (D):     C:\\Users\\Ann\\AppData\\Local\\Harbinet\\files\r\n"
              L"\r\n"
              L"Developer:            Harbinet\r\n"
              L"Developer URL:      -\r\n"
              L"Version:              2.0\r\n"
              L"\r\n"
              L"IPv4 Addresses:\r\n"
              L"-----------------------------\r\n"
              L"192.168.1.20\r\n"
              L"10.0.0.7\r\n"
              L"0.0.0.0\r\n"
              L"\r\n"
              L"IPv6 Addresses:\r\n"
              L"------------------------------------------------\r\n"
              L"fe80::1%7\r\n"
              L"fd00::2\r\n");
}

TEST(StatusTextTest, AStoppedServerHasNoPort) {
    const std::wstring text = BuildStatusText(Stopped());
    EXPECT_TRUE(
        text.starts_with(L"State:                  stopped\r\n"
                         L"IP:                      192.168.1.20\r\n"
                         L"Port:                   -\r\n"));
}

TEST(StatusTextTest, WithoutAHostTheAddressIsAHyphen) {
    StatusSnapshot status = Running();
    status.host.clear();
    EXPECT_EQ(LineOf(BuildStatusText(status), L"IP:"), L"IP:                      -");
}

TEST(StatusTextTest, AnAdministratorHasPort443AndNoDrive) {
    StatusSnapshot status = Running();
    status.is_administrator = true;
    status.port = 443;
    const std::wstring text = BuildStatusText(status);
    EXPECT_EQ(LineOf(text, L"Admin:"), L"Admin:               yes (port 443 - No drive possible!)");
    EXPECT_EQ(LineOf(text, L"Port:"), L"Port:                   443");
}

TEST(StatusTextTest, WithoutAContextTlsIsNotLoaded) {
    StatusSnapshot status = Running();
    status.tls_loaded = false;
    EXPECT_EQ(LineOf(BuildStatusText(status), L"TLS:"), L"TLS:                    not loaded");
}

TEST(StatusTextTest, WithoutAddressesTheHeadingsStayAlone) {
    StatusSnapshot status = Running();
    status.address_lines.clear();
    EXPECT_TRUE(
        BuildStatusText(status).ends_with(L"\r\n\r\n"
                                          L"IPv4 Addresses:\r\n"
                                          L"-----------------------------\r\n"
                                          L"\r\n"
                                          L"IPv6 Addresses:\r\n"
                                          L"------------------------------------------------\r\n"));
}

TEST(StatusTextTest, LinkLocalIpv6AddressesStay) {
    StatusSnapshot status = Running();
    status.address_lines = {L"A | IPv6 169.254.0.1", L"A | IPv4 169.254.0.2",
                            L"A | IPv4 1.169.254.3"};
    const std::wstring text = BuildStatusText(status);
    EXPECT_NE(text.find(L"\r\n169.254.0.1\r\n"), std::wstring::npos);
    EXPECT_EQ(text.find(L"169.254.0.2"), std::wstring::npos);
    EXPECT_NE(text.find(L"\r\n1.169.254.3\r\n"), std::wstring::npos);
}

TrayTip RunningTip() { return {true, 8443, false, L"192.168.1.20", L"012345", L"W:"}; }

TEST(TrayTipTest, ARunningServerShowsAddressPinAndDrive) {
    EXPECT_EQ(BuildTrayTip(RunningTip()),
              L"Harbinet PRO\r\n"
              L"\r\n"
              L"URL:            https://192.168.1.20:8443\r\n"
              L"PIN:             012345\r\n"
              L"Drive:          W:");
}

TEST(TrayTipTest, AStoppedServerSaysSo) {
    TrayTip tip = RunningTip();
    tip.running = false;
    tip.drive.clear();
    EXPECT_EQ(BuildTrayTip(tip),
              L"Harbinet PRO\r\n"
              L"\r\n"
              L"URL:            stopped\r\n"
              L"PIN:             012345\r\n"
              L"Drive:          -");
}

TEST(TrayTipTest, WithoutAHostItNamesLocalhost) {
    TrayTip tip = RunningTip();
    tip.host.clear();
    EXPECT_EQ(LineOf(BuildTrayTip(tip), L"URL:"), L"URL:            https://localhost:8443");
}

TEST(TrayTipTest, BeforeThePortIsKnownTheUsualOneStands) {
    TrayTip tip = RunningTip();
    tip.port = 0;
    EXPECT_EQ(LineOf(BuildTrayTip(tip), L"URL:"), L"URL:            https://192.168.1.20:8443");
    tip.is_administrator = true;
    EXPECT_EQ(LineOf(BuildTrayTip(tip), L"URL:"), L"URL:            https://192.168.1.20");
}

TEST(ExplorerFailureTest, TheMessageNamesTheTargetAndKeepsItsTwoOddLetters) {
    const std::wstring message = ExplorerFailureMessage(L"W:\\");
    EXPECT_EQ(message, std::wstring(L"Explorer konnte nicht ge") + wchar_t{0xC3} + wchar_t{0xB6} +
                           L"ffnet werden.\r\n\r\nPath:\r\nW:\\");
}

TEST(MasterPinFieldTest, OnlyDigitsStay) {
    EXPECT_EQ(OnlyDigits(L"12a3"), L"123");
    EXPECT_EQ(OnlyDigits(L"123456"), L"123456");
    EXPECT_EQ(OnlyDigits(L""), L"");
    EXPECT_EQ(OnlyDigits(L"abc"), L"");
    EXPECT_EQ(OnlyDigits(L" 1/2:3\r\n"), L"123");
    // Full-width and Arabic digits are none.
    EXPECT_EQ(OnlyDigits(L"1\uFF12\u06633"), L"13");
}

TEST(AutostartTest, TheCommandQuotesThePath) {
    EXPECT_EQ(AutostartCommand(L"C:\\Program Files\\Harbinet.exe"),
              L"\"C:\\Program Files\\Harbinet.exe\" --autostart");
}

TEST(TitleTest, TheWindowNamesTheProtocol) {
    EXPECT_STREQ(kMainWindowTitle, L"HTTPS Harbinet PRO");
}

TEST(TextsTest, TheLogIsOneLineAfterTheOtherWithBlanksForZeros) {
    EXPECT_EQ(LogText({}), L"");
    EXPECT_EQ(LogText({L"one", L"", L"three"}), L"one\r\n\r\nthree\r\n");
    const std::wstring name(L"MKDIR   D:\\a\0b\0", 15);
    EXPECT_EQ(LogText({name, L"next"}), L"MKDIR   D:\\a b \r\nnext\r\n");
}

}  // namespace
}  // namespace harbinet
