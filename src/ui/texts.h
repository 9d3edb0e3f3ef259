// Every text the windows show about the server, from plain values. The blanks inside line up the
// values in a proportional font and are part of the texts. Pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/large_buffer.h"

namespace harbinet {

inline constexpr const wchar_t* kMainWindowTitle = L"HTTPS Harbinet PRO";
std::wstring LogWindowTitle();

// What a status refresh reads, once.
struct StatusSnapshot {
    bool running = false;
    int port = 0;  // 0 when not listening
    bool is_administrator = false;
    bool tls_loaded = false;
    std::wstring host;
    std::wstring pin;
    std::wstring drive;  // "W:", or empty when nothing is mapped
    std::wstring web_root;
    std::wstring certificate_file;
    std::wstring key_file;
    std::wstring default_web_root;
    std::vector<std::wstring> address_lines;  // name, " | IPv4 " or " | IPv6 ", address
};

// What the tray icon's tooltip says.
struct TrayTip {
    bool running = false;
    int port = 0;
    bool is_administrator = false;
    std::wstring host;  // may be empty
    std::wstring pin;
    std::wstring drive;
};

// The port that is open, or the one that a start would open.
int ShownPort(int listening_port, bool is_administrator);

// "https://host:port"; 443 goes without saying.
std::wstring ServerAddress(std::wstring_view host, int port);
// The link that logs in with `pin`.
std::wstring AutoLoginLink(std::wstring_view host, int port, std::wstring_view pin);

std::wstring UrlLabel(const StatusSnapshot& status);
std::wstring PinLabel(std::wstring_view pin);
std::wstring DriveLabel(std::wstring_view drive);
// Lines ending in CR LF.
std::wstring BuildStatusText(const StatusSnapshot& status);
std::wstring BuildTrayTip(const TrayTip& tip);

// Explorer could not open `target`.
std::wstring ExplorerFailureMessage(std::wstring_view target);

// The digits among `text`.
std::wstring OnlyDigits(std::wstring_view text);

// The log window's text: the lines, oldest first, each ended by CR LF. A zero character, which
// would end the text in a window, is shown as a blank.
LargeText LogText(const std::vector<std::wstring>& lines);

// What Windows runs at log-on.
std::wstring AutostartCommand(std::wstring_view executable);

}  // namespace harbinet
