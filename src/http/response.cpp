#include "http/response.h"

#include <array>
#include <chrono>
#include <cstdio>

#include "app/clock.h"

namespace harbinet {
namespace {

constexpr std::array kWeekdays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

void AppendHeader(std::string& head, std::string_view name, std::string_view value) {
    head += name;
    head += ": ";
    head += value;
    head += "\r\n";
}

}  // namespace

std::string HttpDate(std::uint64_t seconds) {
    using std::chrono::floor;
    const std::chrono::sys_seconds time{
        std::chrono::seconds{static_cast<std::chrono::seconds::rep>(seconds)}};
    const std::chrono::sys_days day = floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    char text[64];
    std::snprintf(
        text, sizeof text, "%s, %02u %s %04d %02d:%02d:%02d GMT",
        kWeekdays[std::chrono::weekday{day}.c_encoding()], static_cast<unsigned>(date.day()),
        kMonths[static_cast<unsigned>(date.month()) - 1], static_cast<int>(date.year()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()));
    return text;
}

std::string BuildHead(int status, std::string_view reason, std::string_view content_type,
                      std::uint64_t content_length, const ExtraHeaders& extra) {
    std::string head = "HTTP/1.1 " + std::to_string(status) + ' ';
    head += reason;
    head += "\r\n";
    AppendHeader(head, "Date", HttpDate(WallSeconds()));
    AppendHeader(head, "Server", "HTTPHarbinet");
    AppendHeader(head, "Connection", "close");
    AppendHeader(head, "Content-Type", content_type);
    AppendHeader(head, "Content-Length", std::to_string(content_length));
    for (const auto& [name, value] : extra) AppendHeader(head, name, value);
    head += "\r\n";
    return head;
}

void SendResponse(Stream& stream, int status, std::string_view reason,
                  std::string_view content_type, std::string_view body, const ExtraHeaders& extra) {
    // The body is tried even when the head could not be written; a client that has gone makes both
    // fail. Nothing follows a reply but the end of the connection: a small one leaves with it.
    stream.WriteSoon(BuildHead(status, reason, content_type, body.size(), extra));
    if (!body.empty()) stream.WriteSoon(body);
}

void SendOkBytes(Stream& stream, std::string_view content_type, std::string_view bytes,
                 const ExtraHeaders& extra) {
    SendResponse(stream, 200, "OK", content_type, bytes, extra);
}

void SendJsonError(Stream& stream, int status, std::string_view json) {
    SendResponse(stream, status, status == 200 ? "OK" : "Error", kJsonType, json);
}

void SendHtmlError(Stream& stream, int status, std::string_view html) {
    SendResponse(stream, status, "Error", kHtmlType, html);
}

void SendPlainError(Stream& stream, int status, std::string_view reason) {
    SendResponse(stream, status, reason, kTextType, reason);
}

std::string BuildErrorPage(std::string_view title, std::string_view message) {
    std::string page =
        "<!doctype html><html><head><meta charset='utf-8'/>"
        "<meta name='viewport' content='width=device-width, initial-scale=1'/>"
        "<title>";
    page += title;
    page +=
        "</title>"
        "<style>"
        "body{font-family:Segoe UI,system-ui,sans-serif;padding:22px;background:#fff;color:#111}"
        ".card{max-width:520px;border:1px solid #ddd;border-radius:12px;padding:16px}"
        ".err{color:#b00020;font-weight:600}"
        "a{color:#0066cc;text-decoration:none} a:hover{text-decoration:underline}"
        "</style></head><body>"
        "<div class='card'>"
        "<h2 style='margin:0 0 10px 0;'>";
    page += title;
    page +=
        "</h2>"
        "<div class='err'>";
    page += message;
    page +=
        "</div>"
        "<div style='margin-top:12px;'><a href='/'>Back to login</a></div>"
        "</div></body></html>";
    return page;
}

}  // namespace harbinet
