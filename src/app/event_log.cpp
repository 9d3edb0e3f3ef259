#include "app/event_log.h"

#include <cwchar>
#include <fstream>
#include <system_error>
#include <utility>

namespace harbinet {
namespace {

std::wstring Timestamp(const LocalTime& now) {
    wchar_t text[64];
    const int length =
        std::swprintf(text, std::size(text), L"%04d-%02d-%02d %02d:%02d:%02d.%03d", now.year,
                      now.month, now.day, now.hour, now.minute, now.second, now.millisecond);
    return length > 0 ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
}

}  // namespace

void EventLog::Log(std::wstring_view message) {
    std::wstring line = Timestamp(clock_());
    line += L"  ";
    line += message;
    WriteToFile(line);
    lines_.With([&line](std::vector<std::wstring>& lines) {
        lines.push_back(std::move(line));
        if (lines.size() > kMaxLogLines) {
            const auto surplus = static_cast<std::ptrdiff_t>(lines.size() - kMaxLogLines);
            lines.erase(lines.begin(), lines.begin() + surplus);
        }
    });
    if (LogObserver* observer = observer_.load()) observer->OnLogUpdated();
}

void EventLog::Clear() {
    lines_.With([](std::vector<std::wstring>& lines) { lines.clear(); });
    std::error_code ignored;
    std::filesystem::remove(file_path_, ignored);
}

std::vector<std::wstring> EventLog::Snapshot() const {
    return lines_.With([](const std::vector<std::wstring>& lines) { return lines; });
}

void EventLog::WriteToFile(std::wstring_view line) const {
    std::wofstream file(file_path_, std::ios::app | std::ios::binary);
    if (file) file << line << L"\r\n";
}

}  // namespace harbinet
