#include "app/event_log.h"

#include <cwchar>
#include <fstream>
#include <new>
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

void EventLog::Log(std::wstring_view message) noexcept {
    try {
        Add(message);
    } catch (const std::bad_alloc&) {
        return;
    }
    if (LogObserver* observer = observer_.load()) observer->OnLogUpdated();
}

void EventLog::Clear() {
    std::deque<Line> cleared;
    lines_.With([&cleared](std::deque<Line>& lines) { lines.swap(cleared); });
    std::error_code ignored;
    std::filesystem::remove(file_path_, ignored);
}

std::vector<std::wstring> EventLog::Snapshot() const {
    const std::deque<Line> lines = lines_.With([](const std::deque<Line>& held) { return held; });
    std::vector<std::wstring> texts;
    texts.reserve(lines.size());
    for (const Line& line : lines) texts.push_back(*line);
    return texts;
}

void EventLog::Add(std::wstring_view message) {
    std::wstring text = Timestamp(clock_());
    text.reserve(text.size() + 2 + message.size());
    text += L"  ";
    text += message;
    WriteToFile(text);
    Line line = std::make_shared<const std::wstring>(std::move(text));
    Line oldest;  // freed after the lock is
    lines_.With([&](std::deque<Line>& lines) {
        lines.push_back(std::move(line));
        if (lines.size() <= kMaxLogLines) return;
        oldest = std::move(lines.front());
        lines.pop_front();
    });
}

void EventLog::WriteToFile(std::wstring_view line) const {
    std::wofstream file(file_path_, std::ios::app | std::ios::binary);
    if (file) file << line << L"\r\n";
}

}  // namespace harbinet
