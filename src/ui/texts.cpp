#include "ui/texts.h"

#include <algorithm>
#include <iterator>

#include "app/event_log.h"
#include "net/address_choice.h"
#include "net/ports.h"

namespace harbinet {
namespace {

constexpr std::wstring_view kLineEnd = L"\r\n";

// The version differs from the one in the window's first title, and that is meant.
constexpr std::wstring_view kCredit =
    L"Developer:            Harbinet\r\n"
    L"Developer URL:      -\r\n"
    L"Version:              2.0\r\n"
    L"\r\n";

std::wstring Line(std::wstring_view label, std::wstring_view value) {
    std::wstring line(label);
    line += value;
    line += kLineEnd;
    return line;
}

std::wstring OrDash(std::wstring_view value) {
    return std::wstring(value.empty() ? std::wstring_view(L"-") : value);
}

std::wstring AdministratorValue(bool is_administrator) {
    const std::wstring port = L"(port " + std::to_wstring(ServerPort(is_administrator));
    return is_administrator ? L"yes " + port + L" - No drive possible!)" : L"no " + port + L")";
}

// The addresses of one family, each on its own line.
std::wstring AddressBlock(const std::vector<std::wstring>& lines, std::wstring_view marker,
                          std::wstring_view left_out_prefix) {
    std::wstring block;
    for (const std::wstring& line : lines) {
        const std::size_t found = line.find(marker);
        if (found == std::wstring::npos) continue;
        const std::wstring_view address = std::wstring_view(line).substr(found + marker.size());
        if (!left_out_prefix.empty() && address.starts_with(left_out_prefix)) continue;
        block += Line(address, {});
    }
    return block;
}

}  // namespace

std::wstring LogWindowTitle() {
    return L"HTTP.log (last " + std::to_wstring(kMaxLogLines) + L" entries)";
}

int ShownPort(int listening_port, bool is_administrator) {
    return listening_port != 0 ? listening_port : ServerPort(is_administrator);
}

std::wstring ServerAddress(std::wstring_view host, int port) {
    std::wstring address = L"https://";
    address += host;
    if (port != kAdministratorPort) address += L":" + std::to_wstring(port);
    return address;
}

std::wstring AutoLoginLink(std::wstring_view host, int port, std::wstring_view pin) {
    std::wstring link = ServerAddress(host, port) + L"/auto?pin=";
    link += pin;
    return link;
}

std::wstring UrlLabel(const StatusSnapshot& status) {
    const bool listening = status.running && status.port != 0;
    return L"URL:     " + (listening ? ServerAddress(status.host, status.port) + L"/" : L"-");
}

std::wstring PinLabel(std::wstring_view pin) { return std::wstring(L"PIN:      ").append(pin); }

std::wstring DriveLabel(std::wstring_view drive) {
    return L"Drive:   " + OrDash(drive.substr(0, 1));
}

std::wstring BuildStatusText(const StatusSnapshot& status) {
    std::wstring text;
    text += Line(L"State:                  ", status.running ? L"running" : L"stopped");
    text += Line(L"IP:                      ", OrDash(status.host));
    text += Line(L"Port:                   ",
                 status.port != 0 ? std::to_wstring(status.port) : std::wstring(L"-"));
    text += Line(L"Admin:               ", AdministratorValue(status.is_administrator));
    text += Line(L"TLS:                    ", status.tls_loaded ? L"enabled" : L"not loaded");
    text += Line(L"   Cert:                ", status.certificate_file);
    text += Line(L"   Key:                 ", status.key_file);
    text += Line(L"WEB Root:          ", status.web_root);
    text += Line(L"WEB Root (D):     ", status.default_web_root);
    text += kLineEnd;
    text += kCredit;
    text += Line(L"IPv4 Addresses:", {});
    text += Line(std::wstring(29, L'-'), {});
    text += AddressBlock(status.address_lines, kIpv4Marker, kLinkLocalPrefix);
    text += kLineEnd;
    text += Line(L"IPv6 Addresses:", {});
    text += Line(std::wstring(48, L'-'), {});
    text += AddressBlock(status.address_lines, kIpv6Marker, {});
    return text;
}

std::wstring BuildTrayTip(const TrayTip& tip) {
    const std::wstring_view host = tip.host.empty() ? std::wstring_view(L"localhost") : tip.host;
    const int port = ShownPort(tip.port, tip.is_administrator);
    std::wstring text = L"Harbinet PRO\r\n\r\n";
    text += Line(L"URL:            ", tip.running ? ServerAddress(host, port) : L"stopped");
    text += Line(L"PIN:             ", tip.pin);
    text += L"Drive:          " + OrDash(tip.drive);
    return text;
}

std::wstring ExplorerFailureMessage(std::wstring_view target) {
    // The two odd letters are the UTF-8 bytes of an o-umlaut read one by one. They stay.
    std::wstring message =
        L"Explorer konnte nicht ge\u00C3\u00B6ffnet werden.\r\n"
        L"\r\n"
        L"Path:\r\n";
    message += target;
    return message;
}

std::wstring OnlyDigits(std::wstring_view text) {
    std::wstring digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                 [](wchar_t character) { return character >= L'0' && character <= L'9'; });
    return digits;
}

LargeText LogText(const std::vector<std::wstring>& lines) {
    std::size_t length = 0;
    for (const std::wstring& line : lines) length += line.size() + kLineEnd.size();
    LargeText text;
    text.reserve(length);
    for (const std::wstring& line : lines) {
        text += line;
        text += kLineEnd;
    }
    std::replace(text.begin(), text.end(), L'\0', L' ');
    return text;
}

std::wstring AutostartCommand(std::wstring_view executable) {
    std::wstring command = L"\"";
    command += executable;
    command += L"\" --autostart";
    return command;
}

}  // namespace harbinet
